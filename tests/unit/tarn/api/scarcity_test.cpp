// The library in a process where calls fail for lack of memory, descriptors or threads: each in turn, once
// for each call stack, and from then on. It says so by its codes, nothing ends, and afterwards all is as
// before.
//
// Each life is a process of its own. KEL_SCARCITY_SHARE=1: each call, not only one in so many; KEL_SEED:
// which.
#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "tarn/src/snmp/wire/codec.h"
#include "tarn/tarn.h"
#include "tests/support/eventually.h"
#include "tests/support/failing_calls.h"
#include "tests/support/own_threads.h"
#include "tests/support/recorded_agent.h"
#include "tests/unit/tarn/support/scratch_directory.h"

namespace {

using kel_test::eventually;
using kel_test::FailingCalls;
using tarn::test::ScopedVariable;
using tarn::test::ScratchDirectory;

constexpr const char* kSerial = "AJ100200"; // of the recording
constexpr const char* kPrinters =
    R"([{"printerName":"good","ip":"127.0.0.1"},{"printerName":"ipp","ip":"127.0.0.2"},)"
    R"({"printerName":"v3","ip":"127.0.0.3"}])";

struct Sight
{
    bool opened = false;
    bool online = false;
    long ageMs = -1;
    std::string serial;
};

// A code that lack of something explains.
bool isExcusable(int code)
{
    return code == TARN_OK || code == TARN_E_MEMORY || code == TARN_E_SYSTEM;
}

// libtarn.so, and what is wrong with it.
class Guest final
{
public:
    Guest()
    {
        m_library = dlopen(TARN_LIBRARY, RTLD_NOW | RTLD_LOCAL);
        if (m_library == nullptr) {
            throw std::runtime_error(dlerror());
        }
    }
    template <typename Function>
    Function* function(const char* name) const
    {
        return reinterpret_cast<Function*>(dlsym(m_library, name));
    }
#define TARN_FUNCTION(name) function<decltype(name)>(#name)

    // Whether it is begun, and knows the printers.
    bool begin()
    {
        m_begun = m_begun || said("tarn_init", TARN_FUNCTION(tarn_init)()) == TARN_OK;
        m_named = m_named || (m_begun && said("tarn_setPrinterList",
                                              TARN_FUNCTION(tarn_setPrinterList)(kPrinters)) == TARN_OK);
        return m_named;
    }

    Sight see(const char* name)
    {
        Sight sight;
        void* printer = nullptr;
        if (said("tarn_openPrinter", TARN_FUNCTION(tarn_openPrinter)(name, &printer, TARN_OPEN_DETAIL, 0)) !=
            TARN_OK) {
            return sight;
        }
        sight.opened = true;
        int number = 0;
        said("tarn_getState", TARN_FUNCTION(tarn_getState)(printer, &number));
        sight.online = number != 2;
        const auto text = [&](const char* what, int code, char* given) {
            const std::string copy = said(what, code) == TARN_OK && given != nullptr ? given : "";
            TARN_FUNCTION(tarn_freeStr)(&given);
            return copy;
        };
        char* given = nullptr;
        int code = TARN_FUNCTION(tarn_getSerialNumber)(printer, &given);
        sight.serial = text("tarn_getSerialNumber", code, given);
        given = nullptr;
        code = TARN_FUNCTION(tarn_getInfo)(printer, &given);
        const std::string info = text("tarn_getInfo", code, given);
        given = nullptr;
        code = TARN_FUNCTION(tarn_getStateMessage)(printer, &given);
        text("tarn_getStateMessage", code, given);
        const std::size_t age = info.find("\"age\":\"");
        sight.ageMs = age == std::string::npos ? -1 : std::strtol(info.c_str() + age + 7, nullptr, 10);
        said("tarn_closePrinter", TARN_FUNCTION(tarn_closePrinter)(&printer));
        return sight;
    }

    void readLists()
    {
        char* list = nullptr;
        said("tarn_getPrinterList", TARN_FUNCTION(tarn_getPrinterList)(&list));
        TARN_FUNCTION(tarn_freePrinterList)(&list);
        said("tarn_getModels", TARN_FUNCTION(tarn_getModels)(&list));
        said("tarn_setOptions", TARN_FUNCTION(tarn_setOptions)("{\"enable_cups_printer\": false}"));
    }

    void end()
    {
        said("tarn_destroy", TARN_FUNCTION(tarn_destroy)());
    }

    const std::string& complaints() const
    {
        return m_complaints;
    }

private:
    int said(const char* what, int code)
    {
        if (!isExcusable(code)) {
            m_complaints += std::string(what) + " gave " + std::to_string(code) + "; ";
        }
        return code;
    }

