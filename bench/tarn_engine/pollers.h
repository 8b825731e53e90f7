#pragma once

#include <memory>
#include <string>
#include <vector>

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

// The library's own poller; run() sends the small question only. The reads of the tables, which follow each
// run, and the first meeting are counted apart, a printer each.
class EnginePolls : public PollBench
{
public:
    virtual const std::vector<Stretch>& tables() const = 0;
    virtual Stretch meeting() const = 0;
};
std::unique_ptr<EnginePolls> enginePolls();
// Every datagram encoded beforehand, the answers received and thrown away: the least that any poller pays.
std::unique_ptr<PollBench> rawPolls(std::string request);
// Net-SNMP's asynchronous calls on one session; null where it was not installed when this was built.
std::unique_ptr<PollBench> netSnmpPolls(std::string request);

// braa, which asks a thousand printers for fourteen objects; null where it is not installed.
std::unique_ptr<PollBench> braaPolls();

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
