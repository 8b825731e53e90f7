#include "tarn/src/api/library.h"

#include <algorithm>
#include <new>

#include "tarn/src/snmp/poll/snmp_poller.h"
#include "tarn/src/snmp/poll/udp_transport.h"
#include "tarn/tarn.h"

namespace tarn::api {

using catalog::Identity;
using catalog::ListedPrinter;
using engine::DiscoveredPrinter;
using engine::Snapshot;
using engine::Target;

namespace {

constexpr const char kNetworkBackend[] = "sm";
constexpr const char kIppBackend[] = "ipp";
constexpr std::size_t kLargestCache = 64u << 20;
// New identities are collected for so long before the cache is written.
constexpr Milliseconds kSaveDelay{3000};
// A file system that does not stall has done its work by then, however long the engine took to end.
constexpr Milliseconds kShortestWrite{100};

std::shared_ptr<const Snapshot> rememberedSnapshot(const Identity* identity)
{
    device::DeviceStatus status;
    if (identity != nullptr) {
        status.model = identity->model;
        status.serialNumber = identity->serialNumber;
        status.description = identity->description;
    }
    return engine::unmetSnapshot(status);
}

} // namespace

Library::Library(Parts parts)
    : m_clock(std::move(parts.clock)), m_random(std::move(parts.random)), m_config(std::move(parts.config)),
      m_hasCacheFile(!parts.cachePath.empty()),
      m_cacheFile(m_files, std::move(parts.cachePath), kLargestCache),
      m_values(m_files, std::move(parts.valuesPath)),
      m_roster(m_index,
               std::make_shared<Target>(m_config.addressFor(0), rememberedSnapshot(nullptr), m_clock->now())),
      m_valuesSaved(m_clock->now()), m_engine(*m_clock, *this)
{
    m_engine.addBackend(std::make_unique<snmp::SnmpPoller>(
        *m_clock, *m_random, std::make_unique<snmp::UdpTransport>(*m_random, std::move(parts.port)), m_engine,
        std::move(parts.sessions)));
    for (const BackendMaker& make : parts.backends) {
        m_engine.addBackend(make(*m_clock, *m_random, m_engine));
    }
}

Library::~Library()
{
    stop();
}

bool Library::start()
{
    return m_engine.start();
}

void Library::stop()
{
    const auto began = std::chrono::steady_clock::now();
    {
        const MutexLock lock(m_mutex);
        if (m_stopped) {
            return;
        }
        m_stopped = true;
    }
    m_meeting.notifyAll();
    m_engine.stop();
    bool writes = false;
    {
        const MutexLock lock(m_mutex);
        saveAtTheEnd();
        writes = m_options.writesCache;
    }
    const auto deadline = writes ? began + kLongestStop : began; // reading is not worth a wait
    const auto last = std::max(deadline, std::chrono::steady_clock::now() + kShortestWrite);
    if (!m_files.stop(last)) {
        m_values.abandon();
    }
}

// The files are let go all the same.
void Library::saveAtTheEnd()
{
    try {
        saveCache();
        saveValues(m_clock->now());
    } catch (const std::bad_alloc&) { // then not
    }
}

int Library::setOptions(std::string_view text)
{
    const MutexLock lock(m_mutex);
    if (!m_options.parse(text)) {
        return TARN_E_DOCUMENT;
    }
    orderDiscoveries();
    return TARN_OK;
}

int Library::setPrinterList(std::string_view text)
{
    bool readsCache = false;
    {
        const MutexLock lock(m_mutex);
        m_exchanged = true;
        orderDiscoveries();
        if (!m_options.acceptsList) {
            return TARN_E_DISABLED;
        }
        if (m_roster.isNamedBy(text)) {
            unwatchGone();
            return TARN_OK;
        }
        readsCache = orderCacheFile(); // while the list is parsed
    }
    std::optional<std::vector<ListedPrinter>> printers = catalog::parsePrinterList(text);
    if (!printers) {
        return TARN_E_DOCUMENT;
    }
    if (readsCache) {
        awaitCacheFile();
    }
    const MutexLock lock(m_mutex);
    if (m_stopped) {
        return TARN_E_NOT_READY;
    }
    const auto makeTarget = [this](std::uint32_t address)
                                TARN_REQUIRES(m_mutex) { return newTarget(address); };
    m_gone.reserve(m_gone.size() + m_roster.targets().size());
    const std::vector<TargetPtr> gone = m_roster.name(text, std::move(*printers), makeTarget);
    m_gone.insert(m_gone.end(), gone.begin(), gone.end());
    unwatchGone();
    awaitFirstMeeting();
    forget(gone);
    return TARN_OK;
}

// What was remembered of them, but of those that were named again since.
void Library::forget(const std::vector<TargetPtr>& gone)
{
    for (const auto& entry : m_roster.targets()) {
        m_forgotten.erase(entry.first);
    }
    for (const TargetPtr& target : gone) {
        const std::uint32_t address = target->address().endpoint.address;
        if (m_roster.targets().count(address) == 0) {
            m_forgotten.insert(address);
        }
    }
}

// Whom there is no memory for now are left for the next call.
void Library::unwatchGone()
{
    for (; !m_gone.empty(); m_gone.pop_back()) {
        m_engine.unwatch(m_gone.back());
    }
}

// Tells the engine what to look for, once the program has had its chance to set options.
void Library::orderDiscoveries()
{
    orderDiscovery(engine::Discovery::Usb, m_exchanged && m_options.discoversUsb());
    orderDiscovery(engine::Discovery::Cups, m_exchanged && m_options.discoversCups());
}

void Library::orderDiscovery(engine::Discovery discovery, bool on)
{
    if (on ? m_discoveries.insert(discovery).second : m_discoveries.erase(discovery) != 0) {
        m_engine.discover(discovery, on);
    }
}

TargetPtr Library::newTarget(std::uint32_t address)
{
    auto target = std::make_shared<Target>(m_config.addressFor(address),
                                           rememberedSnapshot(m_cache.find(address)), m_clock->now());
    if (m_options.usesNetwork) {
        m_engine.watch(kNetworkBackend, target);
    }
    if (m_options.usesNetwork && m_options.usesIpp) {
        m_engine.watch(kIppBackend, target);
    }
    return target;
}

// Of the addresses in the list that were never met.
void Library::awaitFirstMeeting()
{
    std::vector<TargetPtr> fresh;
    for (const auto& [address, target] : m_roster.targets()) {
        if (m_options.usesNetwork && m_cache.find(address) == nullptr) {
            fresh.push_back(target);
        }
    }
    const auto deadline = std::chrono::steady_clock::now() + kFirstMeeting;
    bool inTime = true;
    for (const TargetPtr& target : fresh) {
        while (inTime && !m_stopped && !target->isMet()) {
            inTime = m_meeting.waitUntil(m_mutex, deadline);
        }
    }
    for (const TargetPtr& target : fresh) {
        rememberIdentity(*target); // the silent ones too: nobody is waited for twice
    }
}

void Library::rememberIdentity(Target& target)
{
    if (target.address().endpoint.address == 0) {
        return; // found, not named: its back-end knows it again
    }
    const std::shared_ptr<const Snapshot> snapshot = target.snapshot();
    const device::DeviceStatus status = snapshot->status.unpacked();
    if (m_cache.remember(target.address().endpoint.address,
                         {status.model, status.serialNumber, status.description})) {
        m_roster.identitiesChanged();
        m_saveAt = std::min(m_saveAt, m_clock->now() + kSaveDelay);
    }
    target.rememberedIdentity = snapshot->identity; // unless memory ran out
}

std::string Library::printerList()
{
    const MutexLock lock(m_mutex);
    m_exchanged = true;
    orderDiscoveries();
    return m_roster.document(m_cache);
}

char* Library::models()
{
    {
        const MutexLock lock(m_mutex);
        if (!orderCacheFile()) {
            return m_modelTexts.document(m_cache.models(), m_cache.modelsRevision());
        }
    }
    awaitCacheFile();
    const MutexLock lock(m_mutex);
    return m_modelTexts.document(m_cache.models(), m_cache.modelsRevision());
}

int Library::open(std::string_view name, OpenedPrinter& out, Status status)
{
    std::uint32_t silent = 0; // the address of one that has not answered in this run
    const bool isKnown = m_index.withTarget(name, [&](const TargetPtr& target) {
        const TimePoint now = m_clock->now();
        if (target->markOpened(now)) {
            m_engine.wake(target);
        }
        out.snapshot = target->snapshot();
        const std::optional<TimePoint> answered = target->lastAnswer();
        out.ageMs = answered ? (now - *answered).count() : -1;
        silent = answered ? 0 : target->address().endpoint.address;
    });
    if (status == Status::WithEarlier && silent != 0) {
        takeEarlier(silent, m_clock->now(), out);
    }
    return isKnown ? TARN_OK : TARN_E_UNKNOWN;
}

void Library::takeEarlier(std::uint32_t address, TimePoint now, OpenedPrinter& out)
{
    {
        const MutexLock lock(m_mutex);
        if (!m_options.usesCache || m_stopped) {
            return;
        }
    }
    if (const std::optional<catalog::RememberedValue> value = m_values.find(address, now)) {
        out.snapshot = engine::earlierSnapshot(value->status.unpacked(), value->source);
        out.ageMs = value->age.count();
        out.isOfEarlierRun = true;
    }
}

// True when the file is on its way by this call's order.
bool Library::orderCacheFile()
{
    if (m_cacheFileState == CacheFile::Unread && m_options.usesCache && m_hasCacheFile &&
        m_cacheFile.read()) {
        m_cacheFileState = CacheFile::Ordered;
        return true;
    }
    return false;
}

void Library::awaitCacheFile()
{
    m_cacheFile.awaitText(std::chrono::steady_clock::now() + kReadPatience);
    const MutexLock lock(m_mutex);
    takeCacheFile();
}

void Library::takeCacheFile()
{
    if (m_cacheFileState != CacheFile::Ordered) {
        return;
    }
    const std::optional<FileText> file = m_cacheFile.takeText();
    if (!file) {
        return;
    }
    m_cacheFileState = CacheFile::Unread; // to be ordered again, also when there is no memory for it now
    if (file->error == ReadError::Unreadable) {
        return;
    }
    m_cache.parse(file->text);
    m_cacheFileState = CacheFile::Read;
    m_roster.identitiesChanged();
}

// False when that must be tried again.
bool Library::saveCache()
{
    if (!m_cache.isDirty() || !m_options.keepsCache() || !m_hasCacheFile) {
        return true;
    }
    orderCacheFile();
    takeCacheFile();
    if (m_cacheFileState != CacheFile::Read || !m_cacheFile.replace(m_cache.text())) {
        return false;
    }
    m_cache.markSaved();
    return true;
}

TimePoint Library::nextValues() const
{
    const bool keeps = m_options.keepsCache() && m_values.hasPlace();
    return keeps ? m_valuesSaved + (m_valuesChanged ? kValuesEvery : kDatesEvery) : kNever;
}

// Only shares of what is there: the rest is done in a thread of its own.
void Library::saveValues(TimePoint now)
{
    if (nextValues() == kNever) {
        m_forgotten.clear(); // the file is not ours to change
        return;
    }
    m_valuesSaved = now; // without memory for it, too
    std::vector<catalog::Answer> answers;
    for (const auto& [address, target] : m_roster.targets()) {
        const std::optional<TimePoint> answered = target->lastAnswer();
        std::shared_ptr<const Snapshot> snapshot = target->snapshot();
        if (answered && snapshot->source != engine::Source::None) {
            answers.push_back({address, now - *answered, std::move(snapshot)});
        }
    }
    const bool isAny = !answers.empty() || !m_forgotten.empty();
    m_valuesChanged = isAny && !m_values.save(std::move(answers), m_forgotten); // then in time again
    if (!m_valuesChanged) { // once: another program may know them, and go on to
        m_forgotten.clear();
    }
}

void Library::targetChanged(Target& target)
{
    {
        const MutexLock lock(m_mutex);
        m_valuesChanged = true;
        if (target.snapshot()->identity !=
            target.rememberedIdentity) { // of ten thousand, few say anything new
            rememberIdentity(target);
        }
    }
    m_meeting.notifyAll();
}

void Library::rosterChanged(engine::Discovery discovery, std::vector<DiscoveredPrinter> roster)
{
    const MutexLock lock(m_mutex);
    m_roster.setDiscovered(discovery, std::move(roster));
}

TimePoint Library::housekeeping(TimePoint now)
{
    const MutexLock lock(m_mutex);
    takeCacheFile();
    if (m_saveAt <= now) {
        m_saveAt = saveCache() ? kNever : now + kSaveDelay;
    }
    if (nextValues() <= now) {
        saveValues(now);
    }
    return std::min(m_saveAt, nextValues());
}

} // namespace tarn::api
