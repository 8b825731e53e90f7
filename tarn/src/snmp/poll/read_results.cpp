#include "tarn/src/snmp/poll/read_results.h"

namespace tarn::snmp {

using engine::BackendListener;
using engine::Liveliness;
using engine::livelinessOf;
using engine::Reachability;
using engine::ReadOutcome;
using engine::Source;
using engine::Target;

namespace {

// After so long a silence in the middle of a first meeting it may be another device that answers at last.
constexpr Milliseconds kMeetAnew{60000};

} // namespace

Liveliness publish(Target& target, const Session& session, ReadOutcome outcome, Liveliness liveliness,
                   BackendListener& listener)
{
    if (outcome != ReadOutcome::Changed && target.answers(Source::Snmp) && target.isMet()) {
        return liveliness;
    }
    const std::shared_ptr<const device::DeviceStatus> status = session.status();
    // What answers and is no printer, as far as one can see, keeps the status that is remembered.
    target.report(Source::Snmp, status ? *status : target.statusBy(Source::Snmp));
    target.markMet();
    listener.targetChanged(target);
    return livelinessOf(status.get());
}

bool mustReportOffline(const Target& target, const Reachability& reachability)
{
    return reachability.isOffline() && (target.answers(Source::Snmp) || !target.isMet());
}

void publishOffline(Target& target, BackendListener& listener)
{
    target.reportOffline(Source::Snmp);
    target.markMet();
    listener.targetChanged(target);
}

void publishOnline(Target& target, Liveliness liveliness, BackendListener& listener)
{
    if (liveliness != Liveliness::NoStatus && !target.answers(Source::Snmp)) {
        target.report(Source::Snmp, target.statusBy(Source::Snmp));
        listener.targetChanged(target);
    }
}

AfterMiss afterMiss(const MissedAnswer& missed, const Reachability& reachability, Session& session,
                    TimePoint now)
{
    const bool isMet = missed.liveliness != Liveliness::NoStatus;
    // A first meeting across a bad network would never end if each silence began it anew.
    const bool isHalfMet = !isMet && missed.requests > 1;
    if (missed.becameOffline && !isHalfMet) {
        // Whatever was being read is void; the smallest question finds out soonest that it is back.
        return isMet ? AfterMiss::ReadFast : AfterMiss::ReadIdentity;
    }
    if (isHalfMet && now - reachability.since() >= kMeetAnew) {
        return AfterMiss::ReadIdentity;
    }
    return session.onTimeout(reachability.misses()) ? AfterMiss::AskForLess : AfterMiss::Repeat;
}

} // namespace tarn::snmp
