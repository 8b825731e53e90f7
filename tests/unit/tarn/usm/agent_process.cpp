#include "tests/unit/tarn/usm/agent_process.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <new>
#include <stdexcept>

#include "tests/unit/tarn/usm/fake_agent.h"

namespace tarn::usm {

namespace {

constexpr unsigned kUnknownEngines = 4;
constexpr unsigned kWrongDigests = 5;

} // namespace

AgentProcess::AgentProcess(std::uint32_t address, const std::string& password, Manner manner)
{
    void* const shared =
        ::mmap(nullptr, sizeof(Seen), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    const int fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_in place{};
    place.sin_family = AF_INET;
    place.sin_addr.s_addr = htonl(address);
    socklen_t size = sizeof place;
    if (shared == MAP_FAILED || ::bind(fd, reinterpret_cast<sockaddr*>(&place), size) != 0) {
        throw std::runtime_error("no agent");
    }
    ::getsockname(fd, reinterpret_cast<sockaddr*>(&place), &size);
    m_port = ntohs(place.sin_port);
    m_seen = new (shared) Seen;
    m_pid = ::fork();
    if (m_pid == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        serve(fd, password, manner, *m_seen);
    }
    ::close(fd);
}

AgentProcess::~AgentProcess()
{
    ::kill(m_pid, SIGKILL);
    ::waitpid(m_pid, nullptr, 0);
    ::munmap(m_seen, sizeof(Seen));
}

void AgentProcess::serve(int fd, const std::string& password, Manner manner, Seen& seen)
{
    std::string why;
    const auto codec = UsmCodec::start(NetSnmpLibrary::kSoname, why);
    engine::UsmUser user;
    user.name = "mon";
    user.authPassword = password;
    const auto keys = codec ? codec->keysOf(user, why) : nullptr;
    if (!keys) {
        ::_exit(1);
    }
    const BootClock clock;
    FakeAgent agent(*codec, keys, "engine-1");
    agent.engine.learnt = clock.now();
    for (;;) {
        char octets[8192];
        sockaddr_in from{};
        socklen_t size = sizeof from;
        const ssize_t count =
            ::recvfrom(fd, octets, sizeof octets, 0, reinterpret_cast<sockaddr*>(&from), &size);
        if (count <= 0) {
            continue;
        }
        const std::string message(octets, static_cast<std::size_t>(count));
        seen.asker = ntohs(from.sin_port);
        UsmEngine engine = agent.engine;
        engine.isAuthentic = false; // any time will do
        const UsmMessage asked = codec->read({reinterpret_cast<const std::uint8_t*>(octets), message.size()},
                                             *keys, &engine, clock.now());
        const UsmIds ids{FakeAgent::messageIdOf(message), asked.ids.request};
        std::string answer;
        if (FakeAgent::isProbe(message)) {
            ++seen.probes;
            answer = agent.report(kUnknownEngines, ids);
        } else {
            ++seen.requests;
            answer = manner == Manner::Sound ? agent.response(ids, clock.now(), "idle")
                                             : agent.report(kWrongDigests, ids);
        }
        ::sendto(fd, answer.data(), answer.size(), 0, reinterpret_cast<sockaddr*>(&from), size);
    }
}

} // namespace tarn::usm
