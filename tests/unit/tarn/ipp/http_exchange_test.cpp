// Each thing that is asked of libcurl, one by one, seen from the other side of the connection where it can
// be.
#include <fcntl.h>
#include <sys/eventfd.h>
#include <sys/stat.h>

#include <csignal>
#include <cstdarg>
#include <future>

#include "tests/unit/tarn/ipp/transport_session.h"
#include "tests/unit/tarn/support/scratch_directory.h"

namespace tarn::ipp {
namespace {

using engine::IppChoice;
using tarn::test::ScopedVariable;
using tarn::test::ScratchDirectory;
using test::goodBody;
using test::httpAnswer;
using test::IppOctets;
using test::requestTo;
using test::ScriptedServer;
using test::TransportSession;
using Connection = ScriptedServer::Connection;

// Octets packed as "deflate" has it, without a header.
class Deflated final
{
public:
    // As they are, in stored blocks.
    static std::string stored(const std::string& octets)
    {
        const auto size = static_cast<unsigned>(octets.size());
        return std::string{'\1', low(size), high(size), low(~size), high(~size)} + octets;
    }
    // A block of nothing, which is not the last.
    static std::string nothing() { return std::string{'\0', '\0', '\0', '\xFF', '\xFF'}; }
    // So many zeros, a fortieth of a thousandth as long.
    static std::string zeros(std::size_t count)
    {
        Deflated out;
        out.bits(1, 1); // the last block
        out.bits(1, 2); // with the fixed codes
        out.code(0x30, 8);
        for (std::size_t i = 1; i < count; i += 258) {
            out.code(0xC5, 8); // 258 octets
            out.code(0, 5);    // from one before
        }
        out.code(0, 7); // the end
        out.bits(0, 7);
        return out.m_octets;
    }

private:
    static char low(unsigned number) { return static_cast<char>(number & 0xFF); }
    static char high(unsigned number) { return static_cast<char>((number >> 8) & 0xFF); }
    void bits(unsigned value, int count)
    {
        for (int i = 0; i < count; ++i) {
            m_pending |= ((value >> i) & 1u) << m_count;
            if (++m_count == 8) {
                m_octets += static_cast<char>(m_pending);
                m_pending = 0;
                m_count = 0;
            }
        }
    }
    void code(unsigned value, int count) // the highest bit first
    {
        for (int i = count - 1; i >= 0; --i) {
            bits((value >> i) & 1u, 1);
        }
    }

    std::string m_octets;
    unsigned m_pending = 0;
    int m_count = 0;
};

class HttpExchangeTest : public testing::TestWithParam<const char*>
{
protected:
    void SetUp() override
    {
        curl = test::curlOf(GetParam());
        if (CupsLibrary::system() == nullptr || curl == nullptr) {
            GTEST_SKIP() << "no libcups or no " << GetParam() << " here";
        }
    }
    IppOutcome ask(const IppRequest& request) { return TransportSession(GetParam()).ask(request).outcome; }
    // The outcome of an answer, in which the octets after the head that are sent until the end.
    IppOutcome askEndless(const std::string& head, const std::string& block, std::size_t& sent)
    {
        std::atomic<std::size_t> count{0};
        ScriptedServer server([&](const Connection& connection) {
            connection.request();
            connection.send(head);
            for (int i = 0; i < 100000 && count < (100u << 20) && connection.send(block); ++i) {
                count += block.size();
            }
        });
        const IppOutcome outcome = ask(requestTo(server.port()));
        EXPECT_EQ(server.accepted(), 1) << "once is enough";
        sent = count;
        return outcome;
    }
    static ScriptedServer::Script good(std::string& seen)
    {
        return [&seen](const Connection& connection) {
            seen = connection.request();
            connection.send(httpAnswer("200 OK", goodBody()));
        };
    }

