// The transport against servers that behave, and servers that do not: real sockets, the system's libcups, and
// either libcurl.
#include <dlfcn.h>

#include <condition_variable>
#include <csignal>
#include <future>
#include <list>
#include <mutex>

#include "tarn/src/base/worker_thread.h"
#include "tarn/src/ipp/ipp_shape.h"
#include "tests/support/eventually.h"
#include "tests/support/own_threads.h"
#include "tests/unit/tarn/ipp/transport_session.h"
#include "tests/unit/tarn/support/scratch_directory.h"

namespace tarn::ipp {
namespace {

using engine::IppChoice;
using kel_test::eventually;
using test::goodBody;
using test::httpAnswer;
using test::IppOctets;
using test::pathOf;
using test::requestTo;
using test::ScriptedServer;
using test::TransportSession;
using Connection = ScriptedServer::Connection;
using SteadyClock = std::chrono::steady_clock;

class IppTransportTest : public testing::TestWithParam<const char*>
{
protected:
    void SetUp() override
    {
        if (CupsLibrary::system() == nullptr || test::curlOf(GetParam()) == nullptr) {
            GTEST_SKIP() << "no libcups or no " << GetParam() << " here";
        }
    }
    IppAnswer ask(const IppRequest& request) { return session.ask(request); }

