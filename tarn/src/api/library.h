#pragma once

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "tarn/src/api/model_texts.h"
#include "tarn/src/api/options.h"
#include "tarn/src/api/printer_index.h"
#include "tarn/src/api/roster.h"
#include "tarn/src/base/clock.h"
#include "tarn/src/base/file_keeper.h"
#include "tarn/src/base/mutex.h"
#include "tarn/src/base/random.h"
#include "tarn/src/catalog/config.h"
#include "tarn/src/catalog/identity_cache.h"
#include "tarn/src/catalog/last_values_file.h"
#include "tarn/src/engine/engine.h"
#include "tarn/src/snmp/poll/datagram_port.h"
#include "tarn/src/snmp/poll/session.h"

namespace tarn::api {

// What open() pins.
struct OpenedPrinter
{
    std::shared_ptr<const engine::Snapshot> snapshot;
    std::int64_t ageMs = -1;     // since the last answer; -1 without any
    bool isOfEarlierRun = false; // it has not answered in this one
};

// Library is everything between tarn_init and tarn_destroy: it wires the options, the roster, what is
// remembered of printers and the engine. Functions that return int return the codes of tarn.h.
//
// Invariants
//  (1) Each target of the roster's own is watched by the engine, unless the options switched that off when
//      its address was named.
//  (2) The cache file is not replaced before it was read: what it holds would be lost.
// Threading: any thread. Lock order: m_mutex before the index's lock before a target's own lock; the engine's
// thread takes m_mutex only when a printer's identity may have changed. Nothing is read from or written to
// the network or a file under any of them.
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
        std::unique_ptr<snmp::DatagramPort> port;
        snmp::SessionFactory sessions;
        catalog::Config config;
        std::string cachePath;                // empty: no identities are remembered
        std::string valuesPath{};             // empty: no last values are
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
    // WithEarlier: of a printer that has not answered yet what it said in an earlier run, where that is
    // known.
    enum class Status
    {
        OfThisRun,
        WithEarlier,
    };
    int open(std::string_view name, OpenedPrinter& out, Status status = Status::OfThisRun)
        TARN_EXCLUDES(m_mutex);

    void targetChanged(engine::Target& target) override TARN_EXCLUDES(m_mutex);
    void rosterChanged(engine::Discovery discovery, std::vector<engine::DiscoveredPrinter> roster) override
        TARN_EXCLUDES(m_mutex);
    TimePoint housekeeping(TimePoint now) override TARN_EXCLUDES(m_mutex);

    // For all addresses never met before together, in the first list that names them.
    static constexpr Milliseconds kFirstMeeting{250};
    // For the cache file, once; what comes later is taken over when it comes.
    static constexpr Milliseconds kReadPatience{250};
    // Last values are saved so long after the time before at the earliest, where only their dates are others,
    // and where they are others themselves.
    static constexpr Milliseconds kDatesEvery{3600000};
    static constexpr Milliseconds kValuesEvery{600000};
    // For everything that stop() waits for.
    static constexpr Milliseconds kLongestStop{1800};

private:
    enum class CacheFile
    {
        Unread,
        Ordered,
        Read,
    };

    bool orderCacheFile() TARN_REQUIRES(m_mutex);
    void awaitCacheFile() TARN_EXCLUDES(m_mutex);
    void takeCacheFile() TARN_REQUIRES(m_mutex);
    TargetPtr newTarget(std::uint32_t address) TARN_REQUIRES(m_mutex);
    void orderDiscoveries() TARN_REQUIRES(m_mutex);
    void orderDiscovery(engine::Discovery discovery, bool on) TARN_REQUIRES(m_mutex);
    void unwatchGone() TARN_REQUIRES(m_mutex);
    void forget(const std::vector<TargetPtr>& gone) TARN_REQUIRES(m_mutex);
    void saveAtTheEnd() TARN_REQUIRES(m_mutex);
    void awaitFirstMeeting() TARN_REQUIRES(m_mutex);
    void rememberIdentity(engine::Target& target) TARN_REQUIRES(m_mutex);
    bool saveCache() TARN_REQUIRES(m_mutex);
    TimePoint nextValues() const TARN_REQUIRES(m_mutex);
    void saveValues(TimePoint now) TARN_REQUIRES(m_mutex);
    void takeEarlier(std::uint32_t address, TimePoint now, OpenedPrinter& out) TARN_EXCLUDES(m_mutex);

    // constant after construction
    const std::unique_ptr<Clock> m_clock;
    const std::unique_ptr<Random> m_random; // the engine's thread's
    const catalog::Config m_config;
    const bool m_hasCacheFile;

    PrinterIndex m_index;
    FileKeeper m_files;
    KeptFile m_cacheFile;
    catalog::LastValuesFile m_values;

    Mutex m_mutex;
    CondVar m_meeting; // a target was met, or the library stops
    bool m_stopped TARN_GUARDED_BY(m_mutex) = false;
    bool m_exchanged TARN_GUARDED_BY(m_mutex) = false; // a list was set or asked for: the options are known
    Options m_options TARN_GUARDED_BY(m_mutex);
    std::set<engine::Discovery> m_discoveries TARN_GUARDED_BY(m_mutex); // that the engine was told to make
    Roster m_roster TARN_GUARDED_BY(m_mutex);
    std::vector<TargetPtr> m_gone TARN_GUARDED_BY(m_mutex); // named no longer, and the engine is to be told
    ModelTexts m_modelTexts TARN_GUARDED_BY(m_mutex);
    catalog::IdentityCache m_cache TARN_GUARDED_BY(m_mutex);
    CacheFile m_cacheFileState TARN_GUARDED_BY(m_mutex) = CacheFile::Unread;
    TimePoint m_saveAt TARN_GUARDED_BY(m_mutex) = kNever;
    TimePoint m_valuesSaved TARN_GUARDED_BY(m_mutex);
    bool m_valuesChanged TARN_GUARDED_BY(m_mutex) = false;        // since then
    std::set<std::uint32_t> m_forgotten TARN_GUARDED_BY(m_mutex); // named no longer since then

    engine::Engine m_engine; // last: its thread ends before anything else goes
};

} // namespace tarn::api
