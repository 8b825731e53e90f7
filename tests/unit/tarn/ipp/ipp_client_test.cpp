// The client against servers that behave, and servers that do not: real sockets and the system's libcups.
#include "tarn/src/ipp/ipp_client.h"

#include <gtest/gtest.h>

#include <csignal>
#include <future>

#include "tarn/src/ipp/asker_pool.h"
#include "tarn/src/ipp/cups_library.h"
#include "tarn/src/ipp/ipp_shape.h"
#include "tests/unit/tarn/ipp/scripted_server.h"

namespace tarn::ipp {
namespace {

using engine::IppChoice;
using test::httpAnswer;
using test::IppOctets;
using test::ScriptedServer;
using Connection = ScriptedServer::Connection;
using SteadyClock = std::chrono::steady_clock;

constexpr std::uint32_t kLoopback = 0x7F000001;
// What is promised is kDeadline; the rest is for a machine that has much to do.
constexpr std::chrono::seconds kInTime{15};

IppQuestion questionTo(std::uint16_t port, IppChoice choice = IppChoice::Plain)
{
    IppQuestion question;
    question.address = kLoopback;
    question.settings.port = port;
    question.settings.choice = choice;
    return question;
}

std::string goodBody()
{
    return IppOctets().printer().text("printer-make-and-model", "Lyra").number("printer-state", 3).whole();
}

std::string pathOf(const std::string& request)
{
    const std::size_t begin = request.find(' ') + 1;
    return request.substr(begin, request.find(' ', begin) - begin);
}

class IppClientTest : public testing::Test
{
protected:
    void SetUp() override
    {
        if (CupsLibrary::system() == nullptr) {
            GTEST_SKIP() << "no libcups here";
        }
        // As on the threads of the pool: libcups writes to connections that are gone.
        sigset_t pipe;
        sigemptyset(&pipe);
        sigaddset(&pipe, SIGPIPE);
        ASSERT_EQ(pthread_sigmask(SIG_BLOCK, &pipe, nullptr), 0);
    }
    IppAnswer ask(const IppQuestion& question)
    {
        const auto begun = SteadyClock::now();
        IppAnswer answer = client.ask(question);
        EXPECT_LT(SteadyClock::now() - begun, kInTime);
        return answer;
    }

    IppClient client{&CupsLibrary::system};
};

TEST_F(IppClientTest, AsksForNamedAttributesAndLeaves)
{
    std::promise<std::string> seen;
    ScriptedServer server([&](const Connection& connection) {
        const std::string request = connection.request();
        connection.send(httpAnswer("200 OK", goodBody()));
        connection.untilGone();
        seen.set_value(request);
    });
    const IppAnswer answer = ask(questionTo(server.port()));
    ASSERT_EQ(answer.outcome, IppOutcome::Answered);
    ASSERT_EQ(answer.printers.size(), 1u);
    EXPECT_EQ(answer.printers[0].text("printer-make-and-model"), "Lyra");
    EXPECT_EQ(answer.printers[0].number("printer-state"), 3);
    EXPECT_FALSE(answer.route.tls);
    const std::string request = seen.get_future().get(); // set when the connection is gone
    EXPECT_EQ(pathOf(request), "/ipp/print");
    EXPECT_NE(request.find("printer-state-reasons"), std::string::npos);
    EXPECT_EQ(request.find(std::string("\0\3all", 5)), std::string::npos);
    EXPECT_NE(request.find("Host: localhost:" + std::to_string(server.port())), std::string::npos) << request;
}

TEST_F(IppClientTest, TriesTheUsualPathsInTurnAndRemembersTheRightOne)
{
    ScriptedServer server([](const Connection& connection) {
        connection.send(pathOf(connection.request()) == "/" ? httpAnswer("200 OK", goodBody())
                                                            : httpAnswer("404 Not Found"));
        connection.untilGone();
    });
    IppQuestion question = questionTo(server.port());
    const IppAnswer answer = ask(question);
    ASSERT_EQ(answer.outcome, IppOutcome::Answered);
    EXPECT_EQ(server.accepted(), 3);
    question.route = answer.route;
    EXPECT_EQ(ask(question).outcome, IppOutcome::Answered);
    EXPECT_EQ(server.accepted(), 4);
}

TEST_F(IppClientTest, RouteThatNoLongerWorksIsLookedForAgain)
{
    ScriptedServer server([](const Connection& connection) {
        connection.send(pathOf(connection.request()) == "/ipp" ? httpAnswer("200 OK", goodBody())
                                                               : httpAnswer("404 Not Found"));
        connection.untilGone();
    });
    IppQuestion question = questionTo(server.port());
    question.route = {true, false, false, 0};
    const IppAnswer answer = ask(question);
    EXPECT_EQ(answer.outcome, IppOutcome::Answered);
    EXPECT_EQ(answer.route.path, 1);
}

TEST_F(IppClientTest, ConfiguredPathIsTheOnlyOne)
{
    ScriptedServer server([](const Connection& connection) {
        connection.send(pathOf(connection.request()) == "/mine" ? httpAnswer("200 OK", goodBody())
                                                                : httpAnswer("404 Not Found"));
        connection.untilGone();
    });
    IppQuestion question = questionTo(server.port());
    question.settings.path = "/mine";
    EXPECT_EQ(ask(question).outcome, IppOutcome::Answered);
    EXPECT_EQ(server.accepted(), 1);
}

TEST_F(IppClientTest, OldPrinterIsAskedInItsVersion)
{
    ScriptedServer server([](const Connection& connection) {
        const std::string request = connection.request();
        const bool old = request[request.find("\r\n\r\n") + 4] == 1;
        connection.send(httpAnswer("200 OK", old ? goodBody() : IppOctets(0x0503, 0x0101).whole()));
        connection.untilGone();
    });
    const IppAnswer answer = ask(questionTo(server.port()));
    EXPECT_EQ(answer.outcome, IppOutcome::Answered);
    EXPECT_TRUE(answer.route.version11);
}

TEST_F(IppClientTest, AnswersWithoutAPrinterAreNone)
{
    for (const std::string& body :
         {std::string(), std::string("garbage"), IppOctets(0x0400).whole(), IppOctets().printer().whole(),
          IppOctets().printer().text("printer-info", "cut off").cut(), goodBody().substr(0, 30)}) {
        ScriptedServer server([&body](const Connection& connection) {
            connection.request();
            connection.send(httpAnswer("200 OK", body));
            connection.untilGone();
        });
        EXPECT_EQ(ask(questionTo(server.port())).outcome, IppOutcome::NoIpp) << body.size();
    }
}

TEST_F(IppClientTest, GarbageAndEarlyEndsAreNoIpp)
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
            EXPECT_EQ(ask(questionTo(server.port(), choice)).outcome, IppOutcome::NoIpp);
        }
    }
}

