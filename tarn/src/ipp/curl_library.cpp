#include "tarn/src/ipp/curl_library.h"

#include <cstring>

#include "tarn/src/base/system_library.h"

namespace tarn::ipp {

CurlLibrary::CurlLibrary(const char* soname) : SharedObject(soname)
{
    if (!isUsable()) {
        return;
    }
    if (globalInit(CURL_GLOBAL_DEFAULT) != CURLE_OK) {
        refuse(std::string(soname) + " cannot be initialised");
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
