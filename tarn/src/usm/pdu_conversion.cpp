#include "tarn/src/usm/pdu_conversion.h"

#include <vector>

namespace tarn::usm {

using snmp::Value;
using snmp::ValueType;

namespace {

std::vector<oid> wideOid(const snmp::Oid& narrow)
{
    return {narrow.begin(), narrow.end()};
}

snmp::Oid narrowOid(const oid* wide, std::size_t length)
{
    snmp::Oid narrow;
    narrow.reserve(length);
    for (std::size_t i = 0; i < length; ++i) {
        narrow.push_back(static_cast<std::uint32_t>(wide[i]));
    }
    return narrow;
}

u_char tagOf(ValueType type)
{
    switch (type) {
    case ValueType::Integer:
        return ASN_INTEGER;
    case ValueType::OctetString:
        return ASN_OCTET_STR;
    case ValueType::Null:
        return ASN_NULL;
    case ValueType::ObjectId:
        return ASN_OBJECT_ID;
    case ValueType::IpAddress:
        return ASN_IPADDRESS;
    case ValueType::Counter32:
        return ASN_COUNTER;
    case ValueType::Gauge32:
        return ASN_GAUGE;
    case ValueType::TimeTicks:
        return ASN_TIMETICKS;
    case ValueType::Opaque:
        return ASN_OPAQUE;
    case ValueType::Counter64:
        return ASN_COUNTER64;
    case ValueType::NoSuchObject:
        return SNMP_NOSUCHOBJECT;
    case ValueType::NoSuchInstance:
        return SNMP_NOSUCHINSTANCE;
    case ValueType::EndOfMibView:
        return SNMP_ENDOFMIBVIEW;
    }
    return ASN_NULL;
}

bool addVariable(const NetSnmpLibrary& library, netsnmp_pdu* pdu, const snmp::Varbind& varbind)
{
    const std::vector<oid> name = wideOid(varbind.name);
    const Value& value = varbind.value;
    const auto add = [&](const void* data, std::size_t size) {
        return library.addVariable(pdu, name.data(), name.size(), tagOf(value.type), data, size) != nullptr;
    };
    switch (value.type) {
    case ValueType::Integer:
    case ValueType::Counter32:
    case ValueType::Gauge32:
    case ValueType::TimeTicks: {
        const long number = static_cast<long>(value.number);
        return add(&number, sizeof number);
    }
    case ValueType::Counter64: {
        const auto bits = static_cast<std::uint64_t>(value.number);
        const counter64 number{static_cast<u_long>(bits >> 32), static_cast<u_long>(bits & 0xFFFFFFFF)};
        return add(&number, sizeof number);
    }
    case ValueType::OctetString:
    case ValueType::IpAddress:
    case ValueType::Opaque:
        return add(value.bytes.data(), value.bytes.size());
    case ValueType::ObjectId: {
        const std::vector<oid> wide = wideOid(value.oid);
        return add(wide.data(), wide.size() * sizeof(oid));
    }
    case ValueType::Null:
    case ValueType::NoSuchObject:
    case ValueType::NoSuchInstance:
    case ValueType::EndOfMibView:
        return add(nullptr, 0);
    }
    return false;
}

Value numberValue(ValueType type, const netsnmp_variable_list& variable)
{
    Value value;
    value.type = type;
    if (variable.val.integer != nullptr) {
        // Net-SNMP keeps the 32 bits of an unsigned number in a long, as an agent may have sent them signed.
        value.number = type == ValueType::Integer ? *variable.val.integer
                                                  : static_cast<std::uint32_t>(*variable.val.integer);
    }
    return value;
}

Value bytesValue(ValueType type, const netsnmp_variable_list& variable)
{
    Value value;
    value.type = type;
    if (variable.val.string != nullptr) {
        value.bytes.assign(reinterpret_cast<const char*>(variable.val.string), variable.val_len);
    }
    return value;
}

Value bareValue(ValueType type)
{
    Value value;
    value.type = type;
    return value;
}

Value valueOf(const netsnmp_variable_list& variable)
{
    switch (variable.type) {
    case ASN_INTEGER:
        return numberValue(ValueType::Integer, variable);
    case ASN_COUNTER:
        return numberValue(ValueType::Counter32, variable);
    case ASN_GAUGE: // and Unsigned32
        return numberValue(ValueType::Gauge32, variable);
    case ASN_TIMETICKS:
        return numberValue(ValueType::TimeTicks, variable);
    case ASN_OCTET_STR:
        return bytesValue(ValueType::OctetString, variable);
    case ASN_IPADDRESS:
        return bytesValue(ValueType::IpAddress, variable);
    case ASN_OPAQUE:
        return bytesValue(ValueType::Opaque, variable);
    case ASN_OBJECT_ID: {
        Value value = bareValue(ValueType::ObjectId);
        if (variable.val.objid != nullptr) {
            value.oid = narrowOid(variable.val.objid, variable.val_len / sizeof(oid));
        }
        return value;
    }
    case ASN_COUNTER64: {
        Value value = bareValue(ValueType::Counter64);
        if (variable.val.counter64 != nullptr) {
            value.number =
                static_cast<std::int64_t>(std::uint64_t{variable.val.counter64->high} << 32 |
                                          (std::uint64_t{variable.val.counter64->low} & 0xFFFFFFFF));
        }
        return value;
    }
    case SNMP_NOSUCHOBJECT:
        return bareValue(ValueType::NoSuchObject);
    case SNMP_NOSUCHINSTANCE:
        return bareValue(ValueType::NoSuchInstance);
    case SNMP_ENDOFMIBVIEW:
        return bareValue(ValueType::EndOfMibView);
    default:
        return {};
    }
}

} // namespace

OwnedPdu toNetSnmp(const NetSnmpLibrary& library, const snmp::Pdu& pdu)
{
    OwnedPdu out(library.createPdu(static_cast<int>(pdu.type)), library.freePdu);
    if (!out) {
        return out;
    }
    out->version = SNMP_VERSION_3;
    out->reqid = pdu.requestId;
    out->errstat = pdu.errorStatus;
    out->errindex = pdu.errorIndex;
    for (const snmp::Varbind& varbind : pdu.varbinds) {
        if (!addVariable(library, out.get(), varbind)) {
            out.reset();
            break;
        }
    }
    return out;
}

snmp::Pdu fromNetSnmp(const netsnmp_pdu& pdu, std::size_t maxBindings)
{
    snmp::Pdu out;
    out.type = static_cast<snmp::PduType>(pdu.command);
    out.requestId = static_cast<std::int32_t>(pdu.reqid);
    out.errorStatus = static_cast<std::int32_t>(pdu.errstat);
    out.errorIndex = static_cast<std::int32_t>(pdu.errindex);
    for (const netsnmp_variable_list* variable = pdu.variables;
         variable != nullptr && out.varbinds.size() < maxBindings; variable = variable->next_variable) {
        out.varbinds.push_back({narrowOid(variable->name, variable->name_length), valueOf(*variable)});
    }
    return out;
}

} // namespace tarn::usm
