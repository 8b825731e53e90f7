#include "tarn/src/ipp/http_exchange.h"

#include <sys/socket.h>

#include <cerrno>

namespace tarn::ipp {

namespace {

constexpr long kBuffer = 4096; // of which there is one for each of hundreds of transfers

} // namespace

HttpExchange::HttpExchange(const CurlLibrary& curl, Post post) : m_curl(curl), m_post(std::move(post))
{
    m_handle = m_curl.newTransfer();
    m_ready = m_handle != nullptr;
    if (m_ready) {
        prepare();
    }
}

HttpExchange::~HttpExchange()
{
    if (m_handle != nullptr) {
        m_curl.deleteTransfer(m_handle);
    }
    m_curl.freeList(m_headers);
}

template <typename Value>
void HttpExchange::set(CURLoption option, Value value)
{
    m_ready = m_curl.set(m_handle, option, value) == CURLE_OK && m_ready;
}

void HttpExchange::prepare()
{
    prepareConnection();
    prepareRequest();
    set(CURLOPT_WRITEFUNCTION, &HttpExchange::takeBody);
    set(CURLOPT_WRITEDATA, this);
    set(CURLOPT_HEADERFUNCTION, &HttpExchange::takeHeader);
    set(CURLOPT_HEADERDATA, this);
    set(CURLOPT_XFERINFOFUNCTION, &HttpExchange::progress);
    set(CURLOPT_XFERINFODATA, this);
    set(CURLOPT_NOPROGRESS, 0L);
    set(CURLOPT_BUFFERSIZE, kBuffer);
}

void HttpExchange::prepareConnection()
{
    set(CURLOPT_NOSIGNAL, 1L);
    set(CURLOPT_PROXY, ""); // not the one of the environment
    set(CURLOPT_PROTOCOLS, static_cast<long>(CURLPROTO_HTTP | CURLPROTO_HTTPS));
    set(CURLOPT_FOLLOWLOCATION, 0L);
    set(CURLOPT_FORBID_REUSE, 1L);
    set(CURLOPT_OPENSOCKETFUNCTION, &HttpExchange::openSocket);
    set(CURLOPT_OPENSOCKETDATA, this);
    if (!m_post.socketPath.empty()) {
        set(CURLOPT_UNIX_SOCKET_PATH, m_post.socketPath.c_str());
    }
    set(CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_0)); // at least
    set(CURLOPT_SSL_VERIFYPEER, 0L);
    set(CURLOPT_SSL_VERIFYHOST, 0L);
    set(CURLOPT_SSL_ENABLE_ALPN, 0L);
    set(CURLOPT_SSL_SESSIONID_CACHE, 0L);
    // The system's hundred authorities would be read for each connection.
    set(CURLOPT_CAINFO, static_cast<char*>(nullptr));
    set(CURLOPT_CAPATH, static_cast<char*>(nullptr));
    if (m_curl.ciphers != nullptr) {
        set(CURLOPT_SSL_CIPHER_LIST, m_curl.ciphers);
    }
}

void HttpExchange::prepareRequest()
{
    set(CURLOPT_URL, m_post.url.c_str());
    set(CURLOPT_PATH_AS_IS, 1L);
    set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
    set(CURLOPT_HTTP09_ALLOWED, 0L);
    set(CURLOPT_NETRC, static_cast<long>(CURL_NETRC_IGNORED));
    set(CURLOPT_USERAGENT, "tarn IPP/2.0");
    set(CURLOPT_POST, 1L);
    set(CURLOPT_POSTFIELDS, m_post.body.data());
    set(CURLOPT_POSTFIELDSIZE, static_cast<long>(m_post.body.size())); // known, so it is never chunked
    set(CURLOPT_ACCEPT_ENCODING, "identity"); // what is packed all the same is unpacked
    for (const char* const line : {"Content-Type: application/ipp", "Expect:"}) {
        curl_slist* const longer = m_curl.appendToList(m_headers, line);
        m_ready = longer != nullptr && m_ready;
        m_headers = longer != nullptr ? longer : m_headers;
    }
    set(CURLOPT_HTTPHEADER, m_headers);
}