    const CurlLibrary* curl = nullptr;
};

INSTANTIATE_TEST_SUITE_P(Curl, HttpExchangeTest, testing::ValuesIn(test::kCurls), [](const auto& item) {
    return item.param == std::string("libcurl.so.4") ? "Plain" : "Gnutls";
});

TEST_P(HttpExchangeTest, NoProxyOfTheEnvironmentSeesAPrinter)
{
    ScriptedServer proxy([](const Connection& connection) { connection.untilGone(); });
    const std::string where = "http://127.0.0.1:" + std::to_string(proxy.port());
    const ScopedVariable http("http_proxy", where), https("https_proxy", where), all("all_proxy", where);
    std::string seen;
    {
        ScriptedServer server(good(seen));
        EXPECT_EQ(ask(requestTo(server.port())), IppOutcome::Answered);
    }
    ScriptedServer server([](const Connection&) {});
    EXPECT_EQ(ask(requestTo(server.port(), IppChoice::Tls)), IppOutcome::NoIpp);
    EXPECT_EQ(proxy.accepted(), 0);
}

TEST_P(HttpExchangeTest, NoPasswordOfTheUserIsSent)
{
    const ScratchDirectory home;
    home.write(".netrc", "machine 127.0.0.1 login me password secret\n");
    ASSERT_EQ(::chmod(home.path(".netrc").c_str(), 0600), 0);
    const ScopedVariable variable("HOME", home.path(""));
    for (const char* const status : {"200 OK", "401 Unauthorized"}) {
        std::string seen;
        {
            ScriptedServer server([&](const Connection& connection) {
                seen = connection.request();
                connection.send(httpAnswer(status, goodBody(), "WWW-Authenticate: Basic realm=\"x\"\r\n"));
            });
            ask(requestTo(server.port()));
        }
        ASSERT_NE(seen.find("POST "), std::string::npos);
        EXPECT_EQ(seen.find("uthorization"), std::string::npos) << seen;
    }
}

TEST_P(HttpExchangeTest, RequestIsWholeAndOfHttp11)
{
    std::string seen;
    {
        ScriptedServer server(good(seen));
        IppRequest request = requestTo(server.port());
        request.settings.path = "/a/../b c\r\nX: y#z~\x7F";
        EXPECT_EQ(ask(request), IppOutcome::Answered);
    }
    EXPECT_EQ(seen.find("POST /a/../b%20c%0D%0AX:%20y%23z~%7F HTTP/1.1\r\n"), 0u) << seen;
    EXPECT_NE(seen.find("\r\nContent-Type: application/ipp\r\n"), std::string::npos);
    EXPECT_NE(seen.find("\r\nAccept-Encoding: identity\r\n"), std::string::npos);
    EXPECT_NE(seen.find("\r\nUser-Agent: "), std::string::npos);
}

// A megabyte and more, where the library itself would ask for leave first.
TEST_P(HttpExchangeTest, LargeRequestIsNeitherChunkedNorAnnounced)
{
    std::string seen;
    {
        ScriptedServer server(good(seen));
        HttpExchange::Post post;
        post.url = "http://127.0.0.1:" + std::to_string(server.port()) + '/';
        post.body.assign(2u << 20, '\0'); // as a message of IPP, which has such octets
        post.mostOctets = 1000;
        HttpExchange exchange(*curl, post);
        const int wake = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
        const int pipes = ::eventfd(0, EFD_CLOEXEC);
        const BootClock clock;
        const auto loop = HttpLoop::open(*curl, clock, pipes);
        ASSERT_NE(loop, nullptr);
        ASSERT_TRUE(loop->begin(exchange, clock.now() + Milliseconds(60000)));
        std::vector<HttpLoop::Finished> finished;
        while (finished.empty()) {
            loop->wait();
            finished = loop->finished();
        }
        EXPECT_EQ(finished[0].attempt, Attempt::Answered);
        EXPECT_EQ(exchange.body(), goodBody());
        ::close(pipes);
        ::close(wake);
    }
    const std::string head = seen.substr(0, seen.find("\r\n\r\n"));
    EXPECT_NE(head.find("Content-Length: 2097152"), std::string::npos) << head;
    EXPECT_EQ(head.find("Expect"), std::string::npos) << head;
    EXPECT_EQ(head.find("Transfer-Encoding"), std::string::npos) << head;
    EXPECT_EQ(seen.size(), head.size() + 4 + (2u << 20));
}

TEST_P(HttpExchangeTest, NothingButHttpIsSpoken)
{
    std::atomic<int> come{0};
    ScriptedServer server([&come](const Connection&) { ++come; });
    const std::string where = "127.0.0.1:" + std::to_string(server.port()) + '/';
    const int wake = ::eventfd(0, EFD_CLOEXEC);
    const BootClock clock;
    const auto loop = HttpLoop::open(*curl, clock, wake);
    ASSERT_NE(loop, nullptr);
    for (const std::string scheme : {"ftp://", "file:///", "gopher://", "telnet://", "dict://"}) {
        HttpExchange exchange(*curl, {scheme + where, {}, "x", 1000});
        ASSERT_TRUE(loop->begin(exchange, clock.now() + Milliseconds(10000)));
        std::vector<HttpLoop::Finished> finished;
        while (finished.empty()) {
            loop->wait();
            finished = loop->finished();
        }
        EXPECT_NE(finished[0].attempt, Attempt::Answered) << scheme;
    }
    ::close(wake);
    EXPECT_EQ(come, 0);
}

TEST_P(HttpExchangeTest, OffersNoOtherProtocolInTheHandshakeAndNoName)
{
    std::string hello;
    {
        ScriptedServer server([&hello](const Connection& connection) { hello = connection.request(); });
        EXPECT_EQ(ask(requestTo(server.port(), IppChoice::Tls)), IppOutcome::NoIpp);
    }
    ASSERT_EQ(hello.substr(0, 1), "\x16");
    EXPECT_EQ(hello.find("http/1.1"), std::string::npos);
    EXPECT_EQ(hello.find("h2"), std::string::npos);
    EXPECT_EQ(hello.find("127.0.0.1"), std::string::npos);
}

TEST_P(HttpExchangeTest, ConnectionIsNotKeptThoughThePrinterWouldLike)
{
    std::promise<void> gone;
    ScriptedServer server([&gone](const Connection& connection) {
        connection.request();
        connection.send(
            httpAnswer("200 OK", goodBody(), "Connection: keep-alive\r\nKeep-Alive: timeout=600\r\n"));
        connection.untilGone();
        gone.set_value();
    });
    TransportSession session(GetParam());
    EXPECT_EQ(session.ask(requestTo(server.port())).outcome, IppOutcome::Answered);
    EXPECT_EQ(gone.get_future().wait_for(std::chrono::seconds(30)), std::future_status::ready)
        << "while the session goes on";
}

TEST_P(HttpExchangeTest, ConnectionsAreNotInheritedByProgramsThatAreStartedMeanwhile)
{
    ScriptedServer server([](const Connection& connection) { connection.untilGone(); });
    TransportSession session(GetParam());
    session.send(requestTo(server.port()));
    while (server.accepted() == 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    int sockets = 0;
    for (int fd = 3; fd < 200; ++fd) {
        sockaddr_in peer{};
        socklen_t size = sizeof peer;
        if (::getpeername(fd, reinterpret_cast<sockaddr*>(&peer), &size) == 0 &&
            ntohs(peer.sin_port) == server.port()) {
            ++sockets;
            EXPECT_NE(::fcntl(fd, F_GETFD) & FD_CLOEXEC, 0);
        }
    }
    EXPECT_EQ(sockets, 1);
}

// Cut where it counts: the answer is whole, but not what was announced.
TEST_P(HttpExchangeTest, WholeAnswerCountsHoweverTheConnectionEnds)
{
    for (const std::string head :
         {"HTTP/1.1 200 OK\r\nContent-Length: 100000\r\n\r\n", "HTTP/1.1 200 OK\r\n\r\n",
          "HTTP/1.0 200 OK\r\n\r\n", "HTTP/1.1 200 OK\r\nContent-Encoding: nonsense\r\n\r\n"}) {
        ScriptedServer server([&head](const Connection& connection) {
            connection.request();
            connection.send(head + goodBody());
        });
        const bool packed = head.find("nonsense") != std::string::npos;
        EXPECT_EQ(ask(requestTo(server.port())), packed ? IppOutcome::NoIpp : IppOutcome::Answered) << head;
    }
    ScriptedServer chunked([](const Connection& connection) {
        connection.request();
        char size[16];
        std::snprintf(size, sizeof size, "%zx\r\n", goodBody().size());
        connection.send("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n" + (size + goodBody()) +
                        "\r\n");
    });
    EXPECT_EQ(ask(requestTo(chunked.port())), IppOutcome::Answered) << "without the last chunk";
}

TEST_P(HttpExchangeTest, PackedAnswerIsUnpackedAndItsUnpackedSizeIsBounded)
{
    const auto answers = [](const std::string& packed) {
        return [packed](const Connection& connection) {
            connection.request();
            connection.send(httpAnswer("200 OK", packed, "Content-Encoding: deflate\r\n"));
            connection.untilGone();
        };
    };
    ScriptedServer small(answers(Deflated::stored(goodBody())));
    EXPECT_EQ(ask(requestTo(small.port())), IppOutcome::Answered);
    const std::string bomb = Deflated::zeros(64u << 20);
    ASSERT_LT(bomb.size(), 500000u);
    ScriptedServer large(answers(bomb));
    EXPECT_EQ(ask(requestTo(large.port())), IppOutcome::NoIpp);
    EXPECT_EQ(large.accepted(), 1) << "it was too much, not the wrong path";
}

TEST_P(HttpExchangeTest, WhatUnpacksToNothingIsBoundedToo)
{
    std::string block;
    for (int i = 0; i < 10000; ++i) {
        block += Deflated::nothing();
    }
    std::size_t sent = 0;
    EXPECT_EQ(askEndless("HTTP/1.1 200 OK\r\nContent-Encoding: deflate\r\n\r\n", block, sent),
              IppOutcome::NoIpp);
    EXPECT_LT(sent, 20u << 20);
}

TEST_P(HttpExchangeTest, HeadersAreBounded)
{
    std::string lines;
    for (int i = 0; i < 1000; ++i) {
        lines += "X-Header: " + std::string(40, 'x') + "\r\n";
    }
    std::size_t sent = 0;
    EXPECT_EQ(askEndless("HTTP/1.1 200 OK\r\n", lines, sent), IppOutcome::NoIpp);
    EXPECT_LT(sent, 20u << 20);
    std::string interim;
    for (int i = 0; i < 1000; ++i) {
        interim += "HTTP/1.1 100 Continue\r\n\r\n";
    }
    EXPECT_EQ(askEndless("", interim, sent), IppOutcome::NoIpp);
    EXPECT_LT(sent, 20u << 20);
    EXPECT_EQ(askEndless("HTTP/1.1 200 OK\r\nX: ", std::string(50000, 'x'), sent), IppOutcome::NoIpp);
    EXPECT_LT(sent, 20u << 20);
}

// What the library is told, as it is told: the option and its value where that is a number.
std::map<CURLoption, long> told;
decltype(::curl_easy_setopt)* tell = nullptr;

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wvarargs" // the enumeration has the size of what it is promoted to
CURLcode record(CURL* transfer, CURLoption option, ...)
{
    va_list list;
    va_start(list, option);
    void* const value = va_arg(list, void*);
    va_end(list);
    told[option] = reinterpret_cast<long>(value);
    return tell(transfer, option, value);
}
#pragma GCC diagnostic pop

TEST_P(HttpExchangeTest, WhatCannotBeSeenFromOutsideIsSet)
{
    CurlLibrary recorded = *curl;
    tell = curl->set;
    recorded.set = &record;
    told.clear();
    const HttpExchange exchange(recorded, {"http://127.0.0.1/", {}, "x", 1});
    ASSERT_TRUE(exchange.isReady());
    EXPECT_EQ(told[CURLOPT_NOSIGNAL], 1);
    EXPECT_EQ(told.count(CURLOPT_FOLLOWLOCATION), 1u);
    EXPECT_EQ(told[CURLOPT_FOLLOWLOCATION], 0);
    EXPECT_EQ(told[CURLOPT_FORBID_REUSE], 1);
    EXPECT_EQ(told.count(CURLOPT_SSL_VERIFYPEER), 1u);
    EXPECT_EQ(told[CURLOPT_SSL_VERIFYPEER], 0);
    EXPECT_EQ(told.count(CURLOPT_SSL_SESSIONID_CACHE), 1u);
    EXPECT_EQ(told[CURLOPT_SSL_SESSIONID_CACHE], 0);
    EXPECT_EQ(told.count(CURLOPT_CAINFO), 1u);
    EXPECT_EQ(told[CURLOPT_CAINFO], 0);
    EXPECT_EQ(told[CURLOPT_SSLVERSION], CURL_SSLVERSION_TLSv1_0);
    EXPECT_EQ(told.count(CURLOPT_SSL_CIPHER_LIST), GetParam() == std::string("libcurl.so.4") ? 1u : 0u);
}

CURLcode refuseProtocols(CURL* /*transfer*/, CURLoption option, ...)
{
    return option == CURLOPT_PROTOCOLS ? CURLE_UNKNOWN_OPTION : CURLE_OK;
}

// An option that a library does not know makes no exchange, rather than one without it.
TEST_P(HttpExchangeTest, OptionThatIsRefusedMakesNoExchange)
{
    CurlLibrary old = *curl;
    old.set = &refuseProtocols;
    EXPECT_FALSE(HttpExchange(old, {"http://127.0.0.1/", {}, "x", 1}).isReady());
}

} // namespace
} // namespace tarn::ipp
