#include "tools/printer-sim/printer.h"

namespace printersim {

namespace {

// A printer has been running for a while when the simulation begins, as most are.
constexpr double kUpBefore = 3600;

} // namespace

Printer::Printer(std::shared_ptr<const PrinterKind> kind, std::uint32_t number, std::uint32_t address)
    : m_kind(std::move(kind)), m_number(number), m_address(address), m_upSince(-kUpBefore)
{
}

Moment Printer::momentAt(double seconds) const
{
    return {seconds, seconds - m_upSince, m_number, m_address};
}

std::optional<Value> Printer::get(const Oid& name, double seconds) const
{
    if (const auto changed = m_changes.find(name); changed != m_changes.end()) {
        return changed->second;
    }
    const Row* row = m_kind->mib.find(name);
    return row != nullptr ? row->source(momentAt(seconds)) : std::nullopt;
}

std::optional<Printer::Found> Printer::next(const Oid& name, double seconds) const
{
    const Moment moment = momentAt(seconds);
    const std::vector<Row>& rows = m_kind->mib.rows();
    std::size_t at = m_kind->mib.firstAfter(name);
    auto change = m_changes.upper_bound(name);
    while (at < rows.size() || change != m_changes.end()) {
        if (change != m_changes.end() && (at == rows.size() || change->first <= rows[at].name)) {
            if (at < rows.size() && change->first == rows[at].name) {
                ++at;
            }
            if (change->second) {
                return Found{change->first, *change->second};
            }
            ++change;
            continue;
        }
        if (auto value = rows[at].source(moment)) {
            return Found{rows[at].name, std::move(*value)};
        }
        ++at;
    }
    return std::nullopt;
}

bool Printer::hasBelow(const Oid& name, double seconds) const
{
    const auto found = next(name, seconds);
    return found && startsWith(found->name, name);
}

void Printer::switchOn(double seconds)
{
    m_power = Power::On;
    m_upSince = seconds;
}

bool Printer::isOnline(double seconds) const
{
    if (m_power == Power::AsScenario) {
        return m_kind->online.at(seconds) != 0;
    }
    return m_power == Power::On;
}

} // namespace printersim
