#include "tarn/src/snmp/poll/read_results.h"

namespace tarn::snmp {

using engine::BackendListener;
using engine::Liveliness;
using engine::livelinessOf;
using engine::ReadOutcome;
using engine::Silence;
using engine::Target;
using engine::Way;

namespace {

// After so long a silence in the middle of a first meeting it may be another device that answers at last.
constexpr Milliseconds kMeetAnew{60000};

} // namespace

Liveliness publish(Target& target, const Session& session, ReadOutcome outcome, Liveliness liveliness,
                   BackendListener& listener)
{
    if (outcome != ReadOutcome::Changed && target.answers(Way::Snmp) && target.isMet()) {
        return liveliness;
    }
    const std::shared_ptr<const device::DeviceStatus> status = session.status();
    // What answers and is no printer, as far as one can see, keeps the picture that is remembered.
    target.report(Way::Snmp, status ? *status : target.pictureBy(Way::Snmp));
    target.markMet();
    listener.targetChanged(target);
    return livelinessOf(status.get());
}

bool isToBeCalledSilent(const Target& target, const Silence& silence)
{
    return silence.isOffline() && (target.answers(Way::Snmp) || !target.isMet());
}

void publishSilence(Target& target, BackendListener& listener)
{
    target.reportSilent(Way::Snmp);
    target.markMet();
    listener.targetChanged(target);
}

void publishSignOfLife(Target& target, Liveliness liveliness, BackendListener& listener)
{
    if (liveliness != Liveliness::NoPicture && !target.answers(Way::Snmp)) {
        target.report(Way::Snmp, target.pictureBy(Way::Snmp));
        listener.targetChanged(target);
    }
}

AfterMiss afterMiss(const MissedAnswer& missed, const Silence& silence, Session& session, TimePoint now)
{
    const bool isMet = missed.liveliness != Liveliness::NoPicture;
    // A first meeting across a bad network would never end if each silence began it anew.
    const bool isHalfMet = !isMet && missed.requests > 1;
    if (missed.becameOffline && !isHalfMet) {
        // Whatever was being read is void; the smallest question finds out soonest that it is back.
        return isMet ? AfterMiss::ReadFast : AfterMiss::ReadIdentity;
    }
    if (isHalfMet && now - silence.since() >= kMeetAnew) {
        return AfterMiss::ReadIdentity;
    }
    return session.onTimeout(silence.misses()) ? AfterMiss::AskForLess : AfterMiss::Repeat;
}

} // namespace tarn::snmp
