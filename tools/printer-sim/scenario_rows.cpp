#include <algorithm>

#include "tools/printer-sim/scenario.h"

namespace printersim {

namespace {

constexpr std::uint32_t kUnsignedMask = 0xFFFFFFFFU;

// Collects rows below 1.3.6.1.2.1; each name is a table's entry, a column and the row's index.
class RowList final
{
public:
    std::vector<Row> take() { return std::move(m_rows); }

    void add(std::initializer_list<std::uint32_t> name, Source source)
    {
        Oid oid = {1, 3, 6, 1, 2, 1};
        oid.insert(oid.end(), name.begin(), name.end());
        m_rows.push_back({std::move(oid), std::move(source)});
    }
    void number(std::initializer_list<std::uint32_t> name, std::int64_t value)
    {
        add(name, always(integer(value)));
    }
    void number(std::initializer_list<std::uint32_t> name, Course course, ValueType type = ValueType::Integer)
    {
        add(name, [course = std::move(course), type](const Moment& moment) {
            return std::optional<Value>(integer(fit(course.at(moment.seconds), type), type));
        });
    }
    void text(std::initializer_list<std::uint32_t> name, std::string text)
    {
        if (text.find('{') == std::string::npos) {
            return add(name, always(octets(std::move(text))));
        }
        add(name, [text = std::move(text)](const Moment& moment) {
            return std::optional<Value>(octets(fillIn(text, moment)));
        });
    }

