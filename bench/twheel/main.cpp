// Measures the scheduler beside its peers and the floor, in the same run and turn by turn.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "bench/twheel/figures.h"

namespace {

int usage()
{
    std::fputs(
        "usage: twheel_bench [--rounds N] [--only FIGURE] [--json FILE]\n"
        "figures: pairs memory periodic idle contention blocking\n"
        "exit: 0 measured; 1 a file could not be written; 2 wrong use; 3 measured, a bound was missed\n",
        stderr);
    return 2;
}

} // namespace

int main(int argc, char** argv)
{
    bench::Options options;
    std::string json;
    for (int i = 1; i < argc; i += 2) {
        if (i + 1 == argc) {
            return usage();
        }
        const std::string option = argv[i];
        if (option == "--rounds") {
            options.rounds = std::atoi(argv[i + 1]);
        } else if (option == "--only") {
            options.only = argv[i + 1];
        } else if (option == "--json") {
            json = argv[i + 1];
        } else {
            return usage();
        }
    }
    if (options.rounds < 1) {
        return usage();
    }
    struct Figure
    {
        const char* name;
        void (*measure)(const bench::Options&, bench::Report&);
    };
    const Figure figures[] = {
        {"pairs", bench::measurePairs},           {"memory", bench::measureMemory},
        {"periodic", bench::measurePeriodic},     {"idle", bench::measureIdle},
        {"contention", bench::measureContention}, {"blocking", bench::measureBlockingRuns},
    };
    bench::Report report;
    for (const Figure& figure : figures) {
        if (options.only.empty() || options.only == figure.name) {
            figure.measure(options, report);
        }
    }
    if (!json.empty() && !report.write(json)) {
        std::fprintf(stderr, "twheel_bench: %s is no array of results or cannot be written\n", json.c_str());
        return 1;
    }
    return report.isGood() ? 0 : 3;
}
