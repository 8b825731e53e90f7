// The loop that drives exchanges, by itself, with a clock of the test's.
#include "tarn/src/ipp/http_loop.h"

#include <sys/eventfd.h>
#include <sys/wait.h>

#include <csignal>

#include "tests/support/eventually.h"
#include "tests/support/open_descriptors.h"
#include "tests/unit/tarn/ipp/transport_session.h"
#include "tests/unit/tarn/support/no_descriptors.h"
#include "tests/unit/tarn/support/short_memory.h"
#include "tests/unit/tarn/support/simulated_time.h"

namespace tarn::ipp {
namespace {

using test::ScriptedServer;
using Connection = ScriptedServer::Connection;

constexpr Milliseconds kPatience{10000};

class HttpLoopTest : public testing::TestWithParam<const char*>
{
protected:
    void SetUp() override
    {
        curl = test::curlOf(GetParam());
        if (curl == nullptr) {
            GTEST_SKIP() << "no " << GetParam() << " here";
        }
        loop = HttpLoop::open(*curl, clock, wakeFd);
        ASSERT_TRUE(loop);
    }
    ~HttpLoopTest() override
    {
        loop.reset();
        ::close(wakeFd);
    }

    HttpExchange::Post postTo(std::uint16_t port) const
    {
        HttpExchange::Post post;
        post.url = "http://127.0.0.1:" + std::to_string(port) + "/";
        post.body = "question";
        post.mostOctets = 1000;
        return post;
    }
    // The end of an exchange whose peer says that and then nothing more.
    Attempt endOf(const std::string& said)
    {
        std::atomic<bool> isSaid{false};
        ScriptedServer server([&](const Connection& connection) {
            connection.request();
            connection.send(said);
            connection.untilDelivered();
            isSaid = true;
            connection.untilGone();
        });
        HttpExchange exchange(*curl, postTo(server.port()));
        EXPECT_TRUE(loop->begin(exchange, clock.now() + kPatience));
        EXPECT_TRUE(kel_test::eventually([&] {
            turn();
            return isSaid.load();
        }));
        turn(); // takes it
        clock.set(clock.now() + kPatience);
        turn();
        const std::vector<HttpLoop::Finished> ended = loop->finished();
        EXPECT_EQ(ended.size(), 1u);
        return ended.empty() ? Attempt::NotSent : ended[0].attempt;
    }
    // One wait, which does not last: it comes back for what is ready, or for the wake-up.
    void turn()
    {
        ::usleep(20000);
        ::eventfd_write(wakeFd, 1);
        loop->wait();
        eventfd_t count = 0;
        ::eventfd_read(wakeFd, &count);
    }

