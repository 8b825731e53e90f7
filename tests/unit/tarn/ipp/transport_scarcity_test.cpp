// The transport in a process that lacks descriptors or threads, that must open no door, and that exits.
#include <dlfcn.h>
#include <fcntl.h>
#include <netdb.h>
#include <pthread.h>
#include <sys/resource.h>

#include <csignal>

#include "tarn/src/base/system_library.h"
#include "tests/support/eventually.h"
#include "tests/support/own_threads.h"
#include "tests/unit/tarn/ipp/transport_session.h"
#include "tests/unit/tarn/support/scratch_directory.h"

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define SANITIZED 1 // whose own interceptors are not to be replaced
#else
#define SANITIZED 0
#endif

namespace {

std::atomic<int> listening{0}; // calls of listen()
std::atomic<int> lookedUp{0};  // of getaddrinfo()
std::atomic<bool> noThreads{false};

template <typename Function>
Function* next(const char* name)
{
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

} // namespace

extern "C" {

int listen(int fd, int backlog) noexcept
{
    ++listening;
    return next<int(int, int)>("listen")(fd, backlog);
}

int getaddrinfo(const char* node, const char* service, const addrinfo* hints, addrinfo** result)
{
    ++lookedUp;
    return next<int(const char*, const char*, const addrinfo*, addrinfo**)>("getaddrinfo")(node, service,
                                                                                           hints, result);
}

#if !SANITIZED
int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*work)(void*),
                   void* argument) noexcept
{
    using Function = int(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
    return noThreads ? EAGAIN : next<Function>("pthread_create")(thread, attributes, work, argument);
}
#endif
}

// A process that exits in the midst of its work frees nothing of it: asked by the leak sanitizer.
static bool exitsInTheMidst = false;
extern "C" int __lsan_is_turned_off();
extern "C" int __lsan_is_turned_off()
{
    return exitsInTheMidst ? 1 : 0;
}

namespace tarn::ipp {
namespace {

using engine::IppChoice;
using kel_test::eventually;
using test::goodBody;
using test::httpAnswer;
using test::requestTo;
using test::ScriptedServer;
using test::TransportSession;
using Connection = ScriptedServer::Connection;

// Takes all descriptors but so many; gives them back at its end.
class Hog final
{
public:
    explicit Hog(std::size_t left)
    {
        ::getrlimit(RLIMIT_NOFILE, &m_before);
        const rlimit few{std::min<rlim_t>(m_before.rlim_cur, 256), m_before.rlim_max};
        ::setrlimit(RLIMIT_NOFILE, &few);
        for (int fd = take(); fd >= 0; fd = take()) {
            m_taken.push_back(fd);
        }
        for (; left > 0; --left) {
            ::close(m_taken.back());
            m_taken.pop_back();
        }
    }
    ~Hog()
    {
        for (const int fd : m_taken) {
            ::close(fd);
        }
        ::setrlimit(RLIMIT_NOFILE, &m_before);
    }
    Hog(const Hog&) = delete;
    Hog& operator=(const Hog&) = delete;

private:
    static int take() { return ::open("/dev/null", O_RDONLY | O_CLOEXEC); }

