#include "tarn/src/api/roster.h"

namespace tarn::api {

using catalog::Identity;
using catalog::ListedPrinter;
using engine::DiscoveredPrinter;

std::vector<TargetPtr> Roster::name(std::string_view text, std::vector<ListedPrinter> printers,
                                    const std::function<TargetPtr(std::uint32_t)>& makeTarget)
{
    std::string named(text);
    Targets targets;
    for (const ListedPrinter& printer : printers) {
        if (!printer.address) {
            continue;
        }
        TargetPtr& place = targets[*printer.address];
        if (!place) {
            const auto known = m_targets.find(*printer.address);
            place = known != m_targets.end() ? known->second : makeTarget(*printer.address);
        }
    }
    std::vector<TargetPtr> gone;
    for (const auto& [address, target] : m_targets) {
        if (targets.find(address) == targets.end()) {
            gone.push_back(target);
        }
    }
    std::shared_ptr<const PrinterDirectory> fresh = directoryOf(std::move(printers), targets);
    // Nothing throws from here on.
    m_targets.swap(targets);
    publish(std::move(fresh));
    m_text.swap(named);
    m_isNamed = true;
    return gone;
}

void Roster::setDiscovered(engine::Discovery discovery, std::vector<DiscoveredPrinter> printers)
{
    m_discovered[discovery] = std::move(printers);
    publish(directoryOf(m_index.directory()->named, m_targets));
}

// Of the printers that are named, whose targets are given, and those that were found.
std::shared_ptr<const PrinterDirectory> Roster::directoryOf(std::vector<ListedPrinter> named,
                                                            const Targets& targets) const
{
    auto fresh = std::make_shared<PrinterDirectory>();
    fresh->named = std::move(named);
    for (const auto& entry : m_discovered) {
        fresh->discovered.insert(fresh->discovered.end(), entry.second.begin(), entry.second.end());
    }
    fresh->byName.reserve(fresh->named.size() + fresh->discovered.size());
    for (const ListedPrinter& printer : fresh->named) { // the first of equal names stays
        fresh->byName.emplace(printer.printerName,
                              printer.address ? targets.find(*printer.address)->second : m_nowhere);
    }
    for (const DiscoveredPrinter& printer : fresh->discovered) {
        fresh->byName.emplace(printer.name, printer.target);
    }
    return fresh;
}

void Roster::publish(std::shared_ptr<const PrinterDirectory> fresh)
{
    m_isRendered = false;
    m_index.publish(std::move(fresh));
}

const std::string& Roster::document(const catalog::IdentityCache& identities)
{
    if (m_isRendered) {
        return m_document;
    }
    const std::shared_ptr<const PrinterDirectory> directory = m_index.directory();
    std::string out = "[";
    for (const ListedPrinter& printer : directory->named) {
        const Identity* identity = printer.address ? identities.find(*printer.address) : nullptr;
        if (out.size() > 1) {
            out += ',';
        }
        appendListed(out, printer, identity != nullptr ? identity->model : std::string_view(),
                     identity != nullptr ? identity->description : std::string_view());
    }
    for (const DiscoveredPrinter& printer : directory->discovered) {
        if (out.size() > 1) {
            out += ',';
        }
        catalog::appendListed(out, printer);
    }
    out += ']';
    m_document = std::move(out);
    m_isRendered = true;
    return m_document;
}

} // namespace tarn::api
