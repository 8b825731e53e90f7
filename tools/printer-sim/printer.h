#pragma once

#include <map>
#include <memory>
#include <string>

#include "tools/printer-sim/course.h"
#include "tools/printer-sim/fault_plan.h"
#include "tools/printer-sim/mib.h"

namespace printersim {

// What all printers of one kind share.
struct PrinterKind
{
    Mib mib;
    Course online = Course::constant(1);
    std::size_t maxMessageSize = 0; // 0: as the command line says
    bool v1Only = false;
};

// Printer is one simulated printer: a kind, an address, and what was changed since the start.
//
// Invariants
//  (1) What was set or taken away at run time covers what the kind says.
// Threading: one thread.
class Printer final
{
public:
    struct Found
    {
        Oid name;
        Value value;
    };

    Printer(std::shared_ptr<const PrinterKind> kind, std::uint32_t number, std::uint32_t address);

    const PrinterKind& kind() const { return *m_kind; }
    std::uint32_t address() const { return m_address; }

    // The value of that name; nothing while there is no such row.
    std::optional<Value> get(const Oid& name, double seconds) const;
    // The first row behind name.
    std::optional<Found> next(const Oid& name, double seconds) const;
    // Whether there is a row below name: a column without the row that was asked for (RFC 3416 4.2.1).
    bool hasBelow(const Oid& name, double seconds) const;

    void set(const Oid& name, Value value) { m_changes[name] = std::move(value); }
    void unset(const Oid& name) { m_changes[name] = std::nullopt; }
    // Switched off, it neither answers nor listens; switched on, its up-time begins again.
    void switchOff() { m_power = Power::Off; }
    void switchOn(double seconds);
    bool isOnline(double seconds) const;

    FaultPlan faults;

private:
    enum class Power : std::uint8_t
    {
        AsScenario,
        Off,
        On,
    };

    Moment momentAt(double seconds) const;

    std::shared_ptr<const PrinterKind> m_kind;
    std::uint32_t m_number;
    std::uint32_t m_address;
    Power m_power = Power::AsScenario;
    double m_upSince = 0;
    std::map<Oid, std::optional<Value>> m_changes; // nothing: the row was taken away
};

} // namespace printersim
