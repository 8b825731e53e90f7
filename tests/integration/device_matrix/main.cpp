// device_matrix DIR...: is the library right on recordings of real printers? See --help.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <thread>

#include "tests/integration/device_matrix/ipp_judge.h"
#include "tests/integration/device_matrix/ipp_responder.h"
#include "tests/integration/device_matrix/judge.h"
#include "tests/integration/device_matrix/reading.h"
#include "tests/integration/device_matrix/serving.h"

namespace {

namespace fs = std::filesystem;
using namespace matrix;

constexpr int kExitWrong = 1;
constexpr int kExitUsage = 2;
constexpr int kExitSkipped = 77;
constexpr int kTimeoutMs = 120000;
constexpr const char* kSnmpEnding = ".snmprec";
constexpr const char* kIppEnding = ".ipp";

constexpr const char* kHelp =
    R"(usage: device_matrix [--snmp | --ipp] [--sim] [--ignoring] [--in-process] [--library FILE] [--port N] [--brief]
                     [DIR...]

Each DIR (or each of the environment variable KEL_RECORDINGS, joined by ':') holds recordings of printers:
  NAME.snmprec   lines OID|TAG|VALUE, with computed.json and expected.json, which say by NAME what each should be
                 read as
  NAME.ipp       one whole answer to Get-Printer-Attributes, with expected.json
Serves every recording, reads all through libtarn.so, and prints for each device and field whether that is right.

  --snmp, --ipp  only the recordings of that kind
  --sim          serve SNMP by printer-sim instead of snmpsim
  --ignoring     serve IPP by a printer that ignores what it is asked for and sends all that it has
  --in-process   no network and no library file: the readers alone, for quick trials
  --library FILE the libtarn.so to read through (default: the one built beside this program)
  --port N       UDP and TCP port to serve at (16100)
  --brief        print only what is wrong or accepted, and the last line

Exit status: 0 nothing wrong, 1 something wrong, 2 usage or no server, 77 no recordings given: skipped.
)";

struct Options
{
    std::vector<std::string> directories;
    std::string library = DEVICE_MATRIX_LIBRARY;
    int port = 16100;
    bool snmp = true;
    bool ipp = true;
    bool sim = false;
    bool ignoring = false;
    bool inProcess = false;
    bool brief = false;
};

bool takeSwitch(const std::string& word, Options& options)
{
    if (word == "--snmp") {
        options.ipp = false;
    } else if (word == "--ipp") {
        options.snmp = false;
    } else if (word == "--sim") {
        options.sim = true;
    } else if (word == "--ignoring") {
        options.ignoring = true;
    } else if (word == "--in-process") {
        options.inProcess = true;
    } else if (word == "--brief") {
        options.brief = true;
    } else {
        return false;
    }
    return true;
}

// The directories that the environment names.
std::vector<std::string> namedDirectories()
{
    const char* const said = std::getenv("KEL_RECORDINGS");
    const std::string text = said != nullptr ? said : "";
    std::vector<std::string> directories;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find(':', at), text.size());
        if (end > at) {
            directories.push_back(text.substr(at, end - at));
        }
        at = end + 1;
    }
    return directories;
}

Options parseOptions(int argc, char** argv)
{
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        const bool more = i + 1 < argc;
        if (takeSwitch(word, options)) {
            continue;
        }
        if (word == "--library" && more) {
            options.library = argv[++i];
        } else if (word == "--port" && more) {
            options.port = std::atoi(argv[++i]);
        } else if (word == "--help") {
            std::fputs(kHelp, stdout);
            std::exit(0);
        } else if (word.rfind("--", 0) == 0) {
            throw std::invalid_argument("what is " + word + "? See --help.");
        } else {
            options.directories.push_back(word);
        }
    }
    if (options.directories.empty()) {
        options.directories = namedDirectories();
    }
    return options;
}

std::vector<std::string> devicesOf(const std::string& directory, const char* ending)
{
    std::vector<std::string> devices;
    for (const fs::directory_entry& entry : fs::directory_iterator(directory)) {
        if (entry.path().extension() == ending) {
            devices.push_back(entry.path().stem().string());
        }
    }
    std::sort(devices.begin(), devices.end());
    return devices;
}

Json::Value jsonFile(const fs::path& path)
{
    std::ifstream file(path);
    Json::Value value(Json::objectValue);
    if (file) {
        file >> value;
    }
    return value;
}

std::map<std::string, Reading> readSnmp(const Options& options, const std::string& directory,
                                        const std::vector<std::string>& devices)
{
    if (options.inProcess) {
        return readInProcess(directory, devices);
    }
    const WorkDir work;
    const Serving serving =
        options.sim ? Serving::byPrinterSim(DEVICE_MATRIX_PRINTER_SIM, directory, devices, work, options.port)
                    : Serving::bySnmpsim(directory, devices, work, options.port);
    const auto readings =
        readThroughLibrary(options.library, serving.served(), options.port, work.path(), kTimeoutMs);
    if (!serving.alive()) {
        throw std::runtime_error("the server of the recordings ended early");
    }
    return readings;
}

