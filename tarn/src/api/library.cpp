#include "tarn/src/api/library.h"

#include "tarn/src/api/text.h"
#include "tarn/src/base/files.h"
#include "tarn/src/base/json_input.h"
#include "tarn/src/base/json_text.h"
#include "tarn/src/engine/snmp_poller.h"
#include "tarn/src/engine/udp_port.h"
#include "tarn/src/ipp/ipp_backends.h"
#include "tarn/src/usb/usb_backend.h"
#include "tarn/src/usm/usm_backend.h"
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
constexpr const char kUsbBackend[] = "smusb";
constexpr const char kDetectModel[] = "自动识别";
constexpr std::size_t kLargestOptions = 1u << 20;
constexpr std::size_t kLargestCache = 64u << 20;
// New identities are collected for so long before the cache is written.
constexpr Milliseconds kSaveDelay{3000};

std::shared_ptr<const Snapshot> rememberedSnapshot(const Identity* identity)
{
    device::DeviceStatus picture;
    if (identity != nullptr) {
        picture.model = identity->model;
        picture.serialNumber = identity->serialNumber;
        picture.description = identity->description;
    }
    return engine::unmetSnapshot(picture);
}

// Whether name is one of the names joined by "|".
bool isAmong(std::string_view name, std::string_view joined)
{
    for (;;) {
        const std::size_t bar = joined.find('|');
        if (joined.substr(0, bar) == name) {
            return true;
        }
        if (bar == std::string_view::npos) {
            return false;
        }
        joined.remove_prefix(bar + 1);
    }
}

std::unique_ptr<engine::Backend> usbPrinters(const Clock& clock, Random& /*random*/,
                                             engine::BackendListener& listener)
{
    return std::make_unique<usb::UsbBackend>(clock, listener, usb::UsbBackend::realParts());
}

} // namespace

Library::Parts Library::realParts()
{
    return {std::make_unique<BootClock>(),
            std::make_unique<SystemRandom>(),
            std::make_unique<engine::UdpPort>(),
            engine::sessionDialogues(),
            catalog::Config::load(),
            catalog::IdentityCache::defaultPath(),
            {ipp::makeIppPoller, ipp::makeCupsQueues, usbPrinters, usm::makeBackend}};
}

Library::Library(Parts parts)
    : m_clock(std::move(parts.clock)), m_random(std::move(parts.random)), m_config(std::move(parts.config)),
      m_cachePath(std::move(parts.cachePath)),
      m_nowhere(
          std::make_shared<Target>(m_config.addressFor(0), rememberedSnapshot(nullptr), m_clock->now())),
      m_index(std::make_shared<Index>()), m_engine(*m_clock, *this)
{
    m_engine.addBackend(std::make_unique<engine::SnmpPoller>(*m_clock, *m_random, std::move(parts.port),
                                                             m_engine, std::move(parts.dialogues)));
    for (const BackendMaker& make : parts.backends) {
        m_engine.addBackend(make(*m_clock, *m_random, m_engine));
    }
}

Library::~Library()
{
    stop();
    const MutexLock lock(m_mutex);
    for (char* text : m_modelTexts) {
        deleteInterned(text);
    }
}

bool Library::start()
{
    return m_engine.start();
}

void Library::stop()
{
    {
        const MutexLock lock(m_mutex);
        if (m_stopped) {
            return;
        }
        m_stopped = true;
    }
    m_meeting.notifyAll();
    m_engine.stop();
    saveCache();
}

int Library::setOptions(std::string_view text)
{
    const std::optional<Json::Value> root = parseJson(text, kLargestOptions);
    if (!root || !root->isObject()) {
        return TARN_E_DOCUMENT;
    }
    const MutexLock lock(m_mutex);
    if (const Json::Value& value = (*root)["enable_backends"]; value.isString()) {
        m_networkEnabled = isAmong(kNetworkBackend, value.asString());
        m_usbEnabled = isAmong(kUsbBackend, value.asString());
    }
    if (const Json::Value& value = (*root)["enable_ipp"]; value.isBool()) {
        m_ippEnabled = value.asBool();
    }
    if (const Json::Value& value = (*root)["enable_set_printer_list"]; value.isBool()) {
        m_listAccepted = value.asBool();
    }
    if (const Json::Value& value = (*root)["enable_cache"]; value.isBool()) {
        m_cacheEnabled = value.asBool();
    }
    if (const Json::Value& value = (*root)["enable_usb_printer_discovery"]; value.isBool()) {
        m_usbWanted = value.asBool();
    }
    if (const Json::Value& value = (*root)["enable_cups_printer"]; value.isBool()) {
        m_cupsWanted = value.asBool();
    }
    orderDiscoveries();
    return TARN_OK;
}

