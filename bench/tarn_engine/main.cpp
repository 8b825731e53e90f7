// What the library costs with ten thousand printers: its polls beside the least that any poller pays and
// beside Net-SNMP, its memory, and what its callers pay.
#include <cstdio>
#include <exception>
#include <vector>

#include "bench/report.h"
#include "bench/tarn_engine/abi_figures.h"
#include "bench/tarn_engine/pollers.h"
#include "bench/tarn_engine/responder.h"

namespace {

using bench::Stretch;

constexpr int kRounds = 5;

struct Rounds
{
    std::vector<double> cpuUs;
    std::vector<double> perSecond;

    void add(const Stretch& stretch)
    {
        cpuUs.push_back(stretch.cpuUs);
        perSecond.push_back(stretch.perSecond);
    }
};

void reportPolls(bench::Report& report, const bench::Question& question, double seconds)
{
    const auto engine = bench::enginePolls();
    const auto raw = bench::rawPolls(question.request);
    const auto peer = bench::netSnmpPolls(question.request);
    const auto braa = bench::braaPolls();
    Rounds ours;
    Rounds limit;
    Rounds theirs;
    Rounds braas;
    for (int round = 0; round < kRounds; ++round) {
        ours.add(engine->run(seconds));
        limit.add(raw->run(seconds));
        if (peer) {
            theirs.add(peer->run(seconds));
        }
        if (braa) {
            braas.add(braa->run(seconds));
        }
    }
    const double cpu = bench::median(ours.cpuUs);
    report.add({"engine, CPU a poll", cpu, "us", 10, "raw sendmmsg/recvmmsg", bench::median(limit.cpuUs), 2});
    if (peer) {
        report.add({"engine, CPU a poll beside Net-SNMP",
                    cpu,
                    "us",
                    {},
                    "Net-SNMP, one socket",
                    bench::median(theirs.cpuUs),
                    0.25});
    }
    if (braa) {
        report.add({"engine, CPU a poll beside braa",
                    cpu,
                    "us",
                    {},
                    "braa, 14 objects of 1,000 printers",
                    bench::median(braas.cpuUs),
                    0.1});
    }
    if (!peer) {
        std::printf("Net-SNMP was not installed when this was built: left out\n");
    }
    report.add({"engine, time of 80,000 polls",
                80000 / bench::median(ours.perSecond),
                "s",
                1,
                "raw sendmmsg/recvmmsg",
                80000 / bench::median(limit.perSecond),
                {}});
    report.add({"engine, polls/s",
                bench::median(ours.perSecond),
                "1/s",
                {},
                "raw sendmmsg/recvmmsg",
                bench::median(limit.perSecond),
                {}});
    Rounds tables;
    for (const Stretch& stretch : engine->tables()) {
        tables.add(stretch);
    }
    report.add({"engine, CPU a read of the tables", bench::median(tables.cpuUs), "us", {}, "", 0, {}});
    report.add({"engine, CPU a first meeting", engine->meeting().cpuUs, "us", {}, "", 0, {}});
}

void reportAbi(bench::Report& report, const bench::AbiFigures& abi)
{
    report.add({"library, memory a printer", abi.bytesPerPrinter / 1024, "KiB", 3, "", 0, {}});
    report.add({"library, open, all getters and close", abi.openToCloseUs, "us", 3, "", 0, {}});
    report.add({"library, open, all getters and close, two threads",
                abi.openToCloseTwoThreadsUs,
                "us",
                {},
                "one thread",
                abi.openToCloseUs,
                1.3});
    report.add({"library, set and get of 10000 unchanged", abi.setAndGetMs, "ms", 2, "", 0, {}});
}

} // namespace

int main(int argc, char** argv)
{
    const auto options = bench::benchOptions(argc, argv, 2);
    if (!options) {
        return 2;
    }
    try {
        const bench::Responder responder(KEL_BENCH_PRINTER);
        const bench::AbiFigures abi = bench::measureAbi();
        bench::pinTo(0);
        const bench::Question question = bench::fastQuestion(KEL_BENCH_PRINTER);
        std::printf("a poll: %zu octets out, %zu octets and %zu variables back\n", question.request.size(),
                    question.answerOctets, question.variables);
        bench::Report report;
        if (!abi.complete) {
            std::fprintf(stderr, "the printers did not all answer within a minute\n");
            return 1;
        }
        reportAbi(report, abi);
        reportPolls(report, question, options->seconds);
        return options->json.empty() || report.write(options->json) ? 0 : 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
