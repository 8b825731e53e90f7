#include "tarn/src/engine/target.h"

#include <algorithm>

#include "tarn/src/base/immortal.h"

namespace tarn::engine {

namespace {

const Immortal<device::PackedStatus> kNothing;

std::size_t placeOf(Source source)
{
    return static_cast<std::size_t>(source);
}

} // namespace

// Begins to keep the ways apart.
Target::Reports& Target::reports()
{
    if (!m_reports) {
        auto made = std::make_unique<Reports>();
        const std::shared_ptr<const Snapshot> snapshot = this->snapshot();
        if (snapshot->source != Source::None) {
            (*made)[placeOf(snapshot->source)] = {snapshot->status, snapshot->online, true};
        }
        m_reports = std::move(made);
    }
    return *m_reports;
}

void Target::report(Source source, const device::DeviceStatus& status)
{
    if (!m_reports) {
        const Source before = snapshot()->source;
        if (before == source || before == Source::None) {
            publish(onlineSnapshot(status, source));
            return;
        }
    }
    exchangeReport(source, {device::PackedStatus(status), true, true});
}

void Target::reportKnown(Source source, const device::DeviceStatus& status)
{
    exchangeReport(source, {device::PackedStatus(status), false, true});
}

void Target::reportOffline(Source source)
{
    const std::shared_ptr<const Snapshot> snapshot = this->snapshot();
    if (m_reports) {
        Report report = (*m_reports)[placeOf(source)];
        report.answers = false;
        exchangeReport(source, std::move(report));
    } else if (snapshot->source == source || snapshot->source == Source::None) {
        publish(offlineSnapshot(*snapshot));
    }
}

bool Target::answers(Source source) const
{
    if (m_reports) {
        return (*m_reports)[placeOf(source)].answers;
    }
    return m_answering == source;
}

const device::PackedStatus& Target::packedStatusBy(Source source) const
{
    if (m_reports) {
        return (*m_reports)[placeOf(source)].status;
    }
    const MutexLock lock(m_mutex);
    return m_snapshot->source == source || m_snapshot->source == Source::None ? m_snapshot->status
                                                                              : *kNothing;
}

device::DeviceStatus Target::statusBy(Source source) const
{
    return packedStatusBy(source).unpacked();
}

// What is not published counts as not reported.
void Target::exchangeReport(Source source, Report report)
{
    Report& place = reports()[placeOf(source)];
    std::swap(place, report);
    try {
        publishReports();
    } catch (...) {
        std::swap(place, report);
        throw;
    }
}

void Target::publishReports()
{
    const auto answering = std::find_if(m_reports->begin(), m_reports->end(),
                                        [](const Report& report) { return report.answers; });
    if (answering == m_reports->end()) {
        publish(offlineSnapshot(*snapshot()));
        return;
    }
    const auto first = static_cast<std::size_t>(answering - m_reports->begin());
    device::DeviceStatus status = (*m_reports)[first].status.unpacked();
    FieldSources sources = fieldSourcesOf(status, static_cast<Source>(first));
    for (std::size_t other = 0; other < kSourceCount; ++other) {
        if (other == first || !(*m_reports)[other].known) {
            continue;
        }
        const device::DeviceStatus more = (*m_reports)[other].status.unpacked();
        for (std::size_t field = 0; field < sources.size(); ++field) {
            if (device::takeMissing(status, more, static_cast<device::StatusField>(field))) {
                sources[field] = static_cast<Source>(other);
            }
        }
    }
    publish(onlineSnapshot(status, static_cast<Source>(first), sources));
}

} // namespace tarn::engine