TEST_F(IppClientTest, RefusedIsToldFromSilent)
{
    std::uint16_t port = 0;
    {
        ScriptedServer server([](const Connection&) {});
        port = server.port();
    }
    EXPECT_EQ(ask(questionTo(port, IppChoice::Auto)).outcome, IppOutcome::Refused);
}

TEST_F(IppClientTest, RedirectionsAreNotFollowed)
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
        EXPECT_EQ(ask(questionTo(server.port())).outcome, IppOutcome::NoIpp);
        EXPECT_EQ(ask(questionTo(server.port(), IppChoice::Auto)).outcome, IppOutcome::NoIpp);
    }
    EXPECT_EQ(elsewhere.accepted(), 0);
}

TEST_F(IppClientTest, EncryptionIsTriedWhereThePrinterDemandsItAndNotElsewhere)
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
    EXPECT_EQ(ask(questionTo(other.port(), IppChoice::Auto)).outcome, IppOutcome::NoIpp);
    EXPECT_EQ(hellos, 0);
    for (const char* status : {"426 Upgrade Required", "301 Moved Permanently"}) {
        ScriptedServer server(answers(status));
        hellos = 0;
        EXPECT_EQ(ask(questionTo(server.port(), IppChoice::Plain)).outcome, IppOutcome::NoIpp);
        EXPECT_EQ(hellos, 0) << status;
        EXPECT_EQ(ask(questionTo(server.port(), IppChoice::Auto)).outcome, IppOutcome::NoIpp);
        EXPECT_EQ(hellos, 1) << status;
    }
}

TEST_F(IppClientTest, HundredMegabytesAreCutEarly)
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
    EXPECT_EQ(ask(questionTo(server.port())).outcome, IppOutcome::NoIpp);
    EXPECT_EQ(server.accepted(), 1) << "once is enough";
    EXPECT_LT(sent, 20u << 20) << "what stands in the sockets' buffers apart";
}

// Each takes its ten seconds, so all are asked at once.
TEST_F(IppClientTest, WhoeverTakesHisTimeIsCutAtTheDeadline)
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
    std::vector<std::future<IppAnswer>> answers;
    const auto begun = SteadyClock::now();
    for (const Case& item : cases) {
        servers.push_back(std::make_unique<ScriptedServer>(item.script));
        answers.push_back(std::async(std::launch::async, [this, port = servers.back()->port(), &item] {
            return client.ask(questionTo(port, item.choice));
        }));
    }
    for (std::future<IppAnswer>& answer : answers) {
        EXPECT_EQ(answer.get().outcome, IppOutcome::NoIpp);
    }
    EXPECT_LT(SteadyClock::now() - begun, kInTime);
    for (const auto& server : servers) {
        EXPECT_EQ(server->accepted(), 1);
    }
}