std::map<std::string, Reading> readIpp(const Options& options, const std::string& directory,
                                       const std::vector<std::string>& devices)
{
    if (options.inProcess) {
        return readIppInProcess(directory, devices);
    }
    const WorkDir work;
    const IppResponder responder(directory, devices, options.port, !options.ignoring);
    return readThroughLibrary(options.library, responder.served(), options.port, work.path(), kTimeoutMs);
}

const char* nameOf(Verdict verdict)
{
    switch (verdict) {
    case Verdict::Right:
        return "right";
    case Verdict::Wrong:
        return "WRONG";
    case Verdict::Accepted:
        return "accepted";
    case Verdict::NotRecorded:
        return "not recorded";
    }
    return "";
}

void print(const std::string& device, const Judgement& judgement)
{
    std::printf("%-20s %-10s %-12s %s", device.c_str(), judgement.field.c_str(), nameOf(judgement.verdict),
                judgement.seen.c_str());
    if (judgement.verdict == Verdict::Wrong || judgement.verdict == Verdict::Accepted) {
        std::printf("  (wanted %s)", judgement.wanted.c_str());
    }
    if (judgement.verdict == Verdict::Accepted) {
        std::printf("  because: %s", judgement.reason.c_str());
    }
    std::printf("\n");
}

// What came out so far.
class Tally final
{
public:
    explicit Tally(bool brief) : m_brief(brief) {}

    void add(const std::string& device, const std::vector<Judgement>& judgements)
    {
        ++m_devices;
        for (const Judgement& judgement : judgements) {
            ++m_counts[static_cast<int>(judgement.verdict)];
            const bool notable =
                judgement.verdict == Verdict::Wrong || judgement.verdict == Verdict::Accepted;
            if (notable || !m_brief) {
                print(device, judgement);
            }
        }
    }

    int devices() const { return m_devices; }
    bool good() const { return m_devices > 0 && m_counts[static_cast<int>(Verdict::Wrong)] == 0; }
    void printSum() const
    {
        const auto of = [this](Verdict verdict) { return m_counts[static_cast<int>(verdict)]; };
        std::printf("%d devices, %d fields: %d right, %d wrong, %d accepted, %d not recorded\n", m_devices,
                    of(Verdict::Right) + of(Verdict::Wrong) + of(Verdict::Accepted) +
                        of(Verdict::NotRecorded),
                    of(Verdict::Right), of(Verdict::Wrong), of(Verdict::Accepted), of(Verdict::NotRecorded));
    }

private:
    const bool m_brief;
    int m_devices = 0;
    int m_counts[4] = {0, 0, 0, 0};
};

void runSnmp(const Options& options, const std::string& directory, Tally& tally)
{
    const std::vector<std::string> devices = devicesOf(directory, kSnmpEnding);
    if (devices.empty()) {
        return;
    }
    const Json::Value computed = jsonFile(fs::path(directory) / "computed.json");
    const Json::Value expected = jsonFile(fs::path(directory) / "expected.json");
    const std::map<std::string, Reading> readings = readSnmp(options, directory, devices);
    for (const std::string& device : devices) {
        const fs::path recording = fs::path(directory) / (device + kSnmpEnding);
        tally.add(device, judge(readings.at(device), computed[device], expected[device],
                                textsOfRecording(recording.string())));
    }
}

void runIpp(const Options& options, const std::string& directory, Tally& tally)
{
    const std::vector<std::string> devices = devicesOf(directory, kIppEnding);
    if (devices.empty()) {
        return;
    }
    const Json::Value expected = jsonFile(fs::path(directory) / "expected.json");
    const std::map<std::string, Reading> readings = readIpp(options, directory, devices);
    for (const std::string& device : devices) {
        tally.add(device, judgeIpp(readings.at(device), expected[device]));
    }
}

int run(const Options& options)
{
    Tally tally(options.brief);
    for (const std::string& directory : options.directories) {
        if (options.snmp) {
            runSnmp(options, directory, tally);
        }
        if (options.ipp) {
            runIpp(options, directory, tally);
        }
    }
    if (tally.devices() == 0) {
        std::puts("skipped: no recordings of that kind in the directories given");
        return kExitSkipped;
    }
    tally.printSum();
    return tally.good() ? 0 : kExitWrong;
}

} // namespace

int main(int argc, char** argv)
{
    try {
        const Options options = parseOptions(argc, argv);
        if (options.directories.empty()) {
            std::puts("skipped: no directory of recordings given, and KEL_RECORDINGS is not set");
            return kExitSkipped;
        }
        return run(options);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "device_matrix: %s\n", error.what());
        return kExitUsage;
    }
}