// As the library itself would, but a program that is started meanwhile does not inherit it.
curl_socket_t HttpExchange::openSocket(void* self, curlsocktype /*purpose*/, curl_sockaddr* address)
{
    const int fd =
        ::socket(address->family, address->socktype | SOCK_CLOEXEC | SOCK_NONBLOCK, address->protocol);
    if (fd < 0) {
        static_cast<HttpExchange*>(self)->m_noResources = true;
        return CURL_SOCKET_BAD;
    }
    static_cast<HttpExchange*>(self)->m_socket = fd;
    return fd;
}

std::size_t HttpExchange::takeBody(char* octets, std::size_t size, std::size_t count, void* self)
{
    auto& exchange = *static_cast<HttpExchange*>(self);
    const std::size_t come = size * count;
    if (come > exchange.m_post.mostOctets - exchange.m_body.size()) {
        exchange.m_tooMuch = true;
        return 0;
    }
    try {
        exchange.m_body.append(octets, come);
    } catch (const std::exception&) { // out of memory; no exception passes through the library
        exchange.m_noResources = true;
        return 0;
    }
    return come;
}

std::size_t HttpExchange::takeHeader(char* /*octets*/, std::size_t size, std::size_t count, void* self)
{
    auto& exchange = *static_cast<HttpExchange*>(self);
    exchange.m_headerOctets += size * count;
    exchange.m_tooMuch = exchange.m_tooMuch || exchange.m_headerOctets > kMostHeaders;
    return exchange.m_tooMuch ? 0 : size * count;
}

// What is packed may unpack to nothing, without end.
int HttpExchange::progress(void* self, curl_off_t /*toCome*/, curl_off_t come, curl_off_t /*toGo*/,
                           curl_off_t /*gone*/)
{
    auto& exchange = *static_cast<HttpExchange*>(self);
    exchange.m_tooMuch =
        exchange.m_tooMuch || come > static_cast<curl_off_t>(exchange.m_post.mostOctets) + kBuffer;
    return exchange.m_tooMuch ? 1 : 0;
}

// The library itself tells the time of the connection only when the handshake is over, too, in some versions.
bool HttpExchange::connected() const
{
    sockaddr_storage peer{};
    socklen_t size = sizeof peer;
    return m_socket >= 0 && ::getpeername(m_socket, reinterpret_cast<sockaddr*>(&peer), &size) == 0;
}

Attempt HttpExchange::resultOfCut() const
{
    if (!connected()) {
        return Attempt::Silent;
    }
    // Some say neither how long their answer is nor that it is over; whoever decodes it sees if it is whole.
    const bool said = !m_body.empty() && resultOf(CURLE_OPERATION_TIMEDOUT) == Attempt::Answered;
    return said ? Attempt::Answered : Attempt::TooLong;
}

Attempt HttpExchange::resultOf(CURLcode code) const
{
    long status = 0;
    long error = 0;
    long asked = 0; // octets of the request
    m_curl.info(m_handle, CURLINFO_RESPONSE_CODE, &status);
    m_curl.info(m_handle, CURLINFO_OS_ERRNO, &error);
    m_curl.info(m_handle, CURLINFO_REQUEST_SIZE, &asked);
    // Of a header line without an end the library says, too, that there is no memory for it.
    const bool noMemory = code == CURLE_OUT_OF_MEMORY;
    if (m_noResources || (noMemory && asked == 0) || code == CURLE_FAILED_INIT) {
        return Attempt::NotSent;
    }
    if (m_tooMuch || noMemory) {
        return Attempt::TooLong;
    }
    if (code == CURLE_COULDNT_CONNECT || code == CURLE_COULDNT_RESOLVE_HOST) { // or a path too long
        return error == ECONNREFUSED ? Attempt::Refused : Attempt::Silent;
    }
    if (status == 200) {
        // However it ended: old printers end without a farewell, and what is cut off is seen by whoever
        // decodes it.
        return Attempt::Answered;
    }
    const bool redirects = status >= 300 && status < 400;
    if (status < 200 || redirects || status == 426) {
        // No HTTP, or not without encryption, which is what a redirection from here most often means.
        return Attempt::OtherScheme;
    }
    return Attempt::OtherPath;
}

} // namespace tarn::ipp
