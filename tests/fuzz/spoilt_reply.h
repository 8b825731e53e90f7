#pragma once

#include <algorithm>
#include <cstdint>
#include <string>

#include "tarn/src/snmp/mib/columns.h"
#include "tarn/src/snmp/mib/quirks.h"
#include "tarn/src/snmp/wire/pdu.h"

// What fuzz targets of SNMP share: objects by a number, values and answers that no agent should give.
namespace kel_fuzz {

// The name of an object that is asked for.
inline tarn::snmp::Oid nameOf(std::uint8_t column, std::uint8_t row)
{
    using namespace tarn;
    static const std::vector<const snmp::VendorObject*> vendor = snmp::vendorObjectsFor("");
    if (column >= snmp::kColumnCount) {
        return snmp::oidOf(*vendor[(column - snmp::kColumnCount) % vendor.size()]);
    }
    const auto id = static_cast<snmp::ColumnId>(column);
    snmp::Oid name = snmp::oidOf(id);
    switch (snmp::specOf(id).form) {
    case snmp::IndexForm::Scalar:
        name.push_back(0);
        break;
    case snmp::IndexForm::Device:
    case snmp::IndexForm::PrinterDevice:
        name.push_back(row);
        break;
    case snmp::IndexForm::PrinterRow:
        name.insert(name.end(), {static_cast<std::uint32_t>(row >> 6), static_cast<std::uint32_t>(row & 63)});
        break;
    }
    return name;
}

inline tarn::snmp::Value valueOf(std::uint8_t type, const std::string& octets)
{
    using namespace tarn;
    snmp::Value value;
    value.type = static_cast<snmp::ValueType>(type % 13);
    value.bytes = octets;
    for (std::size_t i = 0; i < std::min<std::size_t>(8, octets.size()); ++i) {
        value.number = (value.number << 8) | static_cast<std::uint8_t>(octets[i]);
    }
    if (type >= 128) {
        value.number = static_cast<std::int64_t>(0 - static_cast<std::uint64_t>(value.number));
    }
    if (value.type == snmp::ValueType::ObjectId) {
        value.oid = snmp::parseOid(octets.c_str());
    }
    return value;
}

inline void spoil(tarn::snmp::Pdu& response, std::uint8_t how)
{
    using namespace tarn;
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

} // namespace kel_fuzz