    void* m_library = nullptr;
    bool m_begun = false;
    bool m_named = false;
    std::string m_complaints;
};

struct Lack
{
    FailingCalls::Stack stack = 0; // 0: calls are only noted
    bool fromThenOn = false;
    unsigned oneIn = 0; // of the engine's allocations, instead of a call
};

void begin(const Lack& lack)
{
    if (lack.oneIn != 0) {
        FailingCalls::failSome("tarn-engine", lack.oneIn);
    } else if (lack.stack != 0) {
        FailingCalls::fail(lack.stack, lack.fromThenOn);
    } else {
        FailingCalls::record();
    }
}

// What is wrong; empty when nothing is.
std::string live(std::uint16_t port, const Lack& lack, std::chrono::milliseconds longest)
{
    const ScratchDirectory scratch;
    const ScopedVariable home("HOME", scratch.path("home"));
    const ScopedVariable cache("XDG_CACHE_HOME", scratch.path("cache"));
    const ScopedVariable state("XDG_STATE_HOME", scratch.path("state"));
    const ScopedVariable config("TARN_CONFIG", scratch.path("tarn.json"));
    scratch.write("tarn.json",
                  R"({"default": {"port": )" + std::to_string(port) + R"(, "ipp": "off"}, "addresses": {
        "127.0.0.2": {"port": 9, "ipp": "ipp", "ippPort": 9}, "127.0.0.3": {"version": "3", "user": "u"}},
        "users": {"u": {"auth": "SHA", "authPassword": "authpass12"}}})");
    ::chmod(scratch.path("tarn.json").c_str(), 0600);

    Guest guest;
    begin(lack);
    const auto until = std::chrono::steady_clock::now() + longest;
    const auto isEnough = [&] {
        if (std::chrono::steady_clock::now() > until) {
            // An engine that had little of the processor has not allocated enough yet for one of them to
            // fail.
            return lack.oneIn == 0 || FailingCalls::failures() > 0 ||
                   std::chrono::steady_clock::now() > until + std::chrono::seconds(60);
        }
        if (lack.oneIn != 0 || !guest.begin()) {
            return false;
        }
        guest.readLists();
        for (const char* other : {"ipp", "v3"}) {
            guest.see(other);
        }
        return guest.see("good").serial == kSerial && (lack.stack == 0 || !lack.fromThenOn);
    };
    while (!isEnough()) {
        if (lack.oneIn != 0 && guest.begin()) {
            guest.see("good");
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    FailingCalls::end();
    const unsigned long failures = FailingCalls::failures();
    std::string wrong;
    const auto since = std::chrono::steady_clock::now();
    Sight sight;
    if (!eventually([&] {
            sight = guest.begin() ? guest.see("good") : Sight();
            return sight.online && sight.serial == kSerial && sight.ageMs >= 0 && sight.ageMs < 6000;
        })) {
        wrong += "it never came back: opened " + std::to_string(sight.opened) + ", online " +
                 std::to_string(sight.online) + ", serial number \"" + sight.serial + "\", age " +
                 std::to_string(sight.ageMs) + "; ";
    }
    const auto back =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - since);
    if (failures == 0) {
        begin(lack); // perhaps it is a call of the end
    }
    guest.end();
    FailingCalls::end();
    std::printf("%lu failures, back after %ld ms\n", std::max(failures, FailingCalls::failures()),
                static_cast<long>(back.count()));
    if (!eventually([] { return kel_test::ownThreads("tarn-*") == 0; })) {
        wrong += "threads are left; ";
    }
    return wrong + guest.complaints();
}

// A printer in a process of its own, so that nothing of it is in ours when we fork. Its port.
class Agent final
{
public:
    Agent()
    {
        const int fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        if (::bind(fd, reinterpret_cast<sockaddr*>(&address), size) != 0) {
            throw std::runtime_error("no port");
        }
        ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size);
        m_port = ntohs(address.sin_port);
        m_pid = ::fork();
        if (m_pid == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            serve(fd);
        }
        ::close(fd);
    }
    ~Agent()
    {
        ::kill(m_pid, SIGKILL);
        ::waitpid(m_pid, nullptr, 0);
    }
    Agent(const Agent&) = delete;
    Agent& operator=(const Agent&) = delete;

    std::uint16_t port() const { return m_port; }

private:
    [[noreturn]] static void serve(int fd)
    {
        auto agent =
            kel::testing::RecordedAgent::fromFile(std::string(KEL_SNMP_DATA) + "/colour-laser.snmprec");
        for (;;) {
            char octets[4096];
            sockaddr_in from{};
            socklen_t size = sizeof from;
            const ssize_t count =
                ::recvfrom(fd, octets, sizeof octets, 0, reinterpret_cast<sockaddr*>(&from), &size);
            if (count <= 0) {
                continue;
            }
            std::optional<tarn::snmp::Message> message = tarn::snmp::decodeMessage(
                {reinterpret_cast<const std::uint8_t*>(octets), static_cast<std::size_t>(count)});
            if (!message) {
                continue; // the empty question of version 3
            }
            message->pdu = agent.answer(message->pdu);
            const std::string answer = tarn::snmp::encodeMessage(*message);
            ::sendto(fd, answer.data(), answer.size(), 0, reinterpret_cast<sockaddr*>(&from), size);
        }
    }

    std::uint16_t m_port = 0;
    pid_t m_pid = -1;
};

