#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "tarn/src/api/printer_index.h"
#include "tarn/src/catalog/identity_cache.h"

namespace tarn::api {

// Roster is the list of printers: those that the program named, and after them those that were found.
//
// Invariants
//  (1) targets() holds exactly the addresses of the named printers.
//  (2) After each change the index finds the first printer of a name, named ones before discovered ones. A
//      named printer whose address is none has the target that stands for nowhere; a discovered one that of
//      the back-end that found it.
// Threading: guarded by its owner. Ownership: shares the targets; borrows the index, which must outlive it.
class Roster final
{
public:
    using Targets = std::unordered_map<std::uint32_t, TargetPtr>;

    Roster(PrinterIndex& index, TargetPtr nowhere) : m_index(index), m_nowhere(std::move(nowhere)) {}

    // Whether the printers were named by this very text.
    bool isNamedBy(std::string_view text) const { return m_isNamed && m_text == text; }
    // Replaces the named printers. An address that was named before keeps its target, the others get theirs
    // from makeTarget. Returns the targets that are named no longer. Nothing has changed when it throws.
    std::vector<TargetPtr> name(std::string_view text, std::vector<catalog::ListedPrinter> printers,
                                const std::function<TargetPtr(std::uint32_t address)>& makeTarget);
    void setDiscovered(engine::Discovery discovery, std::vector<engine::DiscoveredPrinter> printers);
    const Targets& targets() const { return m_targets; }

    // The list document of tarn_getPrinterList. Rendered again only after a change, of the roster or of what
    // is known of its printers.
    const std::string& document(const catalog::IdentityCache& identities);
    void identitiesChanged() { m_isRendered = false; }

private:
    std::shared_ptr<const PrinterDirectory> directoryOf(std::vector<catalog::ListedPrinter> named,
                                                        const Targets& targets) const;
    void publish(std::shared_ptr<const PrinterDirectory> fresh);

    PrinterIndex& m_index;
    const TargetPtr m_nowhere;
    bool m_isNamed = false; // m_text is the last list's
    std::string m_text;
    Targets m_targets;
    std::map<engine::Discovery, std::vector<engine::DiscoveredPrinter>> m_discovered;
    bool m_isRendered = false;
    std::string m_document;
};

} // namespace tarn::api