int Library::setPrinterList(std::string_view text)
{
    {
        const MutexLock lock(m_mutex);
        m_exchanged = true;
        orderDiscoveries();
        if (!m_listAccepted) {
            return TARN_E_DISABLED;
        }
        if (m_listKnown && m_listText == text) {
            return TARN_OK;
        }
    }
    std::optional<std::vector<ListedPrinter>> printers = catalog::parsePrinterList(text);
    if (!printers) {
        return TARN_E_DOCUMENT;
    }
    const MutexLock lock(m_mutex);
    if (m_stopped) {
        return TARN_E_NOT_READY;
    }
    loadCache();
    const std::vector<TargetPtr> fresh = apply(std::move(*printers));
    m_listText = text;
    m_listKnown = true;
    awaitFirstMeeting(fresh);
    return TARN_OK;
}

// Takes over the list. Returns the targets of addresses that were never met.
std::vector<Library::TargetPtr> Library::apply(std::vector<ListedPrinter> printers)
{
    std::unordered_map<std::uint32_t, TargetPtr> targets;
    std::vector<TargetPtr> fresh;
    for (const ListedPrinter& printer : printers) {
        if (!printer.address) {
            continue;
        }
        TargetPtr& place = targets[*printer.address];
        if (!place) {
            const auto known = m_targets.find(*printer.address);
            place = known != m_targets.end() ? known->second : newTarget(*printer.address);
            if (m_networkEnabled && m_cache.find(*printer.address) == nullptr) {
                fresh.push_back(place);
            }
        }
    }
    for (const auto& [address, target] : m_targets) {
        if (targets.find(address) == targets.end()) {
            m_engine.unwatch(target);
        }
    }
    m_targets.swap(targets);
    publishIndex(std::move(printers));
    return fresh;
}

// Of the printers that were named, whose targets are in m_targets, and those that were found.
void Library::publishIndex(std::vector<ListedPrinter> printers)
{
    auto fresh = std::make_shared<Index>();
    fresh->printers = std::move(printers);
    for (const auto& entry : m_rosters) {
        fresh->discovered.insert(fresh->discovered.end(), entry.second.begin(), entry.second.end());
    }
    fresh->byName.reserve(fresh->printers.size() + fresh->discovered.size());
    for (const ListedPrinter& printer : fresh->printers) { // the first of equal names stays
        fresh->byName.emplace(printer.printerName,
                              printer.address ? m_targets.find(*printer.address)->second : m_nowhere);
    }
    for (const DiscoveredPrinter& printer : fresh->discovered) {
        fresh->byName.emplace(printer.name, printer.target);
    }
    m_listRendered = false;
    std::shared_ptr<const Index> shared = std::move(fresh);
    const WriteLock lock(m_indexGate);
    m_index.swap(shared); // the old one dies after the lock
}

std::shared_ptr<const Library::Index> Library::index() const
{
    const ReadLock lock(m_indexGate);
    return m_index;
}

// Tells the engine what to look for, once the program has had its chance to set options.
void Library::orderDiscoveries()
{
    const bool usb = m_exchanged && m_usbEnabled && m_usbWanted;
    const bool cups = m_exchanged && m_cupsWanted;
    if (usb != m_findsUsb) {
        m_findsUsb = usb;
        m_engine.discover(engine::Discovery::Usb, usb);
    }
    if (cups != m_findsCups) {
        m_findsCups = cups;
        m_engine.discover(engine::Discovery::Cups, cups);
    }
}