    TransportSession session{GetParam()};
};

INSTANTIATE_TEST_SUITE_P(Curl, IppTransportTest, testing::ValuesIn(test::kCurls), [](const auto& item) {
    return item.param == std::string("libcurl.so.4") ? "Plain" : "Gnutls";
});

TEST_P(IppTransportTest, AsksForNamedAttributesAndLeaves)
{
    std::promise<std::string> seen;
    ScriptedServer server([&](const Connection& connection) {
        const std::string request = connection.request();
        connection.send(httpAnswer("200 OK", goodBody()));
        connection.untilGone();
        seen.set_value(request);
    });
    const IppAnswer answer = ask(requestTo(server.port()));
    ASSERT_EQ(answer.outcome, IppOutcome::Answered);
    ASSERT_EQ(answer.printers.size(), 1u);
    EXPECT_EQ(answer.printers[0].text("printer-make-and-model"), "Lyra");
    EXPECT_EQ(answer.printers[0].number("printer-state"), 3);
    EXPECT_FALSE(answer.route.tls);
    const std::string request = seen.get_future().get(); // set when the connection is gone
    EXPECT_EQ(pathOf(request), "/ipp/print");
    EXPECT_NE(request.find("printer-state-reasons"), std::string::npos);
    const std::string uri = "ipp://127.0.0.1:" + std::to_string(server.port()) + "/ipp/print";
    EXPECT_NE(request.find(std::string("\x45\0\x0bprinter-uri\0", 15) + static_cast<char>(uri.size()) + uri),
              std::string::npos);
    EXPECT_EQ(request.find(std::string("\0\3all", 5)), std::string::npos);
    EXPECT_NE(request.find("Host: 127.0.0.1:" + std::to_string(server.port())), std::string::npos) << request;
}

TEST_P(IppTransportTest, TriesTheUsualPathsInTurnAndRemembersTheRightOne)
{
    ScriptedServer server([](const Connection& connection) {
        connection.send(pathOf(connection.request()) == "/" ? httpAnswer("200 OK", goodBody())
                                                            : httpAnswer("404 Not Found"));
        connection.untilGone();
    });
    IppRequest request = requestTo(server.port());
    const IppAnswer answer = ask(request);
    ASSERT_EQ(answer.outcome, IppOutcome::Answered);
    EXPECT_EQ(server.accepted(), 3);
    request.route = answer.route;
    EXPECT_EQ(ask(request).outcome, IppOutcome::Answered);
    EXPECT_EQ(server.accepted(), 4);
}

TEST_P(IppTransportTest, RouteThatNoLongerWorksIsLookedForAgain)
{
    ScriptedServer server([](const Connection& connection) {
        connection.send(pathOf(connection.request()) == "/ipp" ? httpAnswer("200 OK", goodBody())
                                                               : httpAnswer("404 Not Found"));
        connection.untilGone();
    });
    IppRequest request = requestTo(server.port());
    request.route = {true, false, false, 0};
    const IppAnswer answer = ask(request);
    EXPECT_EQ(answer.outcome, IppOutcome::Answered);
    EXPECT_EQ(answer.route.path, 1);
}

TEST_P(IppTransportTest, ConfiguredPathIsTheOnlyOne)
{
    ScriptedServer server([](const Connection& connection) {
        connection.send(pathOf(connection.request()) == "/mine" ? httpAnswer("200 OK", goodBody())
                                                                : httpAnswer("404 Not Found"));
        connection.untilGone();
    });
    IppRequest request = requestTo(server.port());
    request.settings.path = "/mine";
    EXPECT_EQ(ask(request).outcome, IppOutcome::Answered);
    EXPECT_EQ(server.accepted(), 1);
}

TEST_P(IppTransportTest, OldPrinterIsAskedInItsVersion)
{
    ScriptedServer server([](const Connection& connection) {
        const std::string request = connection.request();
        const bool old = request[request.find("\r\n\r\n") + 4] == 1;
        connection.send(httpAnswer("200 OK", old ? goodBody() : IppOctets(0x0503, 0x0101).whole()));
        connection.untilGone();
    });
    const IppAnswer answer = ask(requestTo(server.port()));
    EXPECT_EQ(answer.outcome, IppOutcome::Answered);
    EXPECT_TRUE(answer.route.version11);
}

TEST_P(IppTransportTest, AnswersWithoutAPrinterAreNone)
{
    for (const std::string& body :
         {std::string(), std::string("garbage"), IppOctets(0x0400).whole(), IppOctets().printer().whole(),
          IppOctets().printer().text("printer-info", "cut off").cut(), goodBody().substr(0, 30)}) {
        ScriptedServer server([&body](const Connection& connection) {
            connection.request();
            connection.send(httpAnswer("200 OK", body));
            connection.untilGone();
        });
        EXPECT_EQ(ask(requestTo(server.port())).outcome, IppOutcome::NoIpp) << body.size();
    }
}

TEST_P(IppTransportTest, GarbageAndEarlyEndsAreNoIpp)
{
    const std::vector<ScriptedServer::Script> scripts = {
        [](const Connection&) {},
        [](const Connection& connection) { connection.send("220 mail.example ESMTP\r\n"); },
        [](const Connection& connection) {
            connection.request();
            connection.send(std::string(4000, '\xFF'));
        },
        [](const Connection& connection) {
            connection.endOutput();
            connection.untilGone();
        },
        [](const Connection& connection) {
            connection.request();
            connection.send("HTTP/1.1 200 OK\r\nContent-Length: 5000\r\n\r\nabc");
        },
    };
    for (const ScriptedServer::Script& script : scripts) {
        ScriptedServer server(script);
        for (const IppChoice choice : {IppChoice::Plain, IppChoice::Tls, IppChoice::Auto}) {
            EXPECT_EQ(ask(requestTo(server.port(), choice)).outcome, IppOutcome::NoIpp);
        }
    }
}

TEST_P(IppTransportTest, RefusedIsToldFromSilent)
{
    std::uint16_t port = 0;
    {
        ScriptedServer server([](const Connection&) {});
        port = server.port();
    }
    EXPECT_EQ(ask(requestTo(port, IppChoice::Auto)).outcome, IppOutcome::Refused);
}

TEST_P(IppTransportTest, RedirectionsAreNotFollowed)
{
    ScriptedServer elsewhere([](const Connection& connection) {
        connection.request();
        connection.send(httpAnswer("200 OK", goodBody()));
    });
    const std::string where =
        "Location: http://127.0.0.1:" + std::to_string(elsewhere.port()) + "/ipp/print\r\n";
    for (const char* status : {"301 Moved Permanently", "302 Found", "307 Temporary Redirect"}) {
        ScriptedServer server([&](const Connection& connection) {
            connection.request();
            connection.send(httpAnswer(status, {}, where));
            connection.untilGone();
        });
        EXPECT_EQ(ask(requestTo(server.port())).outcome, IppOutcome::NoIpp);
        EXPECT_EQ(ask(requestTo(server.port(), IppChoice::Auto)).outcome, IppOutcome::NoIpp);
    }
    EXPECT_EQ(elsewhere.accepted(), 0);
}

TEST_P(IppTransportTest, EncryptionIsTriedWhereThePrinterDemandsItAndNotElsewhere)
{
    std::atomic<int> hellos{0};
    const auto answers = [&hellos](const char* status) {
        return [&hellos, status](const Connection& connection) {
            if (connection.request().substr(0, 1) == "\x16") {
                ++hellos; // a TLS handshake, which is not taken further here
            } else {
                connection.send(httpAnswer(status));
                connection.untilGone();
            }
        };
    };
    ScriptedServer other(answers("404 Not Found"));
    EXPECT_EQ(ask(requestTo(other.port(), IppChoice::Auto)).outcome, IppOutcome::NoIpp);
    EXPECT_EQ(hellos, 0);
    for (const char* status : {"426 Upgrade Required", "301 Moved Permanently"}) {
        ScriptedServer server(answers(status));
        hellos = 0;
        EXPECT_EQ(ask(requestTo(server.port(), IppChoice::Plain)).outcome, IppOutcome::NoIpp);
        EXPECT_EQ(hellos, 0) << status;
        EXPECT_EQ(ask(requestTo(server.port(), IppChoice::Auto)).outcome, IppOutcome::NoIpp);
        EXPECT_EQ(hellos, 1) << status;
    }
}

TEST_P(IppTransportTest, HundredMegabytesAreCutEarly)
{
    std::atomic<std::size_t> sent{0};
    ScriptedServer server([&](const Connection& connection) {
        connection.request();
        connection.send(
            "HTTP/1.1 200 OK\r\nContent-Type: application/ipp\r\nContent-Length: 104857600\r\n\r\n");
        const std::string block(65536, '\x05');
        for (int i = 0; i < 1600 && connection.send(block); ++i) {
            sent += block.size();
        }
    });
    EXPECT_EQ(ask(requestTo(server.port())).outcome, IppOutcome::NoIpp);
    EXPECT_EQ(server.accepted(), 1) << "once is enough";
    EXPECT_LT(sent, 20u << 20) << "what stands in the sockets' buffers apart";
}

// Each takes its ten seconds, so all are asked at once.
TEST_P(IppTransportTest, WhoeverTakesHisTimeIsCutAtTheDeadline)
{
    const ScriptedServer::Script silent = [](const Connection& connection) { connection.untilGone(); };
    const auto drips = [](const std::string& head, bool asked) {
        return [head, asked](const Connection& connection) {
            if (asked) {
                connection.request();
            }
            connection.send(head);
            while (connection.wait(100) && connection.send(" ")) {
            }
        };
    };
    struct Case
    {
        ScriptedServer::Script script;
        IppChoice choice;
    };
    const std::vector<Case> cases = {
        {silent, IppChoice::Plain},
        {silent, IppChoice::Tls},
        {drips("", true), IppChoice::Plain},
        {drips("HTTP/1.1 200 OK\r\nX: ", true), IppChoice::Plain},
        {drips("HTTP/1.1 200 OK\r\nContent-Length: 100000\r\n\r\n", true), IppChoice::Plain},
        {drips("\x16\x03\x03\x40", false), IppChoice::Tls},
    };
    std::vector<std::unique_ptr<ScriptedServer>> servers;
    const auto begun = SteadyClock::now();
    for (const Case& item : cases) {
        servers.push_back(std::make_unique<ScriptedServer>(item.script));
        session.send(requestTo(servers.back()->port(), item.choice));
    }
    for (const auto& [ticket, answer] : session.answers(cases.size())) {
        EXPECT_EQ(answer.outcome, IppOutcome::NoIpp) << ticket;
    }
    EXPECT_LT(SteadyClock::now() - begun, TransportSession::kInTime);
    for (const auto& server : servers) {
        EXPECT_EQ(server->accepted(), 1);
    }
}

// Its connections are never accepted: the queue before the port is full.
TEST_P(IppTransportTest, WhereNoConnectionComesAboutIsSilentSoonerThanTheDeadline)
{
    const test::FullPort full;
    const auto begun = SteadyClock::now();
    EXPECT_EQ(ask(requestTo(full.port(), IppChoice::Auto)).outcome, IppOutcome::Silent);
    EXPECT_GE(SteadyClock::now() - begun, HttpLoop::kConnectPatience - std::chrono::milliseconds(100));
    EXPECT_LT(SteadyClock::now() - begun, RequestRunner::kDeadline);
}

TEST_P(IppTransportTest, EndsAtOnceInTheMidstOfIt)
{
    ScriptedServer server([](const Connection& connection) { connection.untilGone(); });
    for (int i = 0; i < 20; ++i) {
        session.send(requestTo(server.port(), i % 2 == 0 ? IppChoice::Tls : IppChoice::Plain));
    }
    ASSERT_TRUE(eventually([&] { return server.accepted() == 20; }));
    const auto begun = SteadyClock::now();
    session.end();
    EXPECT_LT(SteadyClock::now() - begun, std::chrono::seconds(2));
    EXPECT_EQ(workersRunning(), 0);
    EXPECT_TRUE(eventually([] { return kel_test::ownThreads("tarn-ipp") == 0; }));
}

TEST_P(IppTransportTest, CancelledRequestEndsItsConnectionAndIsAnsweredToNobody)
{
    ScriptedServer forgotten([](const Connection& connection) { connection.untilGone(); });
    ScriptedServer server([&forgotten](const Connection& connection) {
        connection.request();
        while (forgotten.gone() == 0 && connection.wait(10)) {
        }
        connection.send(httpAnswer("200 OK", goodBody()));
    });
    const Ticket cancelled = session.send(requestTo(forgotten.port()));
    const Ticket other = session.send(requestTo(server.port()));
    ASSERT_TRUE(eventually([&] { return forgotten.accepted() == 1 && server.accepted() == 1; }));
    session.queue().cancel(cancelled);
    EXPECT_EQ(session.answers(1)[other].outcome, IppOutcome::Answered);
    EXPECT_EQ(forgotten.gone(), 1);
    EXPECT_TRUE(session.queue().takeFinished().empty());
}

TEST_P(IppTransportTest, EachQueueHasItsOwnAnswersAndEndsAlone)
{
    ScriptedServer server([](const Connection& connection) {
        connection.request();
        connection.send(httpAnswer("200 OK", goodBody()));
        connection.untilGone();
    });
    ScriptedServer silent([](const Connection& connection) { connection.untilGone(); });
    const auto transport =
        IppTransport::make({&CupsLibrary::system, [] { return test::curlOf(GetParam()); }});
    const auto first = transport->newQueue();
    auto second = transport->newQueue();
    ASSERT_TRUE(second->send(1, requestTo(silent.port())));
    ASSERT_TRUE(eventually([&] { return silent.accepted() == 1; }));
    second.reset();
    ASSERT_TRUE(first->send(1, requestTo(server.port())));
    std::vector<FinishedRequest> finished;
    ASSERT_TRUE(eventually([&] {
        finished = first->takeFinished();
        return !finished.empty();
    }));
    EXPECT_EQ(finished[0].answer.outcome, IppOutcome::Answered);
    EXPECT_EQ(kel_test::ownThreads("tarn-ipp"), 1);
}

TEST_P(IppTransportTest, HundredsAreAskedAtOnceByOneThread)
{
    constexpr int kCount = 300;
    int atOnce = 0;
    std::mutex mutex;
    std::condition_variable allAreThere;
    ScriptedServer server([&](const Connection& connection) {
        const std::string request = connection.request();
        std::unique_lock lock(mutex);
        if (++atOnce == kCount) {
            allAreThere.notify_all();
        }
        allAreThere.wait_for(lock, std::chrono::seconds(60), [&] { return atOnce == kCount; });
        lock.unlock();
        connection.send(httpAnswer("200 OK", goodBody()));
        connection.untilGone();
    });
    for (int i = 0; i < kCount; ++i) {
        session.send(requestTo(server.port()));
    }
    ASSERT_TRUE(eventually([&] { return server.accepted() == kCount; }));
    EXPECT_EQ(kel_test::ownThreads("tarn-ipp"), 1);
    for (const auto& [ticket, answer] : session.answers(kCount)) {
        EXPECT_EQ(answer.outcome, IppOutcome::Answered) << ticket;
    }
}

TEST_P(IppTransportTest, SchedulerSaysItsQueues)
{
    ScriptedServer server([](const Connection& connection) {
        const std::string request = connection.request();
        const bool queues =
            pathOf(request) == "/" && request.find(std::string("\x40\x02", 2)) != std::string::npos;
        connection.send(httpAnswer("200 OK", queues ? IppOctets()
                                                          .printer()
                                                          .value(0x42, "printer-name", "one")
                                                          .printer()
                                                          .value(0x42, "printer-name", "two")
                                                          .number("printer-state", 3)
                                                          .whole()
                                                    : std::string()));
        connection.untilGone();
    });
    const tarn::test::ScopedVariable scheduler("CUPS_SERVER", "127.0.0.1:" + std::to_string(server.port()));
    IppRequest request;
    request.operation = IppOperation::Queues;
    const IppAnswer answer = ask(request);
    ASSERT_EQ(answer.outcome, IppOutcome::Answered);
    ASSERT_EQ(answer.printers.size(), 2u);
    EXPECT_EQ(answer.printers[0].text("printer-name"), "one");
    EXPECT_EQ(answer.printers[1].text("printer-name"), "two");
}

TEST_P(IppTransportTest, SchedulerBehindASocketSaysItsQueues)
{
    const tarn::test::ScratchDirectory directory;
    const std::string path = directory.path("socket");
    ScriptedServer server(
        [](const Connection& connection) {
            const std::string request = connection.request();
            connection.send(
                httpAnswer("200 OK", request.find("Host: localhost\r\n") != std::string::npos
                                         ? IppOctets().printer().value(0x42, "printer-name", "one").whole()
                                         : std::string()));
            connection.untilGone();
        },
        path);
    const tarn::test::ScopedVariable scheduler("CUPS_SERVER", path);
    IppRequest request;
    request.operation = IppOperation::Queues;
    const IppAnswer answer = ask(request);
    ASSERT_EQ(answer.outcome, IppOutcome::Answered);
    ASSERT_EQ(answer.printers.size(), 1u);
    EXPECT_EQ(answer.printers[0].text("printer-name"), "one");
}

TEST_P(IppTransportTest, SchedulerThatIsNotThereIsSilent)
{
    IppRequest request;
    request.operation = IppOperation::Queues;
    for (const std::string& where : {std::string("/nowhere/at/all"), '/' + std::string(300, 'x')}) {
        const tarn::test::ScopedVariable scheduler("CUPS_SERVER", where);
        TransportSession other(GetParam());
        EXPECT_EQ(other.ask(request).outcome, IppOutcome::Silent) << where;
    }
}

TEST(IppWithoutLibraries, NobodyIsConnectedToWhereOneIsMissing)
{
    ScriptedServer server([](const Connection&) {});
    const IppLibraries none[] = {
        {[]() -> const CupsLibrary* { return nullptr; }, &CurlLibrary::system},
        {&CupsLibrary::system, []() -> const CurlLibrary* { return nullptr; }},
    };
    for (const IppLibraries& libraries : none) {
        EXPECT_EQ(TransportSession(libraries).ask(requestTo(server.port())).outcome, IppOutcome::NoLibrary);
    }
    EXPECT_EQ(server.accepted(), 0);
    EXPECT_FALSE(CupsLibrary("libcups-that-nobody-has.so.9").complaint().empty());
    EXPECT_NE(CupsLibrary("libc.so.6").complaint().find("ippNew"), std::string::npos);
    EXPECT_FALSE(CurlLibrary("libcurl-that-nobody-has.so.9").complaint().empty());
    EXPECT_NE(CurlLibrary("libc.so.6").complaint().find("curl_global_init"), std::string::npos);
}

// Else the tests above are skipped, and nobody is asked.
TEST(IppWithLibraries, LibcurlThatIsThereIsUsable)
{
    for (const char* const soname : test::kCurls) {
        void* const there = ::dlopen(soname, RTLD_NOW);
        EXPECT_EQ(CurlLibrary(soname).complaint().empty(), there != nullptr) << soname;
    }
}

CURLMcode addsNothing(CURLM* /*multi*/, CURL* /*transfer*/)
{
    return CURLM_OUT_OF_MEMORY;
}

TEST_P(IppTransportTest, ExchangeThatCannotBeginEndsItsRequestAlone)
{
    ScriptedServer server([](const Connection& connection) {
        connection.request();
        connection.send(httpAnswer("200 OK", goodBody()));
        connection.untilGone();
    });
    const CurlLibrary& whole = *test::curlOf(GetParam());
    static auto& kept = *new std::list<CurlLibrary>; // the transport's thread may outlive the test
    CurlLibrary& failing = kept.emplace_back(whole);
    failing.add = &addsNothing;
    TransportSession other(IppLibraries{&CupsLibrary::system, [&] { return &failing; }});
    EXPECT_EQ(other.ask(requestTo(server.port())).outcome, IppOutcome::NotSent);
    failing.add = whole.add;
    EXPECT_EQ(other.ask(requestTo(server.port())).outcome, IppOutcome::Answered);
}

ipp_state_t hasNoMemory(void* /*source*/, ipp_iocb_t /*read*/, int /*blocking*/, ipp_t* /*parent*/,
                        ipp_t* /*message*/)
{
    throw std::bad_alloc();
}

TEST_P(IppTransportTest, AnswerThatThereIsNoMemoryToReadEndsItsRequestAlone)
{
    ScriptedServer server([](const Connection& connection) {
        connection.request();
        connection.send(httpAnswer("200 OK", goodBody()));
        connection.untilGone();
    });
    static auto& kept = *new std::list<CupsLibrary>; // the transport's thread may outlive the test
    CupsLibrary& failing = kept.emplace_back(*CupsLibrary::system());
    failing.readMessage = &hasNoMemory;
    TransportSession other(IppLibraries{[&] { return &failing; }, [] { return test::curlOf(GetParam()); }});
    EXPECT_EQ(other.ask(requestTo(server.port())).outcome, IppOutcome::NotSent);
    EXPECT_EQ(server.accepted(), 1);
    failing.readMessage = CupsLibrary::system()->readMessage;
    EXPECT_EQ(other.ask(requestTo(server.port())).outcome, IppOutcome::Answered);
}

TEST(IppWithoutLibraries, SignalsStayAsTheProgramHasThem)
{
    struct sigaction before
    {
    };
    ::sigaction(SIGPIPE, nullptr, &before);
    const CupsLibrary cups("libcups.so.2");
    for (const char* const soname : test::kCurls) {
        const CurlLibrary curl(soname);
    }
    struct sigaction after
    {
    };
    ::sigaction(SIGPIPE, nullptr, &after);
    EXPECT_EQ(before.sa_handler, after.sa_handler);
}

TEST(IppMessages, DeepAndEnormousMessagesAreNotDecoded)
{
    const CupsLibrary& cups = *CupsLibrary::system();
    IppOctets deep;
    deep.printer();
    for (int i = 0; i < 100000; ++i) {
        deep.value(0x34, i == 0 ? "media-col" : "", "").value(0x4a, "", "x");
    }
    EXPECT_FALSE(isReadableIpp(deep.whole()));
    EXPECT_FALSE(decodeIpp(cups, deep.whole()).has_value());
    IppOctets wide;
    wide.printer().keyword("printer-state-reasons", "a");
    for (int i = 0; i < 100000; ++i) {
        wide.keyword("", "b");
    }
    EXPECT_FALSE(decodeIpp(cups, wide.whole()).has_value());
    IppOctets shallow;
    shallow.printer().value(0x34, "media-col", "").value(0x4a, "", "x").number("", 3).value(0x37, "", "");
    shallow.number("printer-state", 4);
    const std::optional<IppReply> reply = decodeIpp(cups, shallow.whole());
    ASSERT_TRUE(reply.has_value());
    EXPECT_EQ(reply->printers.at(0).number("printer-state"), 4);
}

} // namespace
} // namespace tarn::ipp
