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
#include <stdexcept>
#include <vector>

#include "bench/tarn_engine/answers.h"

namespace bench {

namespace {

constexpr std::size_t kBatch = 64;
constexpr std::size_t kLargest = 2048;

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
    Answers answers(recording, kPrinters);
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
