#include <json/json.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include "tarn/src/device/rendering.h"
#include "tarn/src/device/text.h"
#include "tarn/src/snmp/mib/columns.h"
#include "tarn/src/snmp/mib/quirks.h"
#include "tarn/src/snmp/poll/printer_session.h"
#include "tests/support/recorded_agent.h"

// A whole read, from the questions to the rendered picture, with a device that the input makes up:
//   flags, cut/8, tooBig limit,
//   rows of: column number, row, value type, length, octets; ended by column number FF,
//   and one octet an answer that says how it is malformed.
namespace {

using namespace tarn;
using kel::testing::RecordedAgent;

class Input final
{
public:
    Input(const std::uint8_t* data, std::size_t size) : m_data(data), m_size(size) {}
    bool empty() const { return m_at >= m_size; }
    std::uint8_t octet() { return empty() ? 0 : m_data[m_at++]; }
    std::string octets(std::size_t count)
    {
        std::string out;
        while (count-- > 0 && !empty()) {
            out.push_back(static_cast<char>(octet()));
        }
        return out;
    }

private:
    const std::uint8_t* m_data;
    std::size_t m_size;
    std::size_t m_at = 0;
};

std::string nameOf(std::uint8_t column, std::uint8_t row)
{
    static const std::vector<const snmp::VendorObject*> vendor = snmp::vendorObjectsFor("");
    if (column >= snmp::columnCount) {
        return vendor[(column - snmp::columnCount) % vendor.size()]->oid;
    }
    const snmp::ColumnSpec& spec = snmp::specOf(static_cast<snmp::ColumnId>(column));
    const std::string number = std::to_string(row);
    switch (spec.form) {
    case snmp::IndexForm::Scalar:
        return std::string(spec.oid) + ".0";
    case snmp::IndexForm::Device:
    case snmp::IndexForm::PrinterDevice:
        return std::string(spec.oid) + "." + number;
    case snmp::IndexForm::PrinterRow:
        return std::string(spec.oid) + "." + std::to_string(row >> 6) + "." + std::to_string(row & 63);
    }
    return spec.oid;
}

snmp::Value valueOf(std::uint8_t type, const std::string& octets)
{
    snmp::Value value;
    value.type = static_cast<snmp::ValueType>(type % 13);
    value.bytes = octets;
    for (const char c : octets.substr(0, 8)) {
        value.number = (value.number << 8) | static_cast<std::uint8_t>(c);
    }
    if (type >= 128) {
        value.number = -value.number;
    }
    if (value.type == snmp::ValueType::ObjectId) {
        value.oid = snmp::parseOid(octets.c_str());
    }
    return value;
}

void spoil(snmp::Pdu& response, std::uint8_t how)
{
    std::vector<snmp::Varbind>& binds = response.varbinds;
    switch (how & 0xF0) {
    case 0x10:
        response.errorStatus = how & 7;
        response.errorIndex = how % 5;
        break;
    case 0x20:
        binds.resize(binds.size() * (how & 0x0F) / 16);
        break;
    case 0x30:
        std::reverse(binds.begin(), binds.end());
        break;
    case 0x40:
        binds.insert(binds.end(), binds.begin(),
                     binds.begin() + static_cast<std::ptrdiff_t>(binds.size() / 2));
        break;
    case 0x50:
        for (snmp::Varbind& bind : binds) {
            bind.value.type = static_cast<snmp::ValueType>((how & 0x0F) % 13);
        }
        break;
    case 0x60:
        for (snmp::Varbind& bind : binds) {
            bind.name.push_back(how);
        }
        break;
    default:
        break;
    }
}

void require(bool holds)
{
    if (!holds) {
        std::abort();
    }
}

void check(const device::DeviceStatus& status)
{
    const std::string message = device::stateMessage(status);
    require(device::isValidUtf8(message) && !message.empty());
    const auto hyphens = std::count(message.begin(), message.end(), '-');
    require(hyphens == static_cast<std::ptrdiff_t>(status.alerts.size()));
    for (const std::string& document : {device::infoDocument(status), device::detailDocument(status)}) {
        require(device::isValidUtf8(document));
        static const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
        Json::Value root;
        require(reader->parse(document.data(), document.data() + document.size(), &root, nullptr));
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
    device::DeviceStatus checked; // most of the time is spent with readers of JSON
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
        if (session.status() && !(checked == *session.status())) {
            checked = *session.status();
            check(checked);
        }
    }
    return 0;
}
