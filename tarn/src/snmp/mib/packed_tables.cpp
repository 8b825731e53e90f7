#include "tarn/src/snmp/mib/packed_tables.h"

#include "tarn/src/base/packing.h"

namespace tarn::snmp {

namespace {

void addColumn(Packer& packer, const ColumnData& column)
{
    packer.add(column.rows.size());
    packer.add(column.numbers.size());
    packer.add(column.texts.size());
    std::uint32_t before = 0;
    for (const std::uint32_t row : column.rows) {
        packer.add(std::uint64_t{row - before}); // they ascend
        before = row;
    }
    for (const std::int64_t number : column.numbers) {
        packer.addSigned(number);
    }
    for (const std::string& text : column.texts) {
        packer.add(text);
    }
}

void readColumn(Unpacker& unpacker, ColumnData& column)
{
    column.rows.resize(static_cast<std::size_t>(unpacker.number()));
    column.numbers.resize(static_cast<std::size_t>(unpacker.number()));
    column.texts.resize(static_cast<std::size_t>(unpacker.number()));
    std::uint32_t before = 0;
    for (std::uint32_t& row : column.rows) {
        row = before + static_cast<std::uint32_t>(unpacker.number());
        before = row;
    }
    for (std::int64_t& number : column.numbers) {
        number = unpacker.signedNumber();
    }
    for (std::string& text : column.texts) {
        text = unpacker.view();
    }
}

} // namespace

void PackedTables::keep(const Reading& reading)
{
    Packer packer;
    packer.add(reading.vendor.serialNumber);
    packer.add(reading.vendor.model);
    packer.add(std::uint64_t{reading.vendor.totalPages.has_value()});
    packer.addSigned(reading.vendor.totalPages.value_or(0));
    packer.add(std::uint64_t{reading.tables.touched()});
    for (std::size_t i = 0; i < kColumnCount; ++i) {
        const ColumnData& column = reading.tables[static_cast<ColumnId>(i)];
        if (!column.empty()) {
            packer.add(std::uint64_t{i});
            addColumn(packer, column);
        }
    }
    packer.packInto(m_bytes);
}

Reading PackedTables::reading() const
{
    Reading reading;
    readInto(reading);
    return reading;
}

void PackedTables::readInto(Reading& reading) const
{
    Unpacker unpacker(m_bytes);
    reading.tables.clear();
    reading.vendor.serialNumber = unpacker.view();
    reading.vendor.model = unpacker.view();
    reading.vendor.totalPages.reset();
    const bool counted = unpacker.number() != 0;
    const std::int64_t pages = unpacker.signedNumber();
    if (counted) {
        reading.vendor.totalPages = pages;
    }
    reading.tables.reserve(static_cast<std::size_t>(unpacker.number()));
    while (!unpacker.atEnd()) {
        const auto id = static_cast<ColumnId>(unpacker.number());
        readColumn(unpacker, reading.tables[id]);
    }
}

} // namespace tarn::snmp
