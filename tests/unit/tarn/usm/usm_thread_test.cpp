#include "tarn/src/usm/usm_thread.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <ctime>
#include <thread>

#include "tarn/src/base/worker_thread.h"
#include "tarn/src/usm/net_snmp_library.h"
#include "tests/support/eventually.h"
#include "tests/support/own_threads.h"
#include "tests/unit/tarn/support/no_descriptors.h"
#include "tests/unit/tarn/support/scratch_directory.h"
#include "tests/unit/tarn/support/simulated_time.h"
#include "tests/unit/tarn/usm/agent_process.h"

namespace tarn::usm {

namespace {

UsmQuestion question(std::uint32_t address, const std::shared_ptr<const engine::UsmUser>& user)
{
    UsmQuestion question;
    question.endpoint = {address, 16399};
    question.ticket = 1;
    question.user = user;
    question.pdu.varbinds.push_back({{1, 3, 6, 1, 2, 1, 1, 1, 0}, {}});
    return question;
}

std::shared_ptr<const engine::UsmUser> user(const std::string& password)
{
    auto user = std::make_shared<engine::UsmUser>();
    user->name = "mon";
    user->authPassword = password;
    return user;
}

// Until the text on stderr has so many lines; what it is then.
std::string saidWithin(UsmThread& thread, int lines)
{
    std::string said;
    for (int i = 0; i < 500 && std::count(said.begin(), said.end(), '\n') < lines; ++i) {
        ::poll(nullptr, 0, 10);
        thread.take();
        std::fflush(stderr);
        said += testing::internal::GetCapturedStderr();
        testing::internal::CaptureStderr();
    }
    return said;
}

// Captured stderr is a file; to look at its size takes no descriptor.
bool hasSaidSomething()
{
    struct stat file
    {
    };
    std::fflush(stderr);
    return ::fstat(STDERR_FILENO, &file) == 0 && file.st_size > 0;
}

// The port of a printer that listens.
class Agent final
{
public:
    explicit Agent(std::uint32_t address) : m_fd(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_in place{};
        place.sin_family = AF_INET;
        place.sin_addr.s_addr = htonl(address);
        place.sin_port = htons(16399);
        EXPECT_EQ(::bind(m_fd, reinterpret_cast<const sockaddr*>(&place), sizeof place), 0);
    }
    ~Agent() { ::close(m_fd); }
    Agent(const Agent&) = delete;
    Agent& operator=(const Agent&) = delete;

    bool isAsked(Milliseconds within) const
    {
        pollfd waits{m_fd, POLLIN, 0};
        return ::poll(&waits, 1, static_cast<int>(within.count())) == 1;
    }

private:
    const int m_fd;
};

} // namespace

// By the processor's clock, so that a busy machine makes no difference.
TEST(UsmThreadTest, WaitsForAnswersWithoutUsingTheProcessor)
{
    const BootClock clock;
    const test::ScratchDirectory scratch;
    const test::ScopedVariable path("SNMPCONFPATH", scratch.path(""));
    const Agent silent(0x7F2B0902);
    UsmThread thread(clock, NetSnmpLibrary::kSoname);
    thread.ask(question(0x7F2B0902, user("authpass12")));
    ASSERT_TRUE(silent.isAsked(std::chrono::minutes(1)));
    const std::clock_t before = std::clock();
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    EXPECT_LT(std::clock() - before, CLOCKS_PER_SEC / 50);
}

TEST(UsmThreadTest, BeginsWithTheFirstQuestion)
{
    const BootClock clock;
    const test::ScratchDirectory scratch;
    const test::ScopedVariable path("SNMPCONFPATH", scratch.path(""));
    {
        UsmThread thread(clock, NetSnmpLibrary::kSoname);
        thread.forget({1, 2});
        thread.reopen();
        EXPECT_TRUE(thread.take().empty());
        EXPECT_EQ(thread.descriptor(), -1);
        EXPECT_EQ(kel_test::ownThreads("tarn-usm"), 0);
        thread.ask(question(0x7F2B0901, user("authpass12"))); // 127.43.9.1, where nobody is
        EXPECT_GE(thread.descriptor(), 0);
        EXPECT_EQ(kel_test::ownThreads("tarn-usm"), 1);
    }
    EXPECT_EQ(workersRunning(), 0);
    EXPECT_TRUE(kel_test::eventually([] { return kel_test::ownThreads("tarn-usm") == 0; }));
}

TEST(UsmThreadTest, BeginsWithALaterQuestionWhereTheFirstFoundNoDescriptors)
{
    const BootClock clock;
    const test::ScratchDirectory scratch;
    const test::ScopedVariable path("SNMPCONFPATH", scratch.path(""));
    UsmThread thread(clock, NetSnmpLibrary::kSoname);
    {
        const test::NoDescriptors none;
        thread.ask(question(0x7F2B0901, user("authpass12")));
        EXPECT_TRUE(thread.take().empty());
    }
    EXPECT_EQ(kel_test::ownThreads("tarn-usm"), 0);
    thread.ask(question(0x7F2B0901, user("authpass12")));
    EXPECT_EQ(kel_test::ownThreads("tarn-usm"), 1);
}

TEST(UsmThreadTest, BeginsLaterWhereTheThreadFoundNoDescriptorForItsSocket)
{
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the sanitizer beside it needs descriptors to look at a type that it has not seen yet";
#endif
    tarn::test::SimulatedClock clock;
    const test::ScratchDirectory scratch;
    const test::ScopedVariable path("SNMPCONFPATH", scratch.path(""));
    const Agent agent(0x7F2B0903); // 127.43.9.3
    testing::internal::CaptureStderr();
    UsmThread thread(clock, NetSnmpLibrary::kSoname);
    const auto mon = user("authpass12");
    {
        const test::NoDescriptors none(2); // those by which threads are woken
        thread.ask(question(0x7F2B0903, mon));
        EXPECT_TRUE(kel_test::eventually(&hasSaidSomething));
    }
    EXPECT_FALSE(agent.isAsked(Milliseconds(0)));
    clock.pass(UsmThread::kTryAgain);
    thread.ask(question(0x7F2B0903, mon));
    EXPECT_TRUE(agent.isAsked(Milliseconds(20000)));
    const std::string said = testing::internal::GetCapturedStderr();
    EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 1) << said;
}

