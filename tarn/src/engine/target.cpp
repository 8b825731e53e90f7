#include "tarn/src/engine/target.h"

#include "tarn/src/base/immortal.h"

namespace tarn::engine {

namespace {

const Immortal<device::KeptPicture> kNothing;

std::size_t placeOf(Way way)
{
    return static_cast<std::size_t>(way);
}

} // namespace

// Begins to keep the ways apart.
Target::Reports& Target::reports()
{
    if (!m_reports) {
        auto made = std::make_unique<Reports>();
        const std::shared_ptr<const Snapshot> snapshot = this->snapshot();
        if (snapshot->way != Way::None) {
            (*made)[placeOf(snapshot->way)] = {snapshot->picture, snapshot->online, true};
        }
        m_reports = std::move(made);
    }
    return *m_reports;
}

void Target::report(Way way, const device::DeviceStatus& picture)
{
    if (!m_reports) {
        const Way before = snapshot()->way;
        if (before == way || before == Way::None) {
            publish(onlineSnapshot(picture, way));
            return;
        }
    }
    exchangeReport(way, {device::KeptPicture(picture), true, true});
}

void Target::reportKnown(Way way, const device::DeviceStatus& picture)
{
    exchangeReport(way, {device::KeptPicture(picture), false, true});
}

void Target::reportSilent(Way way)
{
    const std::shared_ptr<const Snapshot> snapshot = this->snapshot();
    if (m_reports) {
        Report report = (*m_reports)[placeOf(way)];
        report.answers = false;
        exchangeReport(way, std::move(report));
    } else if (snapshot->way == way || snapshot->way == Way::None) {
        publish(offlineSnapshot(*snapshot));
    }
}

bool Target::answers(Way way) const
{
    if (m_reports) {
        return (*m_reports)[placeOf(way)].answers;
    }
    return m_answering == way;
}

const device::KeptPicture& Target::keptPictureBy(Way way) const
{
    if (m_reports) {
        return (*m_reports)[placeOf(way)].picture;
    }
    const MutexLock lock(m_mutex);
    return m_snapshot->way == way || m_snapshot->way == Way::None ? m_snapshot->picture : *kNothing;
}

device::DeviceStatus Target::pictureBy(Way way) const
{
    return keptPictureBy(way).unpacked();
}

// What is not published counts as not reported.
void Target::exchangeReport(Way way, Report report)
{
    Report& place = reports()[placeOf(way)];
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
    std::size_t first = 0;
    while (first < kWayCount && !(*m_reports)[first].answers) {
        ++first;
    }
    if (first == kWayCount) {
        publish(offlineSnapshot(*snapshot()));
        return;
    }
    device::DeviceStatus picture = (*m_reports)[first].picture.unpacked();
    FieldWays ways = fieldWaysOf(picture, static_cast<Way>(first));
    for (std::size_t other = 0; other < kWayCount; ++other) {
        if (other == first || !(*m_reports)[other].known) {
            continue;
        }
        const device::DeviceStatus more = (*m_reports)[other].picture.unpacked();
        for (std::size_t field = 0; field < ways.size(); ++field) {
            if (device::takeMissing(picture, more, static_cast<device::PictureField>(field))) {
                ways[field] = static_cast<Way>(other);
            }
        }
    }
    publish(onlineSnapshot(picture, static_cast<Way>(first), ways));
}

} // namespace tarn::engine
