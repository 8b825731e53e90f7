#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "tarn/src/base/random.h"
#include "tarn/src/usm/usm_codec.h"
#include "tarn/src/usm/usm_port.h"

namespace tarn::usm {

// UsmPeer is one agent as the thread that speaks with it knows it: its engine, and the question that is open.
// It knows no socket: what it returns is to be sent.
//
// Invariants
//  (1) A message counts only while a question is open, and when it bears the number of one of ours.
//  (2) Only a protected response answers; what an agent reports changes nothing but whom and what we send
//      next.
//  (3) One question put once leads to at most kMostSteps messages of ours, and to at most kMostRead of
//      theirs being looked into.
//  (4) Repetitions bear the numbers of what they repeat: a late answer to the first is an answer. Those to an
//      absent printer do not: what is open for long could be answered by whoever saw it.
// Threading: one thread. Ownership: borrows codec and randomness.
class UsmPeer final
{
public:
    static constexpr unsigned kMostSteps = 4;
    static constexpr unsigned kMostRead = 16;

    // What to do next.
    struct Step
    {
        std::string send;                // empty: nothing
        std::optional<snmp::Pdu> answer; // the question is answered
        const char* complaint = nullptr; // why the agent would not, in a few words
    };

    UsmPeer(const UsmCodec& codec, Random& random, std::shared_ptr<const UsmKeys> keys)
        : m_codec(codec), m_random(random), m_keys(std::move(keys))
    {
    }

    Step ask(const UsmQuestion& question, TimePoint now);
    Step receive(snmp::ByteView bytes, TimePoint now);

    std::uint64_t ticket() const { return m_ticket; }

private:
    Step sendProbe();
    Step sendRequest(TimePoint now);
    Step discovered(UsmMessage& message, TimePoint now);
    Step reported(const UsmMessage& message, TimePoint now);
    UsmIds newIds();

    const UsmCodec& m_codec;
    Random& m_random;
    const std::shared_ptr<const UsmKeys> m_keys;

    std::optional<UsmEngine> m_engine; // nothing: not discovered
    std::uint64_t m_ticket = 0;
    bool m_isOpen = false;
    snmp::Pdu m_pdu;
    UsmIds m_request;
    UsmIds m_probe;
    unsigned m_asked = 0; // how often this question was put
    unsigned m_steps = 0; // since it was put last
    unsigned m_read = 0;  // since it was put last
};

} // namespace tarn::usm