// Lives, some at a time, each in a process of its own.
class Lives final
{
public:
    explicit Lives(std::uint16_t port) : m_port(port) {}

    void begin(const Lack& lack, std::chrono::milliseconds longest)
    {
        while (m_running.size() >= kAtOnce) {
            await();
        }
        int ends[2];
        ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
        const pid_t pid = ::fork();
        if (pid == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            ::dup2(ends[1], STDOUT_FILENO);
            ::dup2(ends[1], STDERR_FILENO);
            std::string wrong;
            try {
                wrong = live(m_port, lack, longest);
            } catch (const std::exception& error) {
                wrong = std::string("thrown: ") + error.what();
            }
            if (!wrong.empty()) {
                std::printf("WRONG %s\n", wrong.c_str());
            }
            if (lack.stack == 0 && lack.oneIn == 0) {
                for (const FailingCalls::Stack stack : FailingCalls::recorded()) {
                    std::printf("STACK %lu\n", stack);
                }
            }
            std::fflush(nullptr);
            ::_exit(wrong.empty() ? 0 : 1);
        }
        ::close(ends[1]);
        m_running[pid] = {lack, ::fdopen(ends[0], "r")};
    }

    void awaitAll()
    {
        while (!m_running.empty()) {
            await();
        }
    }

    const std::vector<FailingCalls::Stack>& stacks() const { return m_stacks; }
    unsigned reached() const { return m_reached; } // lives in which something failed

private:
    static constexpr std::size_t kAtOnce = 12;
    struct Running
    {
        Lack lack;
        FILE* said = nullptr;
    };

    void await()
    {
        int status = 0;
        const pid_t pid = ::waitpid(-1, &status, 0);
        const auto found = m_running.find(pid);
        if (found == m_running.end()) {
            return; // the agent
        }
        std::string said;
        char line[512];
        while (std::fgets(line, sizeof line, found->second.said) != nullptr) {
            unsigned long number = 0;
            if (std::sscanf(line, "STACK %lu", &number) == 1) {
                m_stacks.push_back(number);
            } else {
                said += line;
                m_reached += std::sscanf(line, "%lu failures", &number) == 1 && number > 0 ? 1 : 0;
            }
        }
        std::fclose(found->second.said);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0)
            << "status " << status << ", call " << found->second.lack.stack
            << (found->second.lack.fromThenOn ? " and all behind it" : "") << ":\n"
            << said;
        m_running.erase(found);
    }

    const std::uint16_t m_port;
    std::map<pid_t, Running> m_running;
    std::vector<FailingCalls::Stack> m_stacks;
    unsigned m_reached = 0;
};

class Scarcity : public testing::Test
{
protected:
    Scarcity()
    {
        const Guest guest; // stays loaded: stacks are told apart by addresses
        FailingCalls::watch(guest.function<void>("tarn_init"));
    }

    const Agent agent;
};

unsigned long numberFrom(const char* variable, unsigned long usual)
{
    const char* const text = std::getenv(variable);
    return text != nullptr ? std::strtoul(text, nullptr, 10) : usual;
}

TEST_F(Scarcity, EachCallFailsInTurnAndAllIsAsBefore)
{
    Lives first(agent.port());
    for (int i = 0; i < 3; ++i) {
        first.begin({}, std::chrono::seconds(60));
    }
    first.awaitAll();
    std::vector<FailingCalls::Stack> stacks = first.stacks();
    std::sort(stacks.begin(), stacks.end());
    stacks.erase(std::unique(stacks.begin(), stacks.end()), stacks.end());
    ASSERT_GT(stacks.size(), 200u);

    if (const unsigned long alone = numberFrom("KEL_SCARCITY_CALL", 0); alone != 0) {
        stacks = {alone};
    }
    const unsigned long share = numberFrom("KEL_SCARCITY_SHARE", 40);
    const unsigned long seed = numberFrom("KEL_SEED", 1);
    Lives lives(agent.port());
    unsigned begun = 0;
    for (std::size_t i = stacks.size() > 1 ? seed % share : 0; i < stacks.size(); i += share) {
        for (const bool fromThenOn : {false, true}) {
            lives.begin({stacks[i], fromThenOn, 0}, std::chrono::milliseconds(fromThenOn ? 1500 : 20000));
            ++begun;
        }
    }
    lives.awaitAll();
    std::printf("seed %lu: of %zu calls one in %lu; %u lives, in %u of them something failed\n", seed,
                stacks.size(), share, begun, lives.reached());
    EXPECT_GT(lives.reached(), 0u); // which calls are met depends on the speed
}

TEST_F(Scarcity, OneInThreeHundredOfTheEnginesAllocationsFailsForAWhile)
{
    Lives lives(agent.port());
    lives.begin({0, false, 300}, std::chrono::seconds(8));
    lives.begin({0, false, 15}, std::chrono::seconds(8));
    lives.awaitAll();
    EXPECT_EQ(lives.reached(), 2u);
}

} // namespace
