#pragma once

#include <avahi-client/client.h>
#include <avahi-client/lookup.h>
#include <avahi-common/error.h>
#include <avahi-common/simple-watch.h>
#include <avahi-common/strlst.h>

#include "tarn/src/base/shared_object.h"

namespace tarnstatus {

// Avahi's client library, bound when it is needed: without it everything else works.
struct AvahiLibrary final : tarn::SharedObject
{
    AvahiLibrary() : SharedObject("libavahi-client.so.3") {}

    tarn::SharedFunction<decltype(::avahi_simple_poll_new)> pollNew{*this, "avahi_simple_poll_new"};
    tarn::SharedFunction<decltype(::avahi_simple_poll_free)> pollFree{*this, "avahi_simple_poll_free"};
    tarn::SharedFunction<decltype(::avahi_simple_poll_get)> pollGet{*this, "avahi_simple_poll_get"};
    tarn::SharedFunction<decltype(::avahi_simple_poll_iterate)> pollIterate{*this,
                                                                            "avahi_simple_poll_iterate"};
    tarn::SharedFunction<decltype(::avahi_client_new)> clientNew{*this, "avahi_client_new"};
    tarn::SharedFunction<decltype(::avahi_client_free)> clientFree{*this, "avahi_client_free"};
    tarn::SharedFunction<decltype(::avahi_client_errno)> clientErrno{*this, "avahi_client_errno"};
    tarn::SharedFunction<decltype(::avahi_strerror)> strerror{*this, "avahi_strerror"};
    tarn::SharedFunction<decltype(::avahi_service_browser_new)> browserNew{*this,
                                                                           "avahi_service_browser_new"};
    tarn::SharedFunction<decltype(::avahi_service_resolver_new)> resolverNew{*this,
                                                                             "avahi_service_resolver_new"};
    tarn::SharedFunction<decltype(::avahi_service_resolver_free)> resolverFree{*this,
                                                                               "avahi_service_resolver_free"};
    tarn::SharedFunction<decltype(::avahi_string_list_get_next)> nextText{*this,
                                                                          "avahi_string_list_get_next"};
    tarn::SharedFunction<decltype(::avahi_string_list_get_text)> textOf{*this, "avahi_string_list_get_text"};
    tarn::SharedFunction<decltype(::avahi_string_list_get_size)> sizeOf{*this, "avahi_string_list_get_size"};
};

} // namespace tarnstatus
