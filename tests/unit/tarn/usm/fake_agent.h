#pragma once

#include <string>

#include "tarn/src/usm/net_snmp_library.h"
#include "tarn/src/usm/usm_codec.h"

namespace tarn::usm {

// An agent of SNMPv3 whose messages Net-SNMP makes, with an engine, a clock and one user of its own. A codec
// has to be started meanwhile.
class FakeAgent final
{
public:
    FakeAgent(const UsmCodec& codec, std::shared_ptr<const UsmKeys> keys, std::string engineId);

    // Under the user's protection.
    std::string response(UsmIds ids, TimePoint now, const std::string& text = "idle") const;
    // Without any: anybody can make it.
    std::string bareResponse(UsmIds ids) const;
    // number: the last sub-identifier but one of the usmStats object, RFC 3414 5.
    std::string report(unsigned number, UsmIds ids) const;
    std::string protectedReport(unsigned number, UsmIds ids, TimePoint now) const;

    // The numbers of a message that was sent to an agent: it is read as far as anybody can read it.
    static std::int32_t messageIdOf(const std::string& message);
    // Whether it asks for the agent's engine: no name, no engine.
    static bool isProbe(const std::string& message);

    UsmEngine engine;

private:
    std::string bare(netsnmp_pdu* pdu, UsmIds ids) const;

    const UsmCodec& m_codec;
    const std::shared_ptr<const UsmKeys> m_keys;
    NetSnmpLibrary m_library{NetSnmpLibrary::kSoname};
};

} // namespace tarn::usm
