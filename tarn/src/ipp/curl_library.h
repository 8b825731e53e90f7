#pragma once

// The options that are set have other names in newer versions; these exist in all.
#define CURL_DISABLE_DEPRECATION
#include <curl/curl.h>

#include <string>

namespace tarn::ipp {

// CurlLibrary is what is used of libcurl: HTTP and TLS. It is opened when it is first needed, see
// docs/decisions/0001 and 0002.
//
// Threading: immutable once made; the functions may be called from any thread, those of one handle by one at
// a time.
struct CurlLibrary
{
    // The library of that name. When it cannot be used, complaint says why and the functions are null.
    explicit CurlLibrary(const char* soname);

    // The system's. Null, with one line on stderr by the first call, where it is missing.
    static const CurlLibrary* system();

    std::string complaint;
    // The ciphers to be asked for; null for the library's own choice.
    const char* ciphers = nullptr;

    decltype(::curl_global_init)* globalInit = nullptr;
    decltype(::curl_version_info)* versionInfo = nullptr;
    decltype(::curl_slist_append)* appendToList = nullptr;
    decltype(::curl_slist_free_all)* freeList = nullptr;
    decltype(::curl_easy_init)* newTransfer = nullptr;
    decltype(::curl_easy_cleanup)* deleteTransfer = nullptr;
    decltype(::curl_easy_setopt)* set = nullptr;
    decltype(::curl_easy_getinfo)* info = nullptr;
    decltype(::curl_multi_init)* newMulti = nullptr;
    decltype(::curl_multi_cleanup)* deleteMulti = nullptr;
    decltype(::curl_multi_setopt)* setMulti = nullptr;
    decltype(::curl_multi_add_handle)* add = nullptr;
    decltype(::curl_multi_remove_handle)* remove = nullptr;
    decltype(::curl_multi_socket_action)* act = nullptr;
    decltype(::curl_multi_info_read)* nextMessage = nullptr;
};

} // namespace tarn::ipp
