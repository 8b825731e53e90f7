#include "tools/tarn-status/find/avahi_library.h"

namespace tarnstatus {

AvahiLibrary::AvahiLibrary() : m_library("libavahi-client.so.3")
{
    m_library.bind(pollNew, "avahi_simple_poll_new");
    m_library.bind(pollFree, "avahi_simple_poll_free");
    m_library.bind(pollGet, "avahi_simple_poll_get");
    m_library.bind(pollIterate, "avahi_simple_poll_iterate");
    m_library.bind(clientNew, "avahi_client_new");
    m_library.bind(clientFree, "avahi_client_free");
    m_library.bind(clientErrno, "avahi_client_errno");
    m_library.bind(strerror, "avahi_strerror");
    m_library.bind(browserNew, "avahi_service_browser_new");
    m_library.bind(resolverNew, "avahi_service_resolver_new");
    m_library.bind(resolverFree, "avahi_service_resolver_free");
    m_library.bind(nextText, "avahi_string_list_get_next");
    m_library.bind(textOf, "avahi_string_list_get_text");
    m_library.bind(sizeOf, "avahi_string_list_get_size");
    complaint = m_library.isUsable() ? "" : m_library.complaint();
}

} // namespace tarnstatus
