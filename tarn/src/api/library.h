#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "tarn/src/base/clock.h"
#include "tarn/src/base/mutex.h"
#include "tarn/src/base/random.h"
#include "tarn/src/base/reader_gate.h"
#include "tarn/src/catalog/config.h"
#include "tarn/src/catalog/identity_cache.h"
#include "tarn/src/catalog/printer_list.h"
#include "tarn/src/engine/datagram_port.h"
#include "tarn/src/engine/dialogue.h"
#include "tarn/src/engine/engine.h"

namespace tarn::api {

// What open() pins.
struct OpenedPrinter
{
    std::shared_ptr<const engine::Snapshot> snapshot;
    std::int64_t ageMs = -1; // since the last answer; -1 without any
};

// Library is everything between tarn_init and tarn_destroy: the configured printers, what is known of them,
// and the engine. Functions that return int return the codes of tarn.h.
//
// Invariants
//  (1) m_index->byName finds the first printer of a name, named ones before discovered ones, and its target
//      is never null.
//  (2) m_targets holds exactly the addresses of the present list, each watched by the engine unless "sm"
//      was off when it was named. The targets of discovered printers are those of the back-end that found
//      them.
// Threading: any thread. Lock order: m_mutex before m_indexMutex before a target's own lock; the engine's
// thread takes m_mutex only when a printer's identity may have changed. Nothing is read from or written to
// the network or a file under m_indexGate; the cache file is read once under m_mutex.
class Library final : public engine::EngineListener
{
public:
    // The seams, all owned from then on.
    using BackendMaker =
        std::function<std::unique_ptr<engine::Backend>(const Clock&, Random&, engine::BackendListener&)>;
    struct Parts
    {
        std::unique_ptr<Clock> clock;
        std::unique_ptr<Random> random;
        std::unique_ptr<engine::DatagramPort> port;
        engine::DialogueFactory dialogues;
        catalog::Config config;
        std::string cachePath;                // empty: nothing is remembered
        std::vector<BackendMaker> backends{}; // beside the one for SNMP v1 and v2c
    };
    static Parts realParts();

    explicit Library(Parts parts);
    ~Library() override;

    bool start();
    void stop() TARN_EXCLUDES(m_mutex);

    int setOptions(std::string_view text) TARN_EXCLUDES(m_mutex);
    int setPrinterList(std::string_view text) TARN_EXCLUDES(m_mutex);
    std::string printerList() TARN_EXCLUDES(m_mutex);
    // The library's own text; null without memory.
    char* models() TARN_EXCLUDES(m_mutex);
    int open(std::string_view name, OpenedPrinter& out) TARN_EXCLUDES(m_indexGate);

    void targetChanged(engine::Target& target) override TARN_EXCLUDES(m_mutex);
    void rosterChanged(engine::Discovery discovery, std::vector<engine::DiscoveredPrinter> roster) override
        TARN_EXCLUDES(m_mutex);
    TimePoint housekeeping(TimePoint now) override TARN_EXCLUDES(m_mutex);

    // For all addresses never met before together, in the first list that names them.
    static constexpr Milliseconds kFirstMeeting{250};

private:
    using TargetPtr = std::shared_ptr<engine::Target>;
    struct Index
    {
        std::vector<catalog::ListedPrinter> printers;
        std::vector<engine::DiscoveredPrinter> discovered;
        std::unordered_map<std::string_view, TargetPtr> byName; // views into both
    };

    void loadCache() TARN_REQUIRES(m_mutex);
    std::vector<TargetPtr> apply(std::vector<catalog::ListedPrinter> printers) TARN_REQUIRES(m_mutex);
    TargetPtr newTarget(std::uint32_t address) TARN_REQUIRES(m_mutex);
    void publishIndex(std::vector<catalog::ListedPrinter> printers) TARN_REQUIRES(m_mutex);
    std::shared_ptr<const Index> index() const TARN_EXCLUDES(m_indexGate);
    void orderDiscoveries() TARN_REQUIRES(m_mutex);
    void awaitFirstMeeting(const std::vector<TargetPtr>& fresh) TARN_REQUIRES(m_mutex);
    void rememberIdentity(engine::Target& target) TARN_REQUIRES(m_mutex);
    std::string renderList() const TARN_REQUIRES(m_mutex);
    void saveCache() TARN_EXCLUDES(m_mutex);

    // constant after construction
    const std::unique_ptr<Clock> m_clock;
    const std::unique_ptr<Random> m_random; // the engine's thread's
    const catalog::Config m_config;
    const std::string m_cachePath;
    const TargetPtr m_nowhere; // of printers whose address is none

    Mutex m_mutex;
    Condition m_meeting; // a target was met, or the library stops
    bool m_stopped TARN_GUARDED_BY(m_mutex) = false;
    bool m_listAccepted TARN_GUARDED_BY(m_mutex) = true;   // enable_set_printer_list
    bool m_networkEnabled TARN_GUARDED_BY(m_mutex) = true; // enable_backends names "sm"
    bool m_ippEnabled TARN_GUARDED_BY(m_mutex) = true;     // enable_ipp
    bool m_usbEnabled TARN_GUARDED_BY(m_mutex) = true;     // enable_backends names "smusb"
    bool m_usbWanted TARN_GUARDED_BY(m_mutex) = true;      // enable_usb_printer_discovery
    bool m_cupsWanted TARN_GUARDED_BY(m_mutex) = false;    // enable_cups_printer
    bool m_exchanged TARN_GUARDED_BY(m_mutex) = false; // a list was set or asked for: the options are known
    bool m_findsUsb TARN_GUARDED_BY(m_mutex) = false;  // the engine was told to
    bool m_findsCups TARN_GUARDED_BY(m_mutex) = false;
    bool m_cacheEnabled TARN_GUARDED_BY(m_mutex) = true; // enable_cache
    bool m_cacheLoaded TARN_GUARDED_BY(m_mutex) = false;
    bool m_listRendered TARN_GUARDED_BY(m_mutex) = false;
    bool m_listKnown TARN_GUARDED_BY(m_mutex) = false; // m_listText is the last list's
    TimePoint m_saveAt TARN_GUARDED_BY(m_mutex) = kNever;
    std::string m_listText TARN_GUARDED_BY(m_mutex);     // as it was sent
    std::string m_listDocument TARN_GUARDED_BY(m_mutex); // as it is handed out, when m_listRendered
    catalog::IdentityCache m_cache TARN_GUARDED_BY(m_mutex);
    std::unordered_map<std::uint32_t, TargetPtr> m_targets TARN_GUARDED_BY(m_mutex);
    std::map<engine::Discovery, std::vector<engine::DiscoveredPrinter>> m_rosters TARN_GUARDED_BY(m_mutex);
    std::vector<char*>
        m_modelTexts TARN_GUARDED_BY(m_mutex); // all that were handed out; the last is the present one
    std::size_t m_modelsInText TARN_GUARDED_BY(m_mutex) = 0;

    mutable ReaderGate m_indexGate;
    std::shared_ptr<const Index> m_index TARN_GUARDED_BY(m_indexGate);

    engine::Engine m_engine; // last: its thread ends before anything else goes
};

} // namespace tarn::api
