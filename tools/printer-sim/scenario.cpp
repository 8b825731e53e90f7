#include "tools/printer-sim/scenario.h"

#include "tools/printer-sim/json_reader.h"
#include "tools/printer-sim/recording.h"

namespace printersim {

namespace {

constexpr std::int64_t kMaxInteger = 2147483647;

const Names kStates = {{"other", 1}, {"unknown", 2}, {"idle", 3}, {"printing", 4}, {"warmup", 5}};
const Names kDeviceStates = {{"unknown", 1}, {"running", 2}, {"warning", 3}, {"testing", 4}, {"down", 5}};
const Names kErrorBits = {
    {"lowPaper", 0x8000},          {"noPaper", 0x4000},           {"lowToner", 0x2000},
    {"noToner", 0x1000},           {"doorOpen", 0x0800},          {"jammed", 0x0400},
    {"offline", 0x0200},           {"serviceRequested", 0x0100},  {"inputTrayMissing", 0x0080},
    {"outputTrayMissing", 0x0040}, {"markerSupplyMissing", 0x20}, {"outputNearFull", 0x0010},
    {"outputFull", 0x0008},        {"inputTrayEmpty", 0x0004},    {"overduePreventMaint", 0x02}};
const Names kLevels = {{"some", -3}, {"unknown", -2}, {"unrestricted", -1}};
const Names kClasses = {{"other", 1}, {"supplyThatIsConsumed", 3}, {"receptacleThatIsFilled", 4}};
const Names kSupplyTypes = {
    {"other", 1},        {"unknown", 2},       {"toner", 3},           {"wasteToner", 4},
    {"ink", 5},          {"inkCartridge", 6},  {"inkRibbon", 7},       {"wasteInk", 8},
    {"opc", 9},          {"developer", 10},    {"fuserOil", 11},       {"solidWax", 12},
    {"ribbonWax", 13},   {"wasteWax", 14},     {"fuser", 15},          {"coronaWire", 16},
    {"cleanerUnit", 18}, {"transferUnit", 20}, {"tonerCartridge", 21}, {"staples", 32}};
const Names kUnits = {{"other", 1},          {"unknown", 2},     {"impressions", 7}, {"sheets", 8},
                      {"tenthsOfGrams", 13}, {"tenthsOfMl", 15}, {"items", 18},      {"percent", 19}};
const Names kTrayTypes = {{"other", 1},
                          {"sheetFeedAutoRemovableTray", 3},
                          {"sheetFeedAutoNonRemovableTray", 4},
                          {"sheetFeedManual", 5},
                          {"continuousRoll", 6}};
const Names kSeverities = {{"other", 1}, {"critical", 3}, {"warning", 4}, {"warningBinaryChangeEvent", 5}};
const Names kGroups = {{"other", 1},
                       {"generalPrinter", 5},
                       {"cover", 6},
                       {"localization", 7},
                       {"input", 8},
                       {"output", 9},
                       {"marker", 10},
                       {"markerSupplies", 11},
                       {"markerColorant", 12},
                       {"mediaPath", 13},
                       {"consoleDisplayBuffer", 16}};

SupplySetting parseSupply(const JsonReader& in, const Json::Value& json)
{
    in.expectObject(json, {"class", "type", "unit", "colour", "description", "max", "level"});
    SupplySetting supply;
    supply.supplyClass = in.choice(json, "class", supply.supplyClass, kClasses);
    supply.type = in.choice(json, "type", supply.type, kSupplyTypes);
    supply.unit = in.choice(json, "unit", supply.unit, kUnits);
    supply.colour = in.text(json, "colour", {});
    supply.description = in.text(json, "description", {});
    supply.max = in.course(json, "max", 100, kLevels);
    supply.level = in.course(json, "level", 100, kLevels);
    return supply;
}

TraySetting parseTray(const JsonReader& in, const Json::Value& json)
{
    in.expectObject(json, {"name", "description", "media", "type", "max", "level", "status"});
    TraySetting tray;
    tray.name = in.text(json, "name", {});
    tray.description = in.text(json, "description", {});
    tray.media = in.text(json, "media", {});
    tray.type = in.choice(json, "type", tray.type, kTrayTypes);
    tray.max = in.course(json, "max", 500, kLevels);
    tray.level = in.course(json, "level", 250, kLevels);
    tray.status = in.course(json, "status", 0, {});
    return tray;
}

AlertSetting parseAlert(const JsonReader& in, const Json::Value& json)
{
    in.expectObject(json, {"severity", "group", "groupIndex", "location", "code", "description", "active"});
    AlertSetting alert;
    alert.severity = in.choice(json, "severity", alert.severity, kSeverities);
    alert.group = in.choice(json, "group", alert.group, kGroups);
    alert.groupIndex = in.number(json, "groupIndex", 0, -1, kMaxInteger);
    alert.location = in.number(json, "location", 0, -2, kMaxInteger);
    alert.code = in.number(json, "code", alert.code, 0, kMaxInteger);
    alert.description = in.text(json, "description", {});
    alert.active = in.course(json, "active", 1, {});
    return alert;
}

Oid parseOidMember(const JsonReader& in, const Json::Value& json)
{
    const auto oid = json.isString() ? parseOid(json.asString()) : std::nullopt;
    if (!oid) {
        in.fail(json, "no object identifier");
    }
    return *oid;
}

template <typename Element, typename Parse>
std::vector<Element> parseList(const JsonReader& in, const char* member, Parse parse)
{
    std::vector<Element> elements;
    if (!in.root().isMember(member)) {
        return elements;
    }
    in.expectArray(in.root()[member]);
    for (const Json::Value& element : in.root()[member]) {
        elements.push_back(parse(element));
    }
    return elements;
}

// Maker and model, the maker once: many models carry it in front already.
std::string fullName(const Scenario& scenario)
{
    const std::string prefix = scenario.manufacturer + " ";
    return scenario.model.compare(0, prefix.size(), prefix) == 0 ? scenario.model : prefix + scenario.model;
}

void parseTexts(const JsonReader& in, Scenario& scenario)
{
    const Json::Value& root = in.root();
    scenario.manufacturer = in.text(root, "manufacturer", {});
    scenario.model = in.text(root, "model", {});
    scenario.name = in.text(root, "name", scenario.model);
    scenario.serial = in.text(root, "serial", {});
    scenario.sysDescr = in.text(root, "sysDescr", fullName(scenario));
    scenario.sysName = in.text(root, "sysName", {});
    scenario.sysLocation = in.text(root, "sysLocation", {});
    scenario.display = in.text(root, "display", {});
    scenario.sysObjectId = {1, 3, 6, 1, 4, 1, 32473, 1}; // the enterprise number of examples (RFC 5612)
    if (root.isMember("sysObjectID")) {
        scenario.sysObjectId = parseOidMember(in, root["sysObjectID"]);
    }
}

void parseState(const JsonReader& in, Scenario& scenario)
{
    const Json::Value& root = in.root();
    scenario.online = in.course(root, "online", 1, {});
    scenario.state = in.course(root, "state", 3, kStates);
    scenario.deviceStatus = in.course(root, "deviceStatus", 2, kDeviceStates);
    scenario.errors = in.course(root, "errors", 0, kErrorBits);
    scenario.pages = in.course(root, "pages", 0, {});
    scenario.pageUnit = in.choice(root, "pageUnit", scenario.pageUnit, kUnits);
    scenario.configChanges = in.course(root, "configChanges", 1, {});
    scenario.charset = in.number(root, "charset", scenario.charset, 0, kMaxInteger);
    scenario.deviceIndex = static_cast<std::uint32_t>(in.number(root, "deviceIndex", 1, 0, kMaxInteger));
}

void parseAgent(const JsonReader& in, Scenario& scenario)
{
    constexpr std::int64_t kLeastMessage = 64;
    constexpr std::int64_t kMostMessage = 65507;
    const Json::Value& root = in.root();
    scenario.v1Only = in.flag(root, "v1Only", false);
    scenario.maxMessageSize =
        static_cast<std::size_t>(in.number(root, "maxMessageSize", 0, kLeastMessage, kMostMessage));
    const std::string wrong = parseFaults(in.text(root, "faults", {}), scenario.faults);
    if (!wrong.empty()) {
        in.fail(root["faults"], "unknown fault \"" + wrong + "\"");
    }
    scenario.extra = parseList<Row>(in, "extra", [&in](const Json::Value& line) {
        if (!line.isString()) {
            in.fail(line, "a line OID|TAG|VALUE is expected here");
        }
        return parseRecordingLine(line.asString(), in.lineOf(line));
    });
    scenario.remove =
        parseList<Oid>(in, "remove", [&in](const Json::Value& oid) { return parseOidMember(in, oid); });
}

} // namespace

Scenario parseScenario(const std::string& json)
{
    const JsonReader in(json);
    in.expectObject(in.root(),
                    {"description",    "manufacturer",  "model",        "name",    "serial",  "sysDescr",
                     "sysName",        "sysLocation",   "sysObjectID",  "display", "charset", "deviceIndex",
                     "online",         "state",         "deviceStatus", "errors",  "pages",   "pageUnit",
                     "supplies",       "trays",         "alerts",       "extra",   "remove",  "v1Only",
                     "maxMessageSize", "configChanges", "faults"});
    Scenario scenario;
    in.text(in.root(), "description", {});
    parseTexts(in, scenario);
    parseState(in, scenario);
    parseAgent(in, scenario);
    scenario.supplies = parseList<SupplySetting>(
        in, "supplies", [&in](const Json::Value& element) { return parseSupply(in, element); });
    scenario.trays = parseList<TraySetting>(
        in, "trays", [&in](const Json::Value& element) { return parseTray(in, element); });
    scenario.alerts = parseList<AlertSetting>(
        in, "alerts", [&in](const Json::Value& element) { return parseAlert(in, element); });
    return scenario;
}

} // namespace printersim
