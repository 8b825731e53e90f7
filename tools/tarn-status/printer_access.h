#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include <json/value.h>

namespace tarnstatus {

// A printer to show.
struct NamedPrinter
{
    enum class Origin
    {
        Named, // on the command line or in a list, or found in a network
        Usb,
        Cups,
    };

    std::string name;
    std::string ip;
    Origin origin = Origin::Named;
    // What was announced of it; stands where the printer itself says nothing.
    std::string model{};
    std::string location{};
};

// What the library said of one printer.
struct Reading
{
    NamedPrinter printer;
    std::string model;
    std::string description;
    std::string serial;
    std::string message; // summary, then "-" and the alerts
    std::string source;  // the way the state came
    int state = 2;
    int pages = -1;
    bool online = false;
    std::int64_t ageMs = -1;   // -1: it never answered
    bool isRemembered = false; // it has not answered yet, and this is what it said in an earlier run
    Json::Value info;          // the status document
    Json::Value detail;        // the whole picture, an object
    Json::Value sources;       // the way each field came, an object
};

// The same without what is remembered: a printer that never answered. Who it is stays known.
Reading withoutRemembered(Reading reading);

class AccessError final : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

// What to look for beside the printers that are named.
struct Discoveries
{
    bool usb = false;
    bool cups = false;

    bool any() const { return usb || cups; }
};

// PrinterAccess is libtarn as this tool uses it: started with it, stopped with it. It reads what others have
// the library remember on disk, and writes nothing there. Throws AccessError where the library refuses.
class PrinterAccess final
{
public:
    explicit PrinterAccess(Discoveries discoveries = {});
    ~PrinterAccess();
    PrinterAccess(const PrinterAccess&) = delete;
    PrinterAccess& operator=(const PrinterAccess&) = delete;

    bool discovers() const { return m_discoveries.any(); }
    // false: connects to nobody by TCP. It does, unless told otherwise.
    void useIpp(bool use);
    // Replaces the printers; waits a moment for new ones, as tarn_setPrinterList says.
    void setPrinters(const std::vector<NamedPrinter>& printers);
    // All of them, in their order, then those that are discovered at this moment.
    std::vector<Reading> readAll() const;

    static std::string version();

private:
    std::vector<NamedPrinter> discovered() const;

    const Discoveries m_discoveries;
    std::vector<NamedPrinter> m_printers;
};

// The printers of a printers.json. Throws tools::FileError when it cannot be used.
std::vector<NamedPrinter> printersOf(const std::string& file);

} // namespace tarnstatus
