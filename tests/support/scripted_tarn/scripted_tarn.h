#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

// A printer-access library that answers by a script: build/<preset>/tests/scripted_tarn/libtarn.so.
//
// From inside the process: tarnControl() (tests/support/tarn_control.h) gives the TarnControl of that very
// file. From outside: the environment of the program under test names
//   SCRIPTED_TARN_SCRIPT  a JSON object with the fields of TarnScript as its members, read again whenever it
//                         changes (replace it by rename); "printers" maps names to objects with the fields of
//                         ScriptedPrinter, "defaultPrinter" is such an object or null
//   SCRIPTED_TARN_LOG     a file to which each call is appended: "<monotonic ms> <function>[ <printer>]"; where
//                         the program kept something, the last line is "... left out: N texts, M printers open"
// A null text in the JSON is a null output. Beside it, scripted_tarn/without_<entry point>/libtarn.so is the
// same library without that one entry point.
namespace kel_test {

struct ScriptedPrinter
{
    int openResult = 0;
    int state = 3;
    std::optional<std::string> serialNumber = "SN-1"; // nullopt: the getter leaves its output null
    std::optional<std::string> info = "{}";
    std::optional<std::string> stateMessage = "就绪";
    int getterResult = 0;  // what every getter returns, whatever it put out
    int delayMs = 0;       // spent in tarn_openPrinter
    int randomDelayMs = 0; // up to so much more
};

struct TarnScript
{
    int initResult = 0;
    int setOptionsResult = 0;
    int setPrinterListResult = 0;
    int getPrinterListResult = 0;
    int getModelsResult = 0;
    // Echo: the list last set, element for element, each with "isUsbPrinter":false, then `extraPrinters`.
    // Document: `listDocument` as it is; nullopt is a null output.
    bool echoList = true;
    std::vector<std::string>
        extraPrinters; // JSON objects as text, e.g. {"printerName":"usb1","isUsbPrinter":true}
    std::optional<std::string> listDocument;
    std::optional<std::string> modelsDocument = R"([{"model":"自动识别"},{"model":"X1"}])";
    int listDelayMs = 0;   // in tarn_setPrinterList
    int modelsDelayMs = 0; // in tarn_getModels
    int blockOnceMs = 0;   // in the first tarn_openPrinter that meets it, once in a process
    std::map<std::string, ScriptedPrinter> printers;
    std::optional<ScriptedPrinter> defaultPrinter = ScriptedPrinter(); // any other name; nullopt: 404
    std::uint64_t chaosSeed = 0; // not 0: every answer is a lie drawn from this seed (see chaos.h)
};

// Threading: every function on any thread.
class TarnControl
{
public:
    using Hook = std::function<void(const std::string& function, const std::string& printer)>;

    virtual ~TarnControl() = default;
    // A default script, no hook, an empty log; texts and handles that are out stay counted.
    virtual void reset() = 0;
    [[nodiscard]] virtual TarnScript script() const = 0;
    virtual void setScript(const TarnScript& script) = 0;
    // Called at the start of every call, outside of any lock: it may block, and what it throws leaves the
    // library.
    virtual void setHook(Hook hook) = 0;
    // In order: "tarn_init", "tarn_openPrinter office", ...
    [[nodiscard]] virtual std::vector<std::string> calls() const = 0;
    [[nodiscard]] virtual long count(const std::string& call) const = 0; // as in calls(); exact text
    virtual void clearCalls() = 0;
    [[nodiscard]] virtual std::string lastOptions() const = 0;
    [[nodiscard]] virtual std::string lastPrinterList() const = 0;
    [[nodiscard]] virtual long textsOut() const = 0; // handed out, not given back; model texts never count
    [[nodiscard]] virtual long handlesOpen() const = 0;
    [[nodiscard]] virtual int mostCallsAtOnce() const = 0;
    // Broken rules of the interface: a text given back twice or to the wrong function, a closed handle used,
    // a call before tarn_init or after tarn_destroy.
    [[nodiscard]] virtual std::vector<std::string> violations() const = 0;
};

} // namespace kel_test

extern "C" kel_test::TarnControl* scripted_tarn_control();
