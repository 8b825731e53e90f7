#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "tarn/src/device/device_status.h"
#include "tarn/src/snmp/pdu.h"
#include "tarn/src/snmp/session.h"

namespace tarn::engine {

// Dialogue is the seam between the poller, which knows when and how often to ask, and snmp::Session, which
// knows what. The functions are those of Session.
class Dialogue
{
public:
    virtual ~Dialogue() = default;
    virtual void begin(snmp::ReadKind kind) = 0;
    virtual std::optional<snmp::Pdu> nextRequest() = 0;
    virtual void accept(const snmp::Pdu& response) = 0;
    virtual bool noAnswer(unsigned misses) = 0;
    // A dialogue without a quick way says false twice, and is asked and answered in the ordinary one.
    virtual bool asksTheSame() const { return false; }
    virtual bool hearAgain(const snmp::MessageHead&, const device::KeptPicture&) { return false; }
    virtual snmp::ReadOutcome outcome() const = 0;
    virtual std::shared_ptr<const device::DeviceStatus> status() const = 0;
    virtual void rest() = 0;
};

using DialogueFactory = std::function<std::unique_ptr<Dialogue>(snmp::Version)>;

// The real ones, over snmp::Session.
DialogueFactory sessionDialogues();

} // namespace tarn::engine
