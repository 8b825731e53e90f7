#include <arpa/inet.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <vector>

#include "bench/tarn_engine/pollers.h"
#include "bench/tarn_engine/responder.h"

namespace bench {

namespace {

constexpr const char* kBraa = "/usr/bin/braa";
// With many more printers most of its time goes into finding whose answer it was.
constexpr std::uint32_t kAsked = 1000;

std::string dotted(std::uint32_t printer)
{
    in_addr address{htonl(addressOf(printer))};
    return inet_ntoa(address);
}

// braa asks every printer of a range once and ends; its own process is what is measured.
class BraaPolls final : public PollBench
{
public:
    BraaPolls()
    {
        m_query =
            "public@" + dotted(0) + "-" + dotted(kAsked - 1) + ":" + std::to_string(kResponderPort) + ":";
        const std::vector<std::string> objects = {
            ".1.3.6.1.2.1.1.3.0",           ".1.3.6.1.2.1.25.3.2.1.5.1",    ".1.3.6.1.2.1.25.3.5.1.1.1",
            ".1.3.6.1.2.1.25.3.5.1.2.1",    ".1.3.6.1.2.1.43.5.1.1.1.1",    ".1.3.6.1.2.1.43.5.1.1.18.1",
            ".1.3.6.1.2.1.43.10.2.1.4.1.1", ".1.3.6.1.2.1.43.11.1.1.9.1.1", ".1.3.6.1.2.1.43.11.1.1.9.1.2",
            ".1.3.6.1.2.1.43.11.1.1.9.1.3", ".1.3.6.1.2.1.43.11.1.1.9.1.4", ".1.3.6.1.2.1.43.11.1.1.9.1.5",
            ".1.3.6.1.2.1.43.8.2.1.10.1.1", ".1.3.6.1.2.1.43.8.2.1.10.1.2"};
        for (const std::string& object : objects) {
            m_query += (m_query.back() == ':' ? "" : ",") + object;
        }
    }

    Stretch run(double) override
    {
        const auto begun = std::chrono::steady_clock::now();
        const pid_t child = ::fork();
        if (child == 0) {
            const int nowhere = ::open("/dev/null", O_WRONLY);
            ::dup2(nowhere, STDOUT_FILENO);
            ::execl(kBraa, "braa", "-2", "-t", "1", m_query.c_str(), static_cast<char*>(nullptr));
            ::_exit(127);
        }
        int status = 0;
        rusage used{};
        ::wait4(child, &status, 0, &used);
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begun;
        const auto us = [](const timeval& time) {
            return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_usec);
        };
        return {(us(used.ru_utime) + us(used.ru_stime)) / kAsked, kAsked / took.count()};
    }

private:
    std::string m_query;
};

} // namespace

std::unique_ptr<PollBench> braaPolls()
{
    return ::access(kBraa, X_OK) == 0 ? std::make_unique<BraaPolls>() : nullptr;
}

} // namespace bench
