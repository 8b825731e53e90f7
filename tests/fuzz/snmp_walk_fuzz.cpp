#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "tarn/src/device/rendering.h"
#include "tarn/src/device/utf8.h"
#include "tarn/src/snmp/poll/printer_session.h"
#include "tests/fuzz/fuzz_input.h"
#include "tests/fuzz/spoilt_reply.h"
#include "tests/support/json_text.h"
#include "tests/support/recorded_agent.h"

// A whole read, from the questions to the rendered status, with a device that the input makes up:
//   flags, cut/8, tooBig limit,
//   rows of: column number, row, value type, length, octets; ended by column number FF,
//   and one octet an answer that says how it is malformed.
namespace {

using namespace tarn;
using kel::testing::RecordedAgent;
using kel_fuzz::Input;
using kel_fuzz::nameOf;
using kel_fuzz::require;
using kel_fuzz::spoil;
using kel_fuzz::valueOf;

void check(const device::DeviceStatus& status)
{
    const std::string message = device::stateMessage(status);
    require(device::isValidUtf8(message) && !message.empty());
    const auto hyphens = std::count(message.begin(), message.end(), '-');
    require(hyphens == static_cast<std::ptrdiff_t>(status.alerts.size()));
    for (const std::string& document : {device::infoDocument(status), device::detailDocument(status)}) {
        require(device::isValidUtf8(document) && kel::testing::isJson(document));
    }
    for (const device::Supply& supply : status.supplies) {
        require(supply.percent >= 0 && supply.percent <= 100);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Input input(data, size);
    const std::uint8_t flags = input.octet();
    RecordedAgent agent;
    agent.v1 = (flags & 1) != 0;
    agent.cutAtOctets = input.octet() * 8U;
    agent.tooBigAbove = input.octet();
    for (std::uint8_t column = input.octet(); column != 0xFF && !input.empty(); column = input.octet()) {
        const std::uint8_t row = input.octet();
        const std::uint8_t type = input.octet();
        agent.set(nameOf(column, row), valueOf(type, input.octets(input.octet())));
    }
    snmp::PrinterSession session(agent.v1 ? snmp::Version::V1 : snmp::Version::V2c);
    std::shared_ptr<const device::DeviceStatus> checked; // the session keeps it until there is another
    for (const engine::ReadKind kind :
         {engine::ReadKind::Identity, engine::ReadKind::Fast, engine::ReadKind::Full}) {
        session.begin(kind);
        int requests = 0;
        while (std::optional<snmp::Pdu> request = session.nextRequest()) {
            snmp::Pdu response = agent.answer(*request);
            spoil(response, input.octet());
            session.accept(response);
            require(++requests <= 200);
        }
        if (session.status() != checked) {
            checked = session.status();
            check(*checked);
        }
    }
    return 0;
}
