#include "tarn/src/device/packed_status.h"

#include <functional>

#include "tarn/src/base/packing.h"
#include "tarn/src/device/supply_types.h"

namespace tarn::device {

namespace {

template <typename Enum>
void addEnum(Packer& packer, Enum value)
{
    packer.add(static_cast<std::uint64_t>(value));
}

template <typename Enum>
void read(Unpacker& unpacker, Enum& value)
{
    value = static_cast<Enum>(unpacker.number());
}

void addBits(Packer& packer, std::initializer_list<bool> bits)
{
    std::uint64_t word = 0;
    unsigned place = 0;
    for (const bool bit : bits) {
        word |= std::uint64_t{bit} << place++;
    }
    packer.add(word);
}

void readBits(Unpacker& unpacker, std::initializer_list<bool*> bits)
{
    const std::uint64_t word = unpacker.number();
    unsigned place = 0;
    for (bool* const bit : bits) {
        *bit = ((word >> place++) & 1) != 0;
    }
}

// A type of the standard's list is kept by its number, any other as its text behind a 0.
void addType(Packer& packer, const std::string& keyword)
{
    const SupplyType* const known = findSupplyType(std::string_view(keyword));
    packer.add(known != nullptr ? static_cast<std::uint64_t>(known->type) : 0);
    if (known == nullptr) {
        packer.add(keyword);
    }
}

void readType(Unpacker& unpacker, std::string& keyword)
{
    const std::uint64_t number = unpacker.number();
    if (number == 0) {
        keyword = unpacker.view();
    } else {
        keyword = findSupplyType(static_cast<std::int64_t>(number))->keyword;
    }
}

void add(Packer& packer, const Supply& s)
{
    addEnum(packer, s.kind);
    addEnum(packer, s.color);
    addBits(packer, {s.receptacle});
    addType(packer, s.type);
    packer.add(s.colorText);
    packer.add(s.description);
    addEnum(packer, s.levelKind);
    packer.addSigned(s.percent);
}

void read(Unpacker& unpacker, Supply& s)
{
    read(unpacker, s.kind);
    read(unpacker, s.color);
    readBits(unpacker, {&s.receptacle});
    readType(unpacker, s.type);
    s.colorText = unpacker.view();
    s.description = unpacker.view();
    read(unpacker, s.levelKind);
    s.percent = static_cast<int>(unpacker.signedNumber());
}

void add(Packer& packer, const Tray& t)
{
    packer.add(t.name);
    addEnum(packer, t.levelKind);
    packer.addSigned(t.percent);
    packer.addSigned(t.level);
    packer.addSigned(t.capacity);
    packer.add(t.unit);
    addBits(packer, {t.available, t.empty});
}

void read(Unpacker& unpacker, Tray& t)
{
    t.name = unpacker.view();
    read(unpacker, t.levelKind);
    t.percent = static_cast<int>(unpacker.signedNumber());
    t.level = unpacker.signedNumber();
    t.capacity = unpacker.signedNumber();
    t.unit = unpacker.view();
    readBits(unpacker, {&t.available, &t.empty});
}

void add(Packer& packer, const Alert& a)
{
    packer.addSigned(a.code);
    packer.add(a.keyword);
    packer.add(a.text);
    addEnum(packer, a.severity);
    packer.add(a.place);
}

void read(Unpacker& unpacker, Alert& a)
{
    a.code = static_cast<int>(unpacker.signedNumber());
    a.keyword = unpacker.view();
    a.text = unpacker.view();
    read(unpacker, a.severity);
    a.place = unpacker.view();
}

template <typename T>
void add(Packer& packer, const std::vector<T>& items)
{
    packer.add(std::uint64_t{items.size()});
    for (const T& item : items) {
        add(packer, item);
    }
}

template <typename T>
void read(Unpacker& unpacker, std::vector<T>& items)
{
    items.resize(static_cast<std::size_t>(unpacker.number()));
    for (T& item : items) {
        read(unpacker, item);
    }
}

} // namespace

PackedStatus::PackedStatus(const DeviceStatus& d)
{
    Packer packer;
    packer.add(d.model);
    packer.add(d.serialNumber);
    packer.add(d.description);
    packer.add(d.location);
    addEnum(packer, d.activity);
    addBits(packer, {d.powerSave, d.needsAttention, d.paperLow, d.paperOut, d.tonerLow, d.tonerOut,
                     d.totalPages.has_value()});
    packer.addSigned(d.totalPages.value_or(0));
    add(packer, d.supplies);
    add(packer, d.trays);
    add(packer, d.alerts);
    m_bytes = packer.packed();
}

DeviceStatus PackedStatus::unpacked() const
{
    DeviceStatus d;
    unpackInto(d);
    return d;
}

void PackedStatus::unpackInto(DeviceStatus& d) const
{
    Unpacker unpacker(m_bytes);
    d.model = unpacker.view();
    d.serialNumber = unpacker.view();
    d.description = unpacker.view();
    d.location = unpacker.view();
    read(unpacker, d.activity);
    bool counted = false;
    readBits(unpacker,
             {&d.powerSave, &d.needsAttention, &d.paperLow, &d.paperOut, &d.tonerLow, &d.tonerOut, &counted});
    const std::int64_t pages = unpacker.signedNumber();
    d.totalPages = counted ? std::optional(pages) : std::nullopt;
    read(unpacker, d.supplies);
    read(unpacker, d.trays);
    read(unpacker, d.alerts);
}

std::uint64_t PackedStatus::digest() const
{
    return std::hash<std::string>()(m_bytes);
}

} // namespace tarn::device
