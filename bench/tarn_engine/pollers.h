#pragma once

#include <memory>
#include <string>

namespace bench {

// What a stretch of polling took.
struct Stretch
{
    double cpuUs = 0;     // of the polling thread, a poll
    double perSecond = 0; // polls
};

// One way to poll the printers of the responder: run() polls as fast as it can for so many seconds.
class PollBench
{
public:
    virtual ~PollBench() = default;
    virtual Stretch run(double seconds) = 0;
};

// The library's own poller, its clock made to run faster so that there is enough to measure.
std::unique_ptr<PollBench> enginePolls();
// Every datagram encoded beforehand, the answers received and thrown away: the least that any poller pays.
std::unique_ptr<PollBench> rawPolls(std::string request);
// Net-SNMP's asynchronous calls on one session; null where it was not installed when this was built.
std::unique_ptr<PollBench> netSnmpPolls(std::string request);

// The small question that the library asks the responder's printers, and the size of its answer.
struct Question
{
    std::string request;
    std::size_t answerOctets = 0;
    std::size_t variables = 0;
};
Question fastQuestion(const std::string& recording);

// CPU time of the calling thread, in microseconds.
double threadCpuUs();

} // namespace bench