    const CurlLibrary* curl = nullptr;
    tarn::test::SimulatedClock clock;
    const int wakeFd = ::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    std::unique_ptr<HttpLoop> loop;
};

INSTANTIATE_TEST_SUITE_P(Curl, HttpLoopTest, testing::ValuesIn(test::kCurls), [](const auto& item) {
    return item.param == std::string("libcurl.so.4") ? "Plain" : "Gnutls";
});

TEST_P(HttpLoopTest, LeavesNoDescriptorBehind)
{
    loop.reset();
    const int before = kel_test::openDescriptors();
    EXPECT_NE(HttpLoop::open(*curl, clock, wakeFd), nullptr);
    EXPECT_EQ(kel_test::openDescriptors(), before);
    EXPECT_EQ(HttpLoop::open(*curl, clock, -1), nullptr) << "nothing could wake it";
    EXPECT_EQ(kel_test::openDescriptors(), before);
}

TEST_P(HttpLoopTest, IsNotOpenedWhereNoDescriptorsAreLeft)
{
    const tarn::test::NoDescriptors none;
    EXPECT_EQ(HttpLoop::open(*curl, clock, wakeFd), nullptr);
}

// That of a program that was started without standard input.
TEST_P(HttpLoopTest, DescriptorZeroIsOneLikeAnyOther)
{
    loop.reset();
    const int before = kel_test::openDescriptors();
    const int input = ::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3);
    if (input >= 0) { // else it is free already
        ::close(STDIN_FILENO);
    }
    EXPECT_NE(HttpLoop::open(*curl, clock, wakeFd), nullptr);
    EXPECT_EQ(kel_test::openDescriptors(), before);
    if (input >= 0) {
        ::dup2(input, STDIN_FILENO);
        ::close(input);
    }
}

TEST_P(HttpLoopTest, ExchangeThatThereWasNoMemoryToBeginIsNotKept)
{
    ScriptedServer server([](const Connection& connection) { connection.untilGone(); });
    HttpExchange exchange(*curl, postTo(server.port()));
    ASSERT_TRUE(loop->begin(exchange, clock.now() + kPatience));
    loop->drop(exchange); // what that took is kept, so that now less memory is needed
    for (std::uint32_t seed = 0; seed < 40; ++seed) { // now this allocation fails, now that
        const tarn::test::ShortMemory little(seed, 2);
        try {
            if (loop->begin(exchange, clock.now() + kPatience)) {
                loop->drop(exchange);
            }
        } catch (const std::bad_alloc&) {
        }
    }
    clock.set(clock.now() + kPatience);
    turn();
    EXPECT_TRUE(loop->finished().empty());
}

TEST_P(HttpLoopTest, EndOfAnExchangeTakesNoMemory)
{
    std::atomic<int> mayAnswer{1}; // so many of them
    ScriptedServer server([&](const Connection& connection) {
        connection.request();
        while (mayAnswer-- <= 0 && connection.wait(5)) {
            ++mayAnswer;
        }
        connection.send("HTTP/1.1 200 OK\r\nContent-Length: 6\r\n\r\nanswer");
        connection.untilGone();
    });
    HttpExchange first(*curl, postTo(server.port()));
    HttpExchange second(*curl, postTo(server.port()));
    ASSERT_TRUE(loop->begin(first, clock.now() + kPatience));
    ASSERT_TRUE(loop->begin(second, clock.now() + kPatience));
    std::size_t ended = 0;
    for (const bool little : {false, true}) {
        mayAnswer += little ? 1 : 0;
        EXPECT_TRUE(kel_test::eventually([&] {
            {
                const tarn::test::ShortMemory none(1, little ? 1 : 0);
                turn();
            }
            ended += loop->finished().size();
            return ended == (little ? 2 : 1);
        }));
    }
}

TEST_P(HttpLoopTest, AnswerWithoutLengthOrEndCountsAtTheDeadline)
{
    EXPECT_EQ(endOf("HTTP/1.1 200 OK\r\n\r\nanswer"), Attempt::Answered);
    EXPECT_EQ(endOf("HTTP/1.1 200 OK\r\n\r\n"), Attempt::TooLong);
    EXPECT_EQ(endOf("HTTP/1.1 404 Not Found\r\n\r\nanswer"), Attempt::TooLong);
    EXPECT_EQ(endOf("HT"), Attempt::TooLong);
}

// The connection is closed by then.
TEST_P(HttpLoopTest, WholeAnswerThatIsLookedAtBehindTheDeadlineCounts)
{
    EXPECT_EQ(endOf("HTTP/1.1 200 OK\r\nContent-Length: 6\r\n\r\nanswer"), Attempt::Answered);
    EXPECT_EQ(endOf("HTTP/1.1 404 Not Found\r\nContent-Length: 6\r\n\r\nanswer"), Attempt::OtherPath);
}

TEST_P(HttpLoopTest, ConnectionThatAForkedProcessKeepsIsWatchedNoMore)
{
    std::atomic<bool> dropped{false};
    std::atomic<bool> ended{false};
    ScriptedServer server([&](const Connection& connection) {
        connection.request();
        while (!dropped && connection.wait(5)) {
        }
        connection.endOutput();
        ended = true;
        connection.untilGone();
    });
    HttpExchange exchange(*curl, postTo(server.port()));
    ASSERT_TRUE(loop->begin(exchange, clock.now() + kPatience));
    for (int i = 0; i < 10; ++i) {
        turn();
    }
    ASSERT_EQ(server.accepted(), 1);
    const pid_t child = ::fork();
    if (child == 0) {
        ::pause();
        ::_exit(0);
    }
    ASSERT_GT(child, 0);
    loop->drop(exchange);
    dropped = true;
    while (!ended) {
        ::usleep(5000);
    }
    // Nothing is under way: no wait comes back before it is woken.
    std::atomic<bool> woken{false};
    std::thread waker([&] {
        ::usleep(300000);
        woken = true;
        ::eventfd_write(wakeFd, 1);
    });
    int early = 0;
    for (loop->wait(); !woken; loop->wait()) {
        ++early;
    }
    waker.join();
    EXPECT_LT(early, 3);
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
}

} // namespace
} // namespace tarn::ipp
