#pragma once

#include <memory>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "tarn/src/base/sharded_rw_lock.h"
#include "tarn/src/catalog/printer_list.h"

namespace tarn::api {

using TargetPtr = std::shared_ptr<engine::Target>;

// All printers at one time. Immutable once published.
struct PrinterDirectory
{
    std::vector<catalog::ListedPrinter> named;
    std::vector<engine::DiscoveredPrinter> discovered;
    std::unordered_map<std::string_view, TargetPtr> byName; // views into both; never a null target
};

// PrinterIndex is the present directory, looked into by many threads all the time and exchanged whole by one.
// Threading: any thread. Ownership: shares the directory.
class PrinterIndex final
{
public:
    PrinterIndex() : m_directory(std::make_shared<PrinterDirectory>()) {}
    PrinterIndex(const PrinterIndex&) = delete;
    PrinterIndex& operator=(const PrinterIndex&) = delete;

    void publish(std::shared_ptr<const PrinterDirectory> directory) TARN_EXCLUDES(m_lock)
    {
        const WriteLock lock(m_lock);
        m_directory.swap(directory); // the old one dies after the lock
    }

    std::shared_ptr<const PrinterDirectory> directory() const TARN_EXCLUDES(m_lock)
    {
        const ReadLock lock(m_lock);
        return m_directory;
    }

    // Calls function with the target of that name; false where there is none. The lock is held meanwhile,
    // which is cheaper than a share of the target: function may take but a moment.
    template <typename Function>
    bool withTarget(std::string_view name, Function function) const TARN_EXCLUDES(m_lock)
    {
        const ReadLock lock(m_lock);
        const auto found = m_directory->byName.find(name);
        if (found == m_directory->byName.end()) {
            return false;
        }
        function(found->second);
        return true;
    }

private:
    mutable ShardedRwLock m_lock;
    std::shared_ptr<const PrinterDirectory> m_directory TARN_GUARDED_BY(m_lock);
};

} // namespace tarn::api