TEST_F(IppClientTest, StopEndsEveryQuestionAtOnce)
{
    const ScriptedServer::Script silent = [](const Connection& connection) { connection.untilGone(); };
    ScriptedServer plain(silent);
    ScriptedServer tls(silent);
    std::vector<std::future<IppAnswer>> answers;
    for (const auto& [port, choice] :
         {std::pair(plain.port(), IppChoice::Plain), std::pair(tls.port(), IppChoice::Tls)}) {
        answers.push_back(std::async(std::launch::async, [this, question = questionTo(port, choice)] {
            return client.ask(question);
        }));
    }
    while (plain.accepted() == 0 || tls.accepted() == 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    const auto begun = SteadyClock::now();
    client.stop();
    for (std::future<IppAnswer>& answer : answers) {
        EXPECT_EQ(answer.get().outcome, IppOutcome::Stopped);
    }
    EXPECT_LT(SteadyClock::now() - begun, std::chrono::seconds(5)) << "far less than the deadline";
    EXPECT_EQ(client.ask(questionTo(plain.port())).outcome, IppOutcome::Stopped);
}

TEST_F(IppClientTest, PoolEndsInTheMidstOfIt)
{
    ScriptedServer server([](const Connection& connection) { connection.untilGone(); });
    auto pool = std::make_unique<AskerPool>(std::make_unique<IppClient>(&CupsLibrary::system), 2);
    for (std::uint32_t ticket = 1; ticket <= 5; ++ticket) {
        pool->give(ticket, questionTo(server.port(), ticket % 2 == 0 ? IppChoice::Tls : IppChoice::Plain));
    }
    while (server.accepted() < 2) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    const auto begun = SteadyClock::now();
    pool.reset();
    EXPECT_LT(SteadyClock::now() - begun, std::chrono::seconds(5));
    EXPECT_EQ(server.accepted(), 2) << "no more threads than were allowed";
}

TEST_F(IppClientTest, PoolHandsAnswersOver)
{
    ScriptedServer server([](const Connection& connection) {
        connection.request();
        connection.send(httpAnswer("200 OK", goodBody()));
        connection.untilGone();
    });
    AskerPool pool(std::make_unique<IppClient>(&CupsLibrary::system), 3);
    std::vector<bool> answered(21);
    for (std::uint32_t ticket = 1; ticket <= 20; ++ticket) {
        pool.give(ticket, questionTo(server.port()));
    }
    for (int left = 20; left > 0;) {
        pollfd watched{pool.descriptor(), POLLIN, 0};
        ASSERT_EQ(::poll(&watched, 1, 60000), 1);
        for (const FinishedQuestion& question : pool.takeFinished()) {
            EXPECT_EQ(question.answer.outcome, IppOutcome::Answered);
            EXPECT_FALSE(answered.at(question.ticket));
            answered.at(question.ticket) = true;
            --left;
        }
    }
}

TEST_F(IppClientTest, SchedulerSaysItsQueues)
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
    ::setenv("CUPS_SERVER", ("127.0.0.1:" + std::to_string(server.port())).c_str(), 1);
    IppQuestion question;
    question.operation = IppOperation::Queues;
    const IppAnswer answer = std::async(std::launch::async, [&] { return client.ask(question); }).get();
    ::unsetenv("CUPS_SERVER");
    ASSERT_EQ(answer.outcome, IppOutcome::Answered);
    ASSERT_EQ(answer.printers.size(), 2u);
    EXPECT_EQ(answer.printers[0].text("printer-name"), "one");
    EXPECT_EQ(answer.printers[1].text("printer-name"), "two");
}

TEST_F(IppClientTest, DeepAndEnormousMessagesAreNotDecoded)
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

TEST(IppWithoutCups, NobodyIsConnectedToWhereTheLibraryIsMissing)
{
    ScriptedServer server([](const Connection&) {});
    IppClient client([]() -> const CupsLibrary* { return nullptr; });
    EXPECT_EQ(client.ask(questionTo(server.port())).outcome, IppOutcome::NoLibrary);
    EXPECT_EQ(server.accepted(), 0);
    EXPECT_FALSE(CupsLibrary("libcups-that-nobody-has.so.9").complaint.empty());
    EXPECT_NE(CupsLibrary("libc.so.6").complaint.find("httpInitialize"), std::string::npos);
}

TEST(IppWithoutCups, SignalsStayAsTheProgramHasThem)
{
    struct sigaction before
    {
    };
    ::sigaction(SIGPIPE, nullptr, &before);
    const CupsLibrary library("libcups.so.2");
    struct sigaction after
    {
    };
    ::sigaction(SIGPIPE, nullptr, &after);
    EXPECT_EQ(before.sa_handler, after.sa_handler);
}

} // namespace
} // namespace tarn::ipp
