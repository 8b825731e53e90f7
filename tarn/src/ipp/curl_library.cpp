#include "tarn/src/ipp/curl_library.h"

#include <cstring>

#include "tarn/src/base/shared_object.h"
#include "tarn/src/base/system_library.h"

namespace tarn::ipp {

CurlLibrary::CurlLibrary(const char* soname)
{
    SharedObject object(soname);
    object.bind(globalInit, "curl_global_init");
    object.bind(versionInfo, "curl_version_info");
    object.bind(appendToList, "curl_slist_append");
    object.bind(freeList, "curl_slist_free_all");
    object.bind(newTransfer, "curl_easy_init");
    object.bind(deleteTransfer, "curl_easy_cleanup");
    object.bind(set, "curl_easy_setopt");
    object.bind(info, "curl_easy_getinfo");
    object.bind(newMulti, "curl_multi_init");
    object.bind(deleteMulti, "curl_multi_cleanup");
    object.bind(setMulti, "curl_multi_setopt");
    object.bind(add, "curl_multi_add_handle");
    object.bind(remove, "curl_multi_remove_handle");
    object.bind(act, "curl_multi_socket_action");
    object.bind(nextMessage, "curl_multi_info_read");
    complaint = object.complaint();
    if (!object.isUsable()) {
        return;
    }
    if (globalInit(CURL_GLOBAL_DEFAULT) != CURLE_OK) {
        complaint = std::string(soname) + " cannot be initialised";
        return;
    }
    // Its defaults refuse what old printers speak: TLS 1.0, keys of 1024 bits, signatures with SHA-1.
    const curl_version_info_data* const about = versionInfo(CURLVERSION_NOW);
    if (about->ssl_version != nullptr && std::strncmp(about->ssl_version, "OpenSSL", 7) == 0) {
        ciphers = "DEFAULT@SECLEVEL=0";
    }
}

const CurlLibrary* CurlLibrary::system()
{
    // GnuTLS first: it speaks to old printers as it is.
    static SystemLibrary<CurlLibrary> library;
    return library.get({"libcurl-gnutls.so.4", "libcurl.so.4"}, "IPP");
}

} // namespace tarn::ipp
