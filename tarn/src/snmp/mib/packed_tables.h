#pragma once

#include <string>

#include "tarn/src/snmp/mib/columns.h"
#include "tarn/src/snmp/mib/status.h"

namespace tarn::snmp {

// What was read of one printer, and what vendor objects added.
struct Reading
{
    PrinterTables tables;
    VendorFacts vendor;
};

// PackedTables is a Reading between two reads, packed into one string: ten thousand printers rest for
// all but a few milliseconds of the time, and a Reading is some sixty separate blocks.
// Threading: one thread.
class PackedTables final
{
public:
    void keep(const Reading& reading);
    // What keep() was given last, without columns that were empty; nothing read before that.
    Reading reading() const;
    // The same, into a Reading whose memory is used again.
    void readInto(Reading& reading) const;

private:
    std::string m_bytes;
};

} // namespace tarn::snmp