Library::TargetPtr Library::newTarget(std::uint32_t address)
{
    auto target = std::make_shared<Target>(m_config.addressFor(address),
                                           rememberedSnapshot(m_cache.find(address)), m_clock->now());
    if (m_networkEnabled) {
        m_engine.watch(kNetworkBackend, target);
    }
    if (m_networkEnabled && m_ippEnabled) {
        m_engine.watch(kIppBackend, target);
    }
    return target;
}

void Library::awaitFirstMeeting(const std::vector<TargetPtr>& fresh)
{
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
    target.rememberedIdentity = snapshot->identity;
    const device::DeviceStatus picture = snapshot->picture.unpacked();
    if (m_cache.remember(target.address().endpoint.address,
                         {picture.model, picture.serialNumber, picture.description})) {
        m_listRendered = false;
        m_saveAt = std::min(m_saveAt, m_clock->now() + kSaveDelay);
    }
}

std::string Library::printerList()
{
    const MutexLock lock(m_mutex);
    m_exchanged = true;
    orderDiscoveries();
    if (!m_listRendered) {
        m_listDocument = renderList();
        m_listRendered = true;
    }
    return m_listDocument;
}

std::string Library::renderList() const
{
    const std::shared_ptr<const Index> index = this->index();
    std::string out = "[";
    for (const ListedPrinter& printer : index->printers) {
        const Identity* identity = printer.address ? m_cache.find(*printer.address) : nullptr;
        if (out.size() > 1) {
            out += ',';
        }
        appendListed(out, printer, identity != nullptr ? identity->model : std::string_view(),
                     identity != nullptr ? identity->description : std::string_view());
    }
    for (const DiscoveredPrinter& printer : index->discovered) {
        if (out.size() > 1) {
            out += ',';
        }
        catalog::appendListed(out, printer);
    }
    out += ']';
    return out;
}

char* Library::models()
{
    const MutexLock lock(m_mutex);
    loadCache();
    if (!m_modelTexts.empty() && m_modelsInText == m_cache.modelCount()) {
        return m_modelTexts.back();
    }
    std::string out = "[{";
    appendJsonMember(out, "model", kDetectModel);
    for (const std::string& model : m_cache.models()) {
        out += "},{";
        appendJsonMember(out, "model", model);
    }
    out += "}]";
    m_modelTexts.reserve(m_modelTexts.size() + 1);
    char* const text = newInternedText(out);
    if (text != nullptr) {
        m_modelTexts.push_back(text);
        m_modelsInText = m_cache.modelCount();
    }
    return text;
}

int Library::open(std::string_view name, OpenedPrinter& out)
{
    const ReadLock lock(m_indexGate);
    const auto found = m_index->byName.find(name);
    if (found == m_index->byName.end()) {
        return TARN_E_UNKNOWN;
    }
    Target& target = *found->second;
    const TimePoint now = m_clock->now();
    if (target.markOpened(now)) {
        m_engine.wake(found->second);
    }
    out.snapshot = target.snapshot();
    const std::optional<TimePoint> answered = target.lastAnswer();
    out.ageMs = answered ? (now - *answered).count() : -1;
    return TARN_OK;
}

void Library::loadCache()
{
    if (m_cacheLoaded || !m_cacheEnabled || m_cachePath.empty()) {
        return;
    }
    m_cacheLoaded = true;
    m_cache.parse(readFile(m_cachePath, kLargestCache).text);
}

void Library::saveCache()
{
    std::string text;
    {
        const MutexLock lock(m_mutex);
        m_saveAt = kNever;
        if (!m_cache.isDirty() || !m_cacheEnabled || m_cachePath.empty()) {
            return;
        }
        text = m_cache.text();
    }
    replaceFile(m_cachePath, text);
}

void Library::targetChanged(Target& target)
{
    {
        const MutexLock lock(m_mutex);
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
    m_rosters[discovery] = std::move(roster);
    publishIndex(index()->printers);
}

TimePoint Library::housekeeping(TimePoint now)
{
    TimePoint saveAt = kNever;
    {
        const MutexLock lock(m_mutex);
        saveAt = m_saveAt;
    }
    if (saveAt <= now) {
        saveCache();
        return kNever;
    }
    return saveAt;
}

} // namespace tarn::api
