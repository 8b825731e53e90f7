#pragma once

// The options that are set have other names in newer versions; these exist in all.
#define CURL_DISABLE_DEPRECATION
#include <curl/curl.h>

#include "tarn/src/base/shared_object.h"

namespace tarn::ipp {

// CurlLibrary is what is used of libcurl: HTTP and TLS. It is opened when it is first needed, see
// docs/decisions/0001 and 0002.
//
// Threading: immutable once made; the functions may be called from any thread, those of one handle by one at
// a time.
struct CurlLibrary final : SharedObject
{
    explicit CurlLibrary(const char* soname);

    // The system's. Null, with one line on stderr by the first call, where it is missing.
    static const CurlLibrary* system();

    // The ciphers to be asked for; null for the library's own choice.
    const char* ciphers = nullptr;

    SharedFunction<decltype(::curl_global_init)> globalInit{*this, "curl_global_init"};
    SharedFunction<decltype(::curl_version_info)> versionInfo{*this, "curl_version_info"};
    SharedFunction<decltype(::curl_slist_append)> appendToList{*this, "curl_slist_append"};
    SharedFunction<decltype(::curl_slist_free_all)> freeList{*this, "curl_slist_free_all"};
    SharedFunction<decltype(::curl_easy_init)> newTransfer{*this, "curl_easy_init"};
    SharedFunction<decltype(::curl_easy_cleanup)> deleteTransfer{*this, "curl_easy_cleanup"};
    SharedFunction<decltype(::curl_easy_setopt)> set{*this, "curl_easy_setopt"};
    SharedFunction<decltype(::curl_easy_getinfo)> info{*this, "curl_easy_getinfo"};
    SharedFunction<decltype(::curl_multi_init)> newMulti{*this, "curl_multi_init"};
    SharedFunction<decltype(::curl_multi_cleanup)> deleteMulti{*this, "curl_multi_cleanup"};
    SharedFunction<decltype(::curl_multi_setopt)> setMulti{*this, "curl_multi_setopt"};
    SharedFunction<decltype(::curl_multi_add_handle)> add{*this, "curl_multi_add_handle"};
    SharedFunction<decltype(::curl_multi_remove_handle)> remove{*this, "curl_multi_remove_handle"};
    SharedFunction<decltype(::curl_multi_socket_action)> act{*this, "curl_multi_socket_action"};
    SharedFunction<decltype(::curl_multi_info_read)> nextMessage{*this, "curl_multi_info_read"};
};

} // namespace tarn::ipp
