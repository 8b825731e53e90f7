// device_matrix DIR: is the library right on recordings of real printers? See --help.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <thread>

#include "tests/integration/device_matrix/judge.h"
#include "tests/integration/device_matrix/reading.h"
#include "tests/integration/device_matrix/serving.h"

namespace {

namespace fs = std::filesystem;
using namespace matrix;

constexpr int exitWrong = 1;
constexpr int exitUsage = 2;
constexpr int exitSkipped = 77;
constexpr int timeoutMs = 120000;

constexpr const char* help =
    R"(usage: device_matrix [--sim | --in-process] [--library FILE] [--port N] [--brief] [DIR]

DIR (or the environment variable KEL_RECORDINGS) holds recordings NAME.snmprec with lines OID|TAG|VALUE, and
computed.json and expected.json, which say by NAME what each should be read as. Serves every recording, reads all
through libtarn.so, and prints for each device and field whether that is right.

  --sim          serve by printer-sim instead of snmpsim
  --in-process   no network and no library file: the reader alone, for quick trials
  --library FILE the libtarn.so to read through (default: the one built beside this program)
  --port N       UDP port to serve at (16100)
  --brief        print only what is wrong or accepted, and the last line

Exit status: 0 nothing wrong, 1 something wrong, 2 usage or no server, 77 no directory given: skipped.
)";

struct Options
{
    std::string directory;
    std::string library = DEVICE_MATRIX_LIBRARY;
    int port = 16100;
    bool sim = false;
    bool inProcess = false;
    bool brief = false;
};

Options parseOptions(int argc, char** argv)
{
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        const bool more = i + 1 < argc;
        if (word == "--sim") {
            options.sim = true;
        } else if (word == "--in-process") {
            options.inProcess = true;
        } else if (word == "--brief") {
            options.brief = true;
        } else if (word == "--library" && more) {
            options.library = argv[++i];
        } else if (word == "--port" && more) {
            options.port = std::atoi(argv[++i]);
        } else if (word == "--help") {
            std::fputs(help, stdout);
            std::exit(0);
        } else if (word.rfind("--", 0) == 0 || !options.directory.empty()) {
            throw std::invalid_argument("what is " + word + "? See --help.");
        } else {
            options.directory = word;
        }
    }
    if (options.directory.empty() && std::getenv("KEL_RECORDINGS") != nullptr) {
        options.directory = std::getenv("KEL_RECORDINGS");
    }
    return options;
}

std::vector<std::string> devicesOf(const std::string& directory)
{
    std::vector<std::string> devices;
    for (const fs::directory_entry& entry : fs::directory_iterator(directory)) {
        if (entry.path().extension() == ".snmprec") {
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

std::map<std::string, Reading> read(const Options& options, const std::vector<std::string>& devices)
{
    if (options.inProcess) {
        return readInProcess(options.directory, devices);
    }
    const WorkDir work;
    const Serving serving = options.sim ? Serving::byPrinterSim(DEVICE_MATRIX_PRINTER_SIM, options.directory,
                                                                devices, work, options.port)
                                        : Serving::bySnmpsim(options.directory, devices, work, options.port);
    const auto readings =
        readThroughLibrary(options.library, serving.served(), options.port, work.path(), timeoutMs);
    if (!serving.alive()) {
        throw std::runtime_error("the server of the recordings ended early");
    }
    return readings;
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

int run(const Options& options)
{
    const std::vector<std::string> devices = devicesOf(options.directory);
    const Json::Value computed = jsonFile(fs::path(options.directory) / "computed.json");
    const Json::Value expected = jsonFile(fs::path(options.directory) / "expected.json");
    const std::map<std::string, Reading> readings = read(options, devices);
    int counts[4] = {0, 0, 0, 0};
    for (const std::string& device : devices) {
        const fs::path recording = fs::path(options.directory) / (device + ".snmprec");
        for (const Judgement& judgement : judge(readings.at(device), computed[device], expected[device],
                                                textsOfRecording(recording.string()))) {
            ++counts[static_cast<int>(judgement.verdict)];
            const bool notable =
                judgement.verdict == Verdict::Wrong || judgement.verdict == Verdict::Accepted;
            if (notable || !options.brief) {
                print(device, judgement);
            }
        }
    }
    const int fields = counts[0] + counts[1] + counts[2] + counts[3];
    std::printf("%zu devices, %d fields: %d right, %d wrong, %d accepted, %d not recorded\n", devices.size(),
                fields, counts[0], counts[1], counts[2], counts[3]);
    return counts[1] == 0 && !devices.empty() ? 0 : exitWrong;
}

} // namespace

int main(int argc, char** argv)
{
    try {
        const Options options = parseOptions(argc, argv);
        if (options.directory.empty()) {
            std::puts("skipped: no directory of recordings given, and KEL_RECORDINGS is not set");
            return exitSkipped;
        }
        return run(options);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "device_matrix: %s\n", error.what());
        return exitUsage;
    }
}