    rlimit m_before{};
    std::vector<int> m_taken;
};

ScriptedServer::Script answering()
{
    return [](const Connection& connection) {
        connection.request();
        connection.send(httpAnswer("200 OK", goodBody()));
        connection.untilGone();
    };
}

TEST(IppScarcity, NoPortIsListenedAtAndNoNameIsLookedUp)
{
    ScriptedServer server(answering());
    const int before = listening;
    TransportSession session;
    for (const IppChoice choice : {IppChoice::Plain, IppChoice::Tls}) {
        session.ask(requestTo(server.port(), choice));
    }
    EXPECT_EQ(listening, before);
    for (const char* const name : {"printers.example", "[::1]", "127.0.0.1.example:631"}) {
        const tarn::test::ScopedVariable scheduler("CUPS_SERVER", name);
        IppRequest request;
        request.operation = IppOperation::Queues;
        EXPECT_EQ(TransportSession().ask(request).outcome, IppOutcome::Silent) << name;
    }
    EXPECT_EQ(lookedUp, 0);
}

TEST(IppScarcity, QueueThatGetsNoDescriptorTakesTheNextRequest)
{
    ScriptedServer server(answering());
    TransportSession session;
    {
        const Hog hog(0);
        EXPECT_FALSE(session.queue().send(1, requestTo(server.port())));
        EXPECT_EQ(session.queue().descriptor(), -1);
    }
    EXPECT_EQ(session.ask(requestTo(server.port())).outcome, IppOutcome::Answered);
}

// At whichever step descriptors run out: the queue's, the thread's, the loop's, a library's, the socket.
TEST(IppScarcity, WhateverNumberOfDescriptorsIsLeftARequestEndsAtOnceAndLaterOnesAreAnswered)
{
    ScriptedServer server(answering());
    TransportSession session;
    bool reached = false;
    for (std::size_t left = 1; left < 6; ++left) {
        TransportSession other;
        {
            const Hog hog(left);
            const auto begun = std::chrono::steady_clock::now();
            if (other.queue().send(1, requestTo(server.port()))) {
                // Where the descriptors suffice for the transport, the server here may have none.
                if (other.answers(1)[1].outcome == IppOutcome::NotSent) {
                    reached = true;
                    EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::seconds(8));
                }
            }
        }
        std::vector<FinishedRequest> finished;
        ASSERT_TRUE(other.queue().send(2, requestTo(server.port()))) << left;
        ASSERT_TRUE(eventually([&] {
            finished = other.queue().takeFinished();
            return !finished.empty();
        }));
        EXPECT_EQ(finished[0].answer.outcome, IppOutcome::Answered) << left;
    }
    EXPECT_TRUE(reached);
}

// Not for the libraries either: each is looked for again after a while.
TEST(IppScarcity, LibraryThatWasMissingOnceIsFoundLater)
{
    struct Sometimes
    {
        explicit Sometimes(const char* soname) : isThere(::access(soname, F_OK) == 0) {}
        bool isUsable() const { return isThere; }
        std::string complaint() const { return isThere ? "" : "it is not there"; }
        const bool isThere;
    };
    const tarn::test::ScratchDirectory directory;
    const std::string path = directory.path("library");
    static SystemLibrary<Sometimes> library;
    const auto get = [&] { return library.get({"/nowhere", path.c_str()}, "anything"); };
    testing::internal::CaptureStderr();
    EXPECT_EQ(get(), nullptr);
    directory.write("library", "");
    EXPECT_EQ(get(), nullptr) << "not again so soon";
    std::this_thread::sleep_for(SystemLibrary<Sometimes>::kAgain);
    const Sometimes* const found = get();
    EXPECT_NE(found, nullptr);
    ::unlink(path.c_str());
    EXPECT_EQ(get(), found);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "tarn: no anything: it is not there; it is not there\n");
}

TEST(IppScarcity, RequestWithoutAThreadIsNotTakenAndTheNextOneIs)
{
    if (SANITIZED) {
        GTEST_SKIP() << "threads are refused by replacing what the sanitizer replaces";
    }
    ScriptedServer server(answering());
    TransportSession session;
    noThreads = true;
    EXPECT_FALSE(session.queue().send(1, requestTo(server.port())));
    noThreads = false;
    EXPECT_TRUE(
        eventually([&] { return session.ask(requestTo(server.port())).outcome == IppOutcome::Answered; }));
}

// Ends the process as a program does that leaves the library as it is, with static destruction that takes its
// time; the libraries' exit handlers run before that.
[[noreturn]] void exitInTheMidstOfIt(const char* soname)
{
    exitsInTheMidst = true;
    std::atexit([] { std::this_thread::sleep_for(std::chrono::milliseconds(300)); });
    static ScriptedServer server([](const Connection& connection) { connection.untilGone(); });
    static TransportSession session{std::string(soname)};
    for (int i = 0; i < 50; ++i) {
        session.send(requestTo(server.port(), i % 2 == 0 ? IppChoice::Tls : IppChoice::Plain));
    }
    while (server.accepted() < 10) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    std::exit(0);
}

class IppExitDeathTest : public testing::TestWithParam<const char*>
{
};

INSTANTIATE_TEST_SUITE_P(Curl, IppExitDeathTest, testing::ValuesIn(test::kCurls), [](const auto& item) {
    return item.param == std::string("libcurl.so.4") ? "Plain" : "Gnutls";
});

TEST_P(IppExitDeathTest, ProcessExitsCleanlyInTheMidstOfIt)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    for (int i = 0; i < 5; ++i) {
        EXPECT_EXIT(exitInTheMidstOfIt(GetParam()), testing::ExitedWithCode(0), "");
    }
}

// The hook itself: the thread is out of the libraries when it returns.
TEST(IppExit, ThreadIsOutOfTheLibrariesBeforeTheirHandlersRun)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    const auto body = [] {
        static ScriptedServer server([](const Connection& connection) { connection.untilGone(); });
        static TransportSession session;
        // Runs after the hook, as it is registered before that.
        std::atexit([] {
            const bool taken = session.queue().send(99, requestTo(server.port()));
            if (!taken && eventually([] { return server.gone() == 1; })) {
                ::raise(SIGKILL); // the end of the test, without that of the process
            }
            ::_exit(1);
        });
        session.send(requestTo(server.port()));
        while (server.accepted() == 0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        std::exit(2);
    };
    EXPECT_EXIT(body(), testing::KilledBySignal(SIGKILL), "");
}

} // namespace
} // namespace tarn::ipp