// What OpenSSL does at the end of a thread would happen beside what it does at the end of the process.
TEST(UsmThreadTest, ThreadDoesNotEndWhileTheProcessExits)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const test::ScratchDirectory scratch;
    const test::ScopedVariable path("SNMPCONFPATH", scratch.path(""));
    EXPECT_EXIT(
        {
            std::atexit([] { // runs behind the library's own
                ::poll(nullptr, 0, 100);
                ::_exit(kel_test::ownThreads("tarn-usm") == 1 ? 0 : 2);
            });
            auto* const clock = new BootClock;
            auto* const thread = new UsmThread(*clock, NetSnmpLibrary::kSoname); // to the end of the process
            const Agent agent(0x7F2B0904);                                       // 127.43.9.4
            thread->ask(question(0x7F2B0904, user("authpass12")));
            std::exit(agent.isAsked(Milliseconds(20000)) ? 1 : 3);
        },
        testing::ExitedWithCode(0), "");
}

TEST(UsmThreadTest, WithoutTheLibraryOneLineIsSaidAndNothingIsAnswered)
{
    const BootClock clock;
    testing::internal::CaptureStderr();
    UsmThread thread(clock, "libnetsnmp.so.none");
    thread.ask(question(0x7F2B0901, user("authpass12")));
    std::string said = saidWithin(thread, 1);
    thread.ask(question(0x7F2B0902, user("authpass12")));
    thread.reopen();
    thread.forget({0x7F2B0901, 16399});
    ::poll(nullptr, 0, 50);
    said += testing::internal::GetCapturedStderr();
    EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 1) << said;
    EXPECT_NE(said.find("libnetsnmp.so.none"), std::string::npos) << said;
    EXPECT_TRUE(thread.take().empty());
}

TEST(UsmThreadTest, AUserWithoutKeysIsSaidOnceForEachAddress)
{
    const BootClock clock;
    const test::ScratchDirectory scratch;
    const test::ScopedVariable path("SNMPCONFPATH", scratch.path(""));
    testing::internal::CaptureStderr();
    UsmThread thread(clock, NetSnmpLibrary::kSoname);
    const auto wrong = user("secret7");
    for (int i = 0; i < 5; ++i) {
        thread.ask(question(0x7F2B0901, wrong));
        thread.ask(question(0x7F2B0902, wrong));
    }
    std::string said = saidWithin(thread, 2);
    ::poll(nullptr, 0, 50);
    said += testing::internal::GetCapturedStderr();
    EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 2) << said;
    EXPECT_NE(said.find("127.43.9.1 port 16399"), std::string::npos) << said;
    EXPECT_NE(said.find("127.43.9.2 port 16399"), std::string::npos) << said;
    EXPECT_EQ(said.find("secret7"), std::string::npos) << said;
}

// With an agent that answers, in a process of its own.
class UsmConversationTest : public testing::Test
{
protected:
    static constexpr std::uint32_t kAddress = 0x7F2B0905; // 127.43.9.5

