#pragma once

#include <cstdint>

#include "tarn/src/base/clock.h"
#include "tarn/src/engine/backend.h"
#include "tarn/src/engine/cadence.h"
#include "tarn/src/engine/reachability.h"
#include "tarn/src/engine/target.h"
#include "tarn/src/snmp/poll/session.h"

// What holds for a read over SNMP in whatever version: what comes of its end, and of an
// answer that is missing.
namespace tarn::snmp {

// Hands on what a read of the given outcome has found out, where that is anything new. liveliness is
// of the status that was handed on before; returns that of the present one.
engine::Liveliness publish(engine::Target& target, const Session& session, engine::ReadOutcome outcome,
                           engine::Liveliness liveliness, engine::BackendListener& listener);
// Whether the printer is offline and nobody was told so, or not successfully.
bool mustReportOffline(const engine::Target& target, const engine::Reachability& reachability);
// Hands on that the printer cannot be reached.
void publishOffline(engine::Target& target, engine::BackendListener& listener);
// An answer has come. Who was away is back at the first one, with the last good status until the
// read has a new one; who was never seen before comes with his status.
void publishOnline(engine::Target& target, engine::Liveliness liveliness, engine::BackendListener& listener);

// A read at the moment at which the patience with its question runs out.
struct MissedAnswer
{
    unsigned requests; // of the read so far
    engine::Liveliness liveliness;
    bool becameOffline; // by this miss
};
// What is to be done about it.
enum class AfterMiss : std::uint8_t
{
    Repeat,      // the same question
    AskForLess,  // the session's next one, which stands in its place
    ReadFast,    // a Fast read, the present one being void
    ReadIdentity // likewise
};
AfterMiss afterMiss(const MissedAnswer& missed, const engine::Reachability& reachability, Session& session,
                    TimePoint now);

// Reopening tells when a silence is so general that the socket may be at fault: an interface went and came
// back.
class Reopening final
{
public:
    static constexpr Milliseconds kGap{30000};

    // An answer from anybody.
    void answered(TimePoint now) { m_lastAnswer = now; }
    void reopened(TimePoint now) { m_last = now; }
    bool isDue(const engine::Reachability& reachability, TimePoint now) const
    {
        return reachability.isOffline() && m_lastAnswer < reachability.since() && now - m_last >= kGap;
    }

private:
    TimePoint m_lastAnswer{};
    TimePoint m_last{};
};

} // namespace tarn::snmp
