#pragma once

#include <cstdint>
#include <string>

#include "tarn/src/ipp/curl_library.h"
#include "tarn/src/ipp/route_search.h"

namespace tarn::ipp {

// HttpExchange is one POST over a connection of its own, and what comes back.
//
// Certificates are not verified: printers sign their own. Nobody else is connected to: no proxy, no
// redirection, no name to be looked up. Nothing of the user's is read or sent: no password, no cookie.
//
// Invariants
//  (1) At most mostOctets are kept, unpacked or not, and not many more taken; of headers kMostHeaders.
//  (2) The connection does not outlive the exchange.
// Threading: one thread, whose SIGPIPE is blocked. Ownership: borrows the library.
class HttpExchange final
{
public:
    static constexpr std::size_t kMostHeaders = 64u << 10;

    struct Post
    {
        std::string url;        // its host is an address
        std::string socketPath; // not empty: that socket of this machine instead of the url's host
        std::string body;
        std::size_t mostOctets = 0;
    };

    HttpExchange(const CurlLibrary& curl, Post post);
    ~HttpExchange();
    HttpExchange(const HttpExchange&) = delete;
    HttpExchange& operator=(const HttpExchange&) = delete;

    // False when there was no memory, or the library does not know an option that matters.
    bool isReady() const { return m_ready; }
    CURL* handle() const { return m_handle; }

    // Whether there is a connection, while the exchange is under way.
    bool connected() const;
    // What the transfer came to that ended so.
    Attempt resultOf(CURLcode code) const;
    // What the transfer came to that is under way, and over time.
    Attempt resultOfCut() const;
    const std::string& body() const { return m_body; }

private:
    void prepare();
    void prepareRequest();
    void prepareConnection();
    template <typename Value>
    void set(CURLoption option, Value value);

    static curl_socket_t openSocket(void* self, curlsocktype purpose, curl_sockaddr* address);
    static std::size_t takeBody(char* octets, std::size_t size, std::size_t count, void* self);
    static std::size_t takeHeader(char* octets, std::size_t size, std::size_t count, void* self);
    static int progress(void* self, curl_off_t toCome, curl_off_t come, curl_off_t toGo, curl_off_t gone);

    const CurlLibrary& m_curl;
    const Post m_post;
    CURL* m_handle = nullptr;
    curl_slist* m_headers = nullptr;
    std::string m_body;
    std::size_t m_headerOctets = 0;
    int m_socket = -1; // the library's
    bool m_ready = false;
    bool m_tooMuch = false;
    bool m_noResources = false;
};

} // namespace tarn::ipp
