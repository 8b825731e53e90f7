#include "tarn/src/snmp/mib/quirks.h"

#include <algorithm>
#include <cstdlib>

#include "tarn/src/device/device_id.h"
#include "tarn/src/device/make_and_model.h"

namespace tarn::snmp {

namespace {

using F = VendorField;
using T = VendorFormat;

// Enterprise numbers: IANA private enterprise registry. Within one enterprise and field, the first that
// answers counts.
const VendorObject vendorObjects[] = {
    {11, F::SerialNumber, "1.3.6.1.4.1.11.2.3.9.4.2.1.1.3.3.0", T::PmlText,
     "prtGeneralSerialNumber is missing; sysDescr shows the print server's"},
    {236, F::SerialNumber, "1.3.6.1.4.1.236.11.5.1.1.1.4.0", T::Text, "prtGeneralSerialNumber is missing"},
    {236, F::Model, "1.3.6.1.4.1.236.11.5.1.1.1.1.0", T::Text, "hrDeviceDescr is missing"},
    {253, F::SerialNumber, "1.3.6.1.4.1.253.8.53.3.2.1.3.1", T::Text, "prtGeneralSerialNumber is missing"},
    {253, F::Model, "1.3.6.1.4.1.253.8.51.1.2.1.20.1", T::DeviceId, "hrDeviceDescr is missing"},
    {297, F::Model, "1.3.6.1.4.1.253.8.51.1.2.1.20.1", T::DeviceId, "hrDeviceDescr is missing"},
    {367, F::SerialNumber, "1.3.6.1.4.1.367.3.2.1.2.1.4.0", T::Text, "prtGeneralSerialNumber is missing"},
    {367, F::Model, "1.3.6.1.4.1.367.3.2.1.1.1.1.0", T::Text,
     "hrDeviceDescr is missing, sysDescr lists services"},
    {367, F::TotalPages, "1.3.6.1.4.1.367.3.2.1.2.19.1.0", T::Number, "no prtMarkerLifeCount"},
    {641, F::SerialNumber, "1.3.6.1.4.1.641.2.1.2.1.6.1", T::Text, "prtGeneralSerialNumber is missing"},
    {641, F::Model, "1.3.6.1.4.1.641.2.1.2.1.2.1", T::Text, "hrDeviceDescr is missing"},
    {641, F::SerialNumber, "1.3.6.1.4.1.641.6.2.3.1.5.1", T::Text, "newer devices moved the object"},
    {641, F::Model, "1.3.6.1.4.1.641.6.2.3.1.4.1", T::Text, "newer devices moved the object"},
    {641, F::Model, "1.3.6.1.4.1.641.2.1.2.1.3.1", T::DeviceId, "hrDeviceDescr is missing"},
    {674, F::Model, "1.3.6.1.4.1.674.10898.100.2.1.2.1.3.1", T::DeviceId,
     "hrDeviceDescr holds serial number and firmware too"},
    {674, F::Model, "1.3.6.1.4.1.641.2.1.2.1.3.1", T::DeviceId, "devices of another maker's keep its object"},
    {674, F::Model, "1.3.6.1.4.1.253.8.51.10.2.1.7.2.28110202", T::DeviceId,
     "devices of another maker's keep its object"},
    {683, F::Model, "1.3.6.1.4.1.683.6.2.3.2.1.15.1", T::Text, "sysDescr names the print server"},
    {1248, F::SerialNumber, "1.3.6.1.4.1.1248.1.2.2.1.1.1.5.1", T::Text, "prtGeneralSerialNumber is missing"},
    {1248, F::Model, "1.3.6.1.4.1.1248.1.1.3.1.3.8.0", T::Text, "sysDescr names the print server"},
    {1347, F::SerialNumber, "1.3.6.1.4.1.1347.43.5.1.1.28.1", T::Text, "prtGeneralSerialNumber is missing"},
    {1347, F::Model, "1.3.6.1.4.1.1347.43.5.1.1.1.1", T::Text, "sysDescr names the print server"},
    {1347, F::TotalPages, "1.3.6.1.4.1.1347.43.10.1.1.12.1.1", T::Number, "no prtMarkerLifeCount"},
    {1602, F::Model, "1.3.6.1.4.1.1602.1.1.1.1.0", T::Text, "hrDeviceDescr is missing"},
    {1602, F::SerialNumber, "1.3.6.1.4.1.1602.1.2.1.4.0", T::Text, "prtGeneralSerialNumber is missing"},
    {2001, F::SerialNumber, "1.3.6.1.4.1.2001.1.1.1.1.11.1.10.45.0", T::Text,
     "prtGeneralSerialNumber is missing"},
    {2435, F::SerialNumber, "1.3.6.1.4.1.2435.2.3.9.4.2.1.5.5.1.0", T::Text,
     "prtGeneralSerialNumber is missing"},
    {2435, F::Model, "1.3.6.1.4.1.2435.2.4.3.2435.5.13.3.0", T::Text, "sysDescr names the network card"},
    {2435, F::Model, "1.3.6.1.4.1.2435.2.3.9.1.1.7.0", T::DeviceId, "sysDescr names the network card"},
    {2435, F::TotalPages, "1.3.6.1.4.1.2435.2.3.9.4.2.1.5.5.10.0", T::TagList, "no prtMarkerLifeCount"},
    {10642, F::Model, "1.3.6.1.4.1.10642.1.1.0", T::Text, "sysDescr names the print server"},
    {10642, F::SerialNumber, "1.3.6.1.4.1.10642.1.9.0", T::Text, "prtGeneralSerialNumber is missing"},
    {18334, F::Model, "1.3.6.1.4.1.18334.1.1.1.1.6.2.1.0", T::Text, "hrDeviceDescr names the platform"},
    {0, F::Model, "1.3.6.1.4.1.2699.1.2.1.2.1.1.3.1", T::DeviceId, // PWG 5107.1 ppmPrinterIEEE1284DeviceId
     "hrDeviceDescr is missing"},
    {0, F::Model, "1.3.6.1.4.1.11.2.3.9.1.1.7.0", T::DeviceId, // print servers of many makers have it
     "sysDescr names the print server"},
    {0, F::SerialNumber, "1.3.6.1.4.1.11.2.3.9.1.1.7.0", T::DeviceId, "prtGeneralSerialNumber is missing"},
};

// What the enterprise of an agent's sysObjectID says of the printer.
enum class AgentQuirk : std::uint8_t
{
    NoMaker,         // nothing: it is a general agent's, and all vendor objects are asked for
    PrintServerOnly, // nothing: what the agent calls itself is a print server
};

struct AgentMaker
{
    std::uint32_t enterprise;
    AgentQuirk quirk;
    const char* seen;
};

constexpr AgentMaker agentMakers[] = {
    {171, AgentQuirk::PrintServerOnly, "D-Link DP-301P+"},
    {244, AgentQuirk::PrintServerOnly, "Lantronix EPS2"},
    {343, AgentQuirk::PrintServerOnly, "Intel NetportExpress"},
    {368, AgentQuirk::PrintServerOnly, "Axis 5600+"},
    {683, AgentQuirk::PrintServerOnly, "Extended Systems ExtendNet"},
    {1229, AgentQuirk::PrintServerOnly, "SEH InterCon PS03"},
    {2021, AgentQuirk::NoMaker, "Net-SNMP's predecessor"},
    {3955, AgentQuirk::PrintServerOnly, "Linksys PSUS4"},
    {4526, AgentQuirk::PrintServerOnly, "Netgear PS121"},
    {8072, AgentQuirk::NoMaker, "Net-SNMP"},
};

std::optional<std::uint32_t> enterpriseOf(const std::string& sysObjectId)
{
    const std::string root = "1.3.6.1.4.1.";
    if (sysObjectId.compare(0, root.size(), root) != 0) {
        return std::nullopt;
    }
    return static_cast<std::uint32_t>(std::strtoul(sysObjectId.c_str() + root.size(), nullptr, 10));
}

bool hasQuirk(std::optional<std::uint32_t> enterprise, AgentQuirk quirk)
{
    return enterprise &&
           std::any_of(std::begin(agentMakers), std::end(agentMakers), [&](const AgentMaker& maker) {
               return maker.enterprise == *enterprise && maker.quirk == quirk;
           });
}

} // namespace

bool isOfPrintServerMaker(const std::string& sysObjectId)
{
    return hasQuirk(enterpriseOf(sysObjectId), AgentQuirk::PrintServerOnly);
}

std::vector<const VendorObject*> vendorObjectsFor(const std::string& sysObjectId)
{
    const std::optional<std::uint32_t> enterprise = enterpriseOf(sysObjectId);
    const bool known = enterprise && !hasQuirk(enterprise, AgentQuirk::NoMaker);
    std::vector<const VendorObject*> objects;
    for (const VendorObject& object : vendorObjects) {
        if (!known || object.enterprise == 0 || object.enterprise == *enterprise) {
            objects.push_back(&object);
        }
    }
    return objects;
}

std::optional<std::string> vendorText(const VendorObject& object, const std::string& octets)
{
    std::string text = octets;
    if (object.format == VendorFormat::DeviceId) {
        const device::DeviceId id = device::parseDeviceId(octets);
        text = object.field == VendorField::Model ? device::makeAndModel(id) : id.serialNumber;
    } else if (object.format == VendorFormat::PmlText) {
        text = octets.size() > 2 ? octets.substr(2) : std::string();
    }
    return text.empty() ? std::nullopt : std::optional<std::string>(text);
}

std::optional<std::int64_t> vendorNumber(const std::string& octets)
{
    for (std::size_t at = 0; at + 3 <= octets.size();) {
        const auto tag = static_cast<std::uint8_t>(octets[at]);
        const auto length = static_cast<std::uint8_t>(octets[at + 2]);
        if (tag == 0xFF || length > 8 || octets.size() - at - 3 < length) {
            return std::nullopt;
        }
        if (tag == 0x00 && length > 0 && length < 8) {
            std::int64_t number = 0;
            for (std::size_t i = 0; i < length; ++i) {
                number = (number << 8) | static_cast<std::uint8_t>(octets[at + 3 + i]);
            }
            return number;
        }
        at += 3U + length;
    }
    return std::nullopt;
}

} // namespace tarn::snmp
