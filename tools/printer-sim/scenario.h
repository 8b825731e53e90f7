#pragma once

#include <string>
#include <vector>

#include "tools/printer-sim/course.h"
#include "tools/printer-sim/fault_plan.h"
#include "tools/printer-sim/mib.h"

namespace printersim {

// Fields are named after the objects of RFC 3805 that they fill.
struct SupplySetting
{
    std::int64_t supplyClass = 3; // supplyThatIsConsumed
    std::int64_t type = 3;        // toner
    std::int64_t unit = 19;       // percent
    std::string colour;           // prtMarkerColorantValue; empty: colorant index 0
    std::string description;
    Course max = Course::constant(100);
    Course level = Course::constant(100);
};

struct TraySetting
{
    std::string name;
    std::string description;
    std::string media;
    std::int64_t type = 3; // sheetFeedAutoRemovableTray
    Course max = Course::constant(500);
    Course level = Course::constant(250);
    Course status = Course::constant(0);
};

struct AlertSetting
{
    std::int64_t severity = 4; // warning
    std::int64_t group = 1;    // other
    std::int64_t groupIndex = 0;
    std::int64_t location = 0;
    std::int64_t code = 1;
    std::string description;
    Course active = Course::constant(1);
};

// Scenario is one kind of printer, as a file under tests/data describes it.
// Texts may hold {n} (the printer's number), {n:5} (padded with zeros) and {address}.
struct Scenario
{
    std::string manufacturer;
    std::string model;
    std::string name; // prtGeneralPrinterName
    std::string serial;
    std::string sysDescr;
    std::string sysName;
    std::string sysLocation;
    std::string display; // prtConsoleDisplayBufferText
    Oid sysObjectId;
    std::int64_t charset = 106; // UTF-8
    std::uint32_t deviceIndex = 1;
    Course online = Course::constant(1);
    Course state = Course::constant(3);        // hrPrinterStatus: idle
    Course deviceStatus = Course::constant(2); // hrDeviceStatus: running
    Course errors = Course::constant(0);       // hrPrinterDetectedErrorState, first octet in the high byte
    Course pages = Course::constant(0);
    std::int64_t pageUnit = 7; // impressions
    Course configChanges = Course::constant(1);
    std::vector<SupplySetting> supplies;
    std::vector<TraySetting> trays;
    std::vector<AlertSetting> alerts;
    std::vector<Row> extra;         // recording lines
    std::vector<Oid> remove;        // everything below these is left out
    std::size_t maxMessageSize = 0; // octets of an answer; 0: as the command line says
    bool v1Only = false;
    FaultPlan faults;
};

// The scenario that the JSON text describes. Throws InputError.
Scenario parseScenario(const std::string& json);

// The rows that a printer of the scenario has, in no order.
std::vector<Row> rowsOf(const Scenario& scenario);

} // namespace printersim
