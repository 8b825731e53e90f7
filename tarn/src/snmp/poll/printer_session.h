#pragma once

#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "tarn/src/snmp/mib/columns.h"
#include "tarn/src/snmp/mib/packed_tables.h"
#include "tarn/src/snmp/mib/printer_index.h"
#include "tarn/src/snmp/mib/quirks.h"
#include "tarn/src/snmp/mib/status.h"
#include "tarn/src/snmp/poll/readers.h"
#include "tarn/src/snmp/poll/request_sizing.h"
#include "tarn/src/snmp/poll/session.h"

namespace tarn::snmp {

// PrinterSession asks a printer for what HOST-RESOURCES-MIB and Printer-MIB say of it, and for what its
// maker's objects add.
//
// Invariants
//  (1) Fast compares numbers; the status is built again only when one of them moved.
//  (2) m_read is null exactly in Stage::Idle.
// An Identity or Full that finds no printer objects where there were some before (an agent that still starts)
// keeps the status and ends Unusable. begin(Full) and begin(Fast) before the first Identity do Identity.
// Threading: one thread (the engine's).
class PrinterSession final : public Session
{
public:
    explicit PrinterSession(Version version) : m_sizing(version) {}

    void begin(engine::ReadKind kind) override;
    std::optional<Pdu> nextRequest() override;
    void accept(const Pdu& response) override;
    bool onTimeout(unsigned misses) override { return m_stage != Stage::Idle && m_sizing.unanswered(misses); }
    bool asksTheSame() const override { return m_oneFast; }
    bool acceptReplay(const MessageHead& message, const device::PackedStatus& published) override;
    engine::ReadOutcome outcome() const override { return m_outcome; }
    std::shared_ptr<const device::DeviceStatus> status() const override;
    void rest() override;

private:
    enum class Stage : std::uint8_t
    {
        Idle,
        System,      // GET of the system group: small, and every agent has it
        Find,        // first rows of the tables, which tell the printer's indexes
        DeviceTypes, // only where those do not tell it
        Tables,
        Charset,
        Vendor,
        Fast,
    };

    // The read under way.
    struct Read
    {
        int answers = 0;
        std::optional<ObjectReader> objects;
        std::optional<ColumnReader> columns;
        std::vector<const VendorObject*> vendorObjects;
        PrinterIndex index;
        Reading before; // what the last whole read left
        Reading now;
    };

    void enter(Stage stage);
    void leave();
    void finishSystem();
    void finishFind();
    void finishDeviceTypes();
    void finishTables();
    void finishCharset();
    void finishVendor();
    void finishFast();
    void publish(const Reading& reading);
    void refresh(const Reading& reading, const device::PackedStatus& published,
                 std::shared_ptr<device::DeviceStatus>& status);
    void end(engine::ReadOutcome outcome);
    void beginSystem();
    void beginFind();
    void beginDeviceTypes();
    void beginTables();
    void beginCharset();
    void beginVendor();
    void beginFast();
    void addFind(ColumnId id, std::uint16_t maxRows);
    void addInstance(ColumnId id);
    void addRows(ColumnId id, int group, bool askExpected);
    const PrinterTables& known() const { return m_read->before.tables; }
    bool lacksColumn(ColumnId id) const;

    // What is small lies together: there are ten thousand of these.
    RequestSizing m_sizing;
    RequestLimits m_fastLimits; // of the last Fast read, while m_oneFast
    std::uint8_t m_fulls = 0;   // since all was asked
    bool m_askAll = true;       // also what the device did not have
    bool m_oneFast = false;     // the last Fast read took one request, and the next would ask the same
    engine::ReadKind m_kind = engine::ReadKind::Identity;
    Stage m_stage = Stage::Idle;
    engine::ReadOutcome m_outcome = engine::ReadOutcome::Unusable;
    std::optional<PrinterIndex> m_index; // what the last whole read left, as the members below
    std::unique_ptr<Read> m_read;

    PackedTables m_kept;
    std::optional<std::uint64_t> m_statusDigest;          // nothing: no status yet
    std::shared_ptr<const device::DeviceStatus> m_status; // until rest()
};

} // namespace tarn::snmp