    // Counter32 and Gauge32 begin again at 0 (RFC 2578 7.1.6); an INTEGER has no such rule and is cut
    // likewise.
    static std::int64_t fit(std::int64_t number, ValueType type)
    {
        const auto low = static_cast<std::uint32_t>(number & kUnsignedMask);
        return type == ValueType::Integer ? std::int64_t{static_cast<std::int32_t>(low)} : std::int64_t{low};
    }

private:
    std::vector<Row> m_rows;
};

std::optional<Value> upTime(const Moment& moment)
{
    const auto hundredths = static_cast<std::int64_t>(moment.upSeconds * 100);
    return integer(RowList::fit(hundredths, ValueType::TimeTicks), ValueType::TimeTicks);
}

void addSystem(RowList& rows, const Scenario& scenario)
{
    rows.text({1, 1, 0}, scenario.sysDescr);
    rows.add({1, 2, 0}, always(objectId(scenario.sysObjectId)));
    rows.add({1, 3, 0}, upTime);
    rows.text({1, 4, 0}, "");
    rows.text({1, 5, 0}, scenario.sysName);
    rows.text({1, 6, 0}, scenario.sysLocation);
    rows.number({1, 7, 0}, 72);
}

// The error state as the two octets of the standard, the second one only where it says something.
std::optional<Value> errorBits(const Course& errors, const Moment& moment)
{
    const std::int64_t bits = errors.at(moment.seconds);
    std::string bytes(1, static_cast<char>((bits >> 8) & 0xFF));
    if ((bits & 0xFF) != 0) {
        bytes += static_cast<char>(bits & 0xFF);
    }
    return octets(std::move(bytes));
}

void addHost(RowList& rows, const Scenario& scenario)
{
    const std::uint32_t device = scenario.deviceIndex;
    rows.add({25, 1, 1, 0}, upTime);
    rows.number({25, 3, 2, 1, 1, device}, device);
    rows.add({25, 3, 2, 1, 2, device}, always(objectId({1, 3, 6, 1, 2, 1, 25, 3, 1, 5}))); // hrDevicePrinter
    rows.text({25, 3, 2, 1, 3, device}, scenario.model);
    rows.add({25, 3, 2, 1, 4, device}, always(objectId(scenario.sysObjectId)));
    rows.number({25, 3, 2, 1, 5, device}, scenario.deviceStatus);
    rows.number({25, 3, 2, 1, 6, device}, Course::constant(0), ValueType::Counter32);
    rows.number({25, 3, 5, 1, 1, device}, scenario.state);
    rows.add({25, 3, 5, 1, 2, device},
             [errors = scenario.errors](const Moment& moment) { return errorBits(errors, moment); });
}

// Counts the alerts that came, all of them or the critical ones.
Source alertEvents(const Scenario& scenario, bool onlyCritical)
{
    std::vector<Course> counted;
    for (const AlertSetting& alert : scenario.alerts) {
        if (!onlyCritical || alert.severity == 3) {
            counted.push_back(alert.active);
        }
    }
    return [counted = std::move(counted)](const Moment& moment) {
        std::int64_t events = 0;
        for (const Course& active : counted) {
            events += active.risesUntil(moment.seconds);
        }
        return std::optional<Value>(
            integer(RowList::fit(events, ValueType::Counter32), ValueType::Counter32));
    };
}

void addGeneral(RowList& rows, const Scenario& scenario)
{
    const std::uint32_t device = scenario.deviceIndex;
    rows.number({43, 5, 1, 1, 1, device}, scenario.configChanges, ValueType::Counter32);
    rows.number({43, 5, 1, 1, 2, device}, 1);
    rows.text({43, 5, 1, 1, 16, device}, scenario.name);
    rows.text({43, 5, 1, 1, 17, device}, scenario.serial);
    rows.add({43, 5, 1, 1, 18, device}, alertEvents(scenario, true));
    rows.add({43, 5, 1, 1, 19, device}, alertEvents(scenario, false));
    rows.text({43, 7, 1, 1, 2, device, 1}, "zh");
    rows.number({43, 7, 1, 1, 4, device, 1}, scenario.charset);
    if (!scenario.display.empty()) {
        rows.text({43, 16, 5, 1, 2, device, 1}, scenario.display);
    }
}

void addTrays(RowList& rows, const Scenario& scenario)
{
    const std::uint32_t device = scenario.deviceIndex;
    std::uint32_t index = 0;
    for (const TraySetting& tray : scenario.trays) {
        ++index;
        rows.number({43, 8, 2, 1, 2, device, index}, tray.type);
        rows.number({43, 8, 2, 1, 8, device, index}, 8); // capacity in sheets
        rows.number({43, 8, 2, 1, 9, device, index}, tray.max);
        rows.number({43, 8, 2, 1, 10, device, index}, tray.level);
        rows.number({43, 8, 2, 1, 11, device, index}, tray.status);
        rows.text({43, 8, 2, 1, 12, device, index}, tray.media);
        rows.text({43, 8, 2, 1, 13, device, index}, tray.name);
        rows.text({43, 8, 2, 1, 18, device, index}, tray.description);
    }
}

void addColorants(RowList& rows, std::uint32_t device, const std::vector<std::string>& colours)
{
    std::uint32_t index = 0;
    for (const std::string& colour : colours) {
        ++index;
        rows.number({43, 12, 1, 1, 2, device, index}, 1);
        rows.number({43, 12, 1, 1, 3, device, index}, 3); // process colorant
        rows.text({43, 12, 1, 1, 4, device, index}, colour);
        rows.number({43, 12, 1, 1, 5, device, index}, 2);
    }
}

void addMarker(RowList& rows, const Scenario& scenario)
{
    const std::uint32_t device = scenario.deviceIndex;
    rows.number({43, 10, 2, 1, 2, device, 1}, 4); // electrophotographicLaser
    rows.number({43, 10, 2, 1, 3, device, 1}, scenario.pageUnit);
    rows.number({43, 10, 2, 1, 4, device, 1}, scenario.pages, ValueType::Counter32);
    rows.number({43, 10, 2, 1, 5, device, 1}, scenario.pages, ValueType::Counter32);
    rows.number({43, 10, 2, 1, 15, device, 1}, 0);
    std::vector<std::string> colours;
    std::uint32_t index = 0;
    for (const SupplySetting& supply : scenario.supplies) {
        ++index;
        std::uint32_t colorant = 0;
        if (!supply.colour.empty()) {
            const auto known = std::find(colours.begin(), colours.end(), supply.colour);
            colorant = static_cast<std::uint32_t>(known - colours.begin()) + 1;
            if (known == colours.end()) {
                colours.push_back(supply.colour);
            }
        }
        rows.number({43, 11, 1, 1, 2, device, index}, 1);
        rows.number({43, 11, 1, 1, 3, device, index}, colorant);
        rows.number({43, 11, 1, 1, 4, device, index}, supply.supplyClass);
        rows.number({43, 11, 1, 1, 5, device, index}, supply.type);
        rows.text({43, 11, 1, 1, 6, device, index}, supply.description);
        rows.number({43, 11, 1, 1, 7, device, index}, supply.unit);
        rows.number({43, 11, 1, 1, 8, device, index}, supply.max);
        rows.number({43, 11, 1, 1, 9, device, index}, supply.level);
    }
    addColorants(rows, device, colours);
}

// A row of the alert table is there only while its alert is active.
Source whileActive(const Course& active, Value value)
{
    return [active, value = std::move(value)](const Moment& moment) {
        return active.at(moment.seconds) != 0 ? std::optional<Value>(value) : std::nullopt;
    };
}

void addAlerts(RowList& rows, const Scenario& scenario)
{
    const std::uint32_t device = scenario.deviceIndex;
    std::uint32_t index = 0;
    for (const AlertSetting& alert : scenario.alerts) {
        ++index;
        const auto add = [&](std::uint32_t column, Value value) {
            rows.add({43, 18, 1, 1, column, device, index}, whileActive(alert.active, std::move(value)));
        };
        add(2, integer(alert.severity));
        add(3, integer(alert.severity == 3 ? 4 : 3)); // trained or untrained
        add(4, integer(alert.group));
        add(5, integer(alert.groupIndex));
        add(6, integer(alert.location));
        add(7, integer(alert.code));
        add(8, octets(alert.description));
        add(9, integer(0, ValueType::TimeTicks));
    }
}

} // namespace

std::vector<Row> rowsOf(const Scenario& scenario)
{
    RowList list;
    addSystem(list, scenario);
    addHost(list, scenario);
    addGeneral(list, scenario);
    addTrays(list, scenario);
    addMarker(list, scenario);
    addAlerts(list, scenario);
    std::vector<Row> rows = list.take();
    rows.insert(rows.end(), scenario.extra.begin(), scenario.extra.end());
    const auto removed = [&scenario](const Row& row) {
        return std::any_of(scenario.remove.begin(), scenario.remove.end(),
                           [&row](const Oid& prefix) { return startsWith(row.name, prefix); });
    };
    rows.erase(std::remove_if(rows.begin(), rows.end(), removed), rows.end());
    return rows;
}

} // namespace printersim
