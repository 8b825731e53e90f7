#pragma once

#include <avahi-client/client.h>
#include <avahi-client/lookup.h>
#include <avahi-common/error.h>
#include <avahi-common/simple-watch.h>
#include <avahi-common/strlst.h>

#include "tarn/src/base/shared_object.h"

namespace tarnstatus {

// Avahi's client library, bound when it is needed: without it everything else works.
struct AvahiLibrary
{
    AvahiLibrary();

    // Why it cannot be used; empty when it can.
    std::string complaint;

    decltype(&::avahi_simple_poll_new) pollNew = nullptr;
    decltype(&::avahi_simple_poll_free) pollFree = nullptr;
    decltype(&::avahi_simple_poll_get) pollGet = nullptr;
    decltype(&::avahi_simple_poll_iterate) pollIterate = nullptr;
    decltype(&::avahi_client_new) clientNew = nullptr;
    decltype(&::avahi_client_free) clientFree = nullptr;
    decltype(&::avahi_client_errno) clientErrno = nullptr;
    decltype(&::avahi_strerror) strerror = nullptr;
    decltype(&::avahi_service_browser_new) browserNew = nullptr;
    decltype(&::avahi_service_resolver_new) resolverNew = nullptr;
    decltype(&::avahi_service_resolver_free) resolverFree = nullptr;
    decltype(&::avahi_string_list_get_next) nextText = nullptr;
    decltype(&::avahi_string_list_get_text) textOf = nullptr;
    decltype(&::avahi_string_list_get_size) sizeOf = nullptr;

private:
    tarn::SharedObject m_library;
};

} // namespace tarnstatus
