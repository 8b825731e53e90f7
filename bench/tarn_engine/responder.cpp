#include "bench/tarn_engine/responder.h"

#include <arpa/inet.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstring>
#include <optional>
#include <stdexcept>
#include <unordered_map>
#include <vector>

#include "tarn/src/snmp/codec.h"
#include "tests/support/recorded_agent.h"

namespace bench {

namespace {

using kel::testing::RecordedAgent;

constexpr std::size_t kBatch = 64;
constexpr std::size_t kLargest = 2048;
constexpr const char* kChangingLevel = "1.3.6.1.2.1.43.11.1.1.9.1.1";

// Where the four octets of the request id are; nothing for an id of another size.
std::optional<std::size_t> idOffset(const std::string& message)
{
    std::size_t at = 0;
    const auto header = [&](bool skipContents) {
        const auto length = at + 1 < message.size() ? static_cast<unsigned char>(message[at + 1]) : 0u;
        at += 2;
        std::size_t size = length;
        if (length > 0x80) {
            size = 0;
            for (unsigned i = length & 0x7F; i > 0 && at < message.size(); --i) {
                size = size << 8 | static_cast<unsigned char>(message[at++]);
            }
        }
        at += skipContents ? size : 0;
    };
    header(false); // message
    header(true);  // version
    header(true);  // community
    header(false); // PDU
    if (at + 6 > message.size() || message[at] != 2 || message[at + 1] != 4) {
        return std::nullopt;
    }
    return at + 2;
}

// One printer's answers, as it is and after its level has changed.
class Answers final
{
public:
    explicit Answers(const std::string& recording)
        : m_agents{RecordedAgent::fromFile(recording), RecordedAgent::fromFile(recording)},
          m_changed(kPrinters, false)
    {
        m_agents[0].setInteger(kChangingLevel, 40);
        m_agents[1].setInteger(kChangingLevel, 39);
    }

    std::string answerTo(std::string request, std::size_t printer)
    {
        m_random ^= m_random << 13;
        m_random ^= m_random >> 7;
        m_random ^= m_random << 17;
        if (m_random % 10 == 0) {
            m_changed[printer] = !m_changed[printer];
        }
        const std::size_t which = m_changed[printer] ? 1 : 0;
        const std::optional<std::size_t> id = idOffset(request);
        if (!id) {
            return made(request, which);
        }
        const std::string own = request.substr(*id, 4);
        request.replace(*id, 4, "\x40\0\0\0", 4);
        auto& known = m_known[request];
        if (known[which].bytes.empty()) {
            known[which].bytes = made(request, which);
            known[which].id = idOffset(known[which].bytes).value_or(0);
        }
        std::string bytes = known[which].bytes;
        bytes.replace(known[which].id, 4, own);
        return bytes;
    }

private:
    struct Known
    {
        std::string bytes;
        std::size_t id = 0;
    };

    std::string made(const std::string& request, std::size_t which)
    {
        auto message = tarn::snmp::decodeMessage(
            {reinterpret_cast<const std::uint8_t*>(request.data()), request.size()});
        if (!message) {
            return "?";
        }
        const std::int32_t id = message->pdu.requestId;
        message->pdu = m_agents[which].answer(message->pdu);
        message->pdu.requestId = id;
        return tarn::snmp::encodeMessage(*message);
    }

    std::array<RecordedAgent, 2> m_agents;
    std::vector<bool> m_changed;
    std::uint64_t m_random = 88172645463325252u;
    std::unordered_map<std::string, std::array<Known, 2>> m_known;
};

[[noreturn]] void serve(int socket, Answers answers)
{
    struct Slot
    {
        std::array<char, kLargest> buffer;
        std::array<char, 64> control;
        sockaddr_in from;
        iovec vector;
        std::string answer;
    };
    std::vector<Slot> slots(kBatch);
    std::vector<mmsghdr> headers(kBatch);
    for (;;) {
        for (std::size_t i = 0; i < kBatch; ++i) {
            slots[i].vector = {slots[i].buffer.data(), kLargest};
            headers[i].msg_hdr = {&slots[i].from,
                                  sizeof(sockaddr_in),
                                  &slots[i].vector,
                                  1,
                                  slots[i].control.data(),
                                  slots[i].control.size(),
                                  0};
        }
        const int got = ::recvmmsg(socket, headers.data(), kBatch, MSG_WAITFORONE, nullptr);
        for (int n = 0; n < got; ++n) {
            const auto i = static_cast<std::size_t>(n);
            msghdr& header = headers[i].msg_hdr;
            cmsghdr* const control = CMSG_FIRSTHDR(&header);
            in_pktinfo info{};
            if (control != nullptr) {
                std::memcpy(&info, CMSG_DATA(control), sizeof info);
                info.ipi_spec_dst = info.ipi_addr; // answered from where it was asked
                info.ipi_ifindex = 0;
                std::memcpy(CMSG_DATA(control), &info, sizeof info);
            }
            const std::size_t printer = (ntohl(info.ipi_addr.s_addr) - kFirstAddress) % kPrinters;
            slots[i].answer =
                answers.answerTo(std::string(slots[i].buffer.data(), headers[i].msg_len), printer);
            slots[i].vector = {slots[i].answer.data(), slots[i].answer.size()};
        }
        for (int sent = 0; got > 0 && sent < got;) {
            const int more = ::sendmmsg(socket, headers.data() + sent, static_cast<unsigned>(got - sent), 0);
            sent += more > 0 ? more : 1;
        }
    }
}

} // namespace

std::uint32_t addressOf(std::uint32_t printer)
{
    return kFirstAddress + printer;
}

std::string listDocument()
{
    std::string out = "[";
    for (std::uint32_t i = 0; i < kPrinters; ++i) {
        in_addr address{htonl(addressOf(i))};
        out += std::string(i == 0 ? "" : ",") + "{\"ip\":\"" + inet_ntoa(address) +
               "\",\"manufacturer\":\"Acme\",\"model\":\"\",\"printerName\":\"printer " + std::to_string(i) +
               "\"}";
    }
    return out + "]";
}

void pinTo(unsigned core)
{
    const long cores = ::sysconf(_SC_NPROCESSORS_ONLN);
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(core % static_cast<unsigned>(cores > 0 ? cores : 1), &set);
    ::sched_setaffinity(0, sizeof set, &set);
}

Responder::Responder(const std::string& recording)
{
    Answers answers(recording);
    const int socket = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const int on = 1;
    const int room = 8 << 20;
    ::setsockopt(socket, IPPROTO_IP, IP_PKTINFO, &on, sizeof on);
    ::setsockopt(socket, SOL_SOCKET, SO_RCVBUF, &room, sizeof room);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(kResponderPort);
    if (::bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        throw std::runtime_error("the responder's port is taken");
    }
    m_process = ::fork();
    if (m_process == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        pinTo(1);
        serve(socket, std::move(answers));
    }
    ::close(socket);
}

Responder::~Responder()
{
    ::kill(m_process, SIGKILL);
    ::waitpid(m_process, nullptr, 0);
}

} // namespace bench