    void begin(AgentProcess::Manner manner = AgentProcess::Manner::Sound)
    {
        m_agent = std::make_unique<AgentProcess>(kAddress, "authpass12", manner);
        m_thread = std::make_unique<UsmThread>(m_clock, NetSnmpLibrary::kSoname);
    }
    void ask(std::uint64_t ticket)
    {
        UsmQuestion asked = question(kAddress, m_user);
        asked.endpoint.port = m_agent->port();
        asked.ticket = ticket;
        m_thread->ask(asked);
    }
    // Asks once; the answers that came.
    std::vector<UsmAnswer> answersTo(std::uint64_t ticket)
    {
        ask(ticket);
        std::vector<UsmAnswer> all;
        EXPECT_TRUE(kel_test::eventually([&] {
            pollfd waits{m_thread->descriptor(), POLLIN, 0};
            ::poll(&waits, 1, 1000);
            all = m_thread->take();
            return !all.empty();
        }));
        return all;
    }

    const test::ScratchDirectory m_scratch;
    const test::ScopedVariable m_path{"SNMPCONFPATH", m_scratch.path("")};
    tarn::test::SimulatedClock m_clock;
    const std::shared_ptr<const engine::UsmUser> m_user = user("authpass12");
    std::unique_ptr<AgentProcess> m_agent;
    std::unique_ptr<UsmThread> m_thread;
};

TEST_F(UsmConversationTest, AnswerIsHandedOnWithItsTicketAndPlace)
{
    begin();
    for (const std::uint64_t ticket : {5u, 6u}) {
        const std::vector<UsmAnswer> answers = answersTo(ticket);
        ASSERT_EQ(answers.size(), 1u);
        EXPECT_EQ(answers[0].ticket, ticket);
        EXPECT_EQ(answers[0].endpoint.address, kAddress);
        EXPECT_EQ(answers[0].endpoint.port, m_agent->port());
        ASSERT_EQ(answers[0].pdu.varbinds.size(), 1u);
        EXPECT_EQ(answers[0].pdu.varbinds[0].value.bytes, "idle");
    }
    EXPECT_EQ(m_agent->probes(), 1u) << "the engine is looked for once";
}

TEST_F(UsmConversationTest, OfWhoIsForgottenNothingIsKept)
{
    begin();
    answersTo(1);
    const unsigned probes = m_agent->probes();
    m_thread->forget({kAddress, static_cast<std::uint16_t>(m_agent->port() + 1)}); // another
    answersTo(2);
    EXPECT_EQ(m_agent->probes(), probes);
    m_thread->forget({kAddress, m_agent->port()});
    answersTo(3);
    EXPECT_GT(m_agent->probes(), probes);
}

TEST_F(UsmConversationTest, AfterAChangeOfTheNetworkItAsksFromAnotherPort)
{
    begin();
    answersTo(1);
    const unsigned before = m_agent->asker();
    answersTo(2);
    EXPECT_EQ(m_agent->asker(), before);
    m_thread->reopen();
    answersTo(3);
    EXPECT_NE(m_agent->asker(), before);
}

TEST_F(UsmConversationTest, WhatTheAgentComplainsOfIsSaidOnceInTenMinutes)
{
    begin(AgentProcess::Manner::SaysWrongPassword);
    testing::internal::CaptureStderr();
    const auto askUntil = [&](const auto& isEnough) {
        return kel_test::eventually([&] {
            ask(1);
            ::poll(nullptr, 0, 10);
            return isEnough();
        });
    };
    // Looked at in its place: the thread writes at any moment.
    const auto lines = [] {
        std::fflush(stderr);
        char text[4096];
        const ssize_t size = ::pread(STDERR_FILENO, text, sizeof text, 0);
        return std::count(text, text + std::max<ssize_t>(size, 0), '\n');
    };
    EXPECT_TRUE(askUntil([&] { return lines() == 1; }));
    m_clock.pass(UsmThread::kSaidAgain - Milliseconds(1));
    const unsigned refused = m_agent->requests();
    EXPECT_TRUE(askUntil([&] { return m_agent->requests() > refused + 8; }));
    EXPECT_EQ(lines(), 1);
    m_clock.pass(Milliseconds(1));
    EXPECT_TRUE(askUntil([&] { return lines() == 2; }));
    m_thread.reset();
    const std::string said = testing::internal::GetCapturedStderr();
    EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 2) << said;
    EXPECT_NE(said.find("127.43.9.5 port"), std::string::npos) << said;
    EXPECT_NE(said.find("wrong authentication password"), std::string::npos) << said;
}

} // namespace tarn::usm
