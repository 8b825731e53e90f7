// Nothing that an IPP printer says steers whoever shows it.
#include <gtest/gtest.h>

#include <json/reader.h>

#include <memory>
#include <set>

#include "tarn/src/device/rendering.h"
#include "tarn/src/ipp/ipp_status.h"
#include "tests/unit/tarn/ipp/attributes_text.h"
#include "tests/unit/tarn/support/hostile_text.h"

namespace tarn::ipp {
namespace {

using test::attributesFrom;

constexpr const char* kPrinters[] = {
    R"(printer-state = 5
       printer-make-and-model = Acme Jet
       printer-info = a printer
       printer-location = hall
       printer-device-id = "MFG:Acme;MDL:Jet;SN:A1;DES:A jet;"
       printer-state-reasons = media-jam-error | acme-odd-report-warning
       printer-state-message = out of sorts
       printer-alert = code=jam;severity=critical;group=input;location=1 | code=other;severity=warning
       printer-alert-description = jammed | odd
       printer-supply = type=tonerCartridge;maxcapacity=100;level=80;colorantname=black; | type=ink;level=7;colorantname=gold
       printer-supply-description = Black Toner | Gold Ink
       printer-input-tray = type=sheetFeedAutoRemovableTray;maxcapacity=250;level=125;status=0;name=Tray 1;unit=sheets;
       printer-serial-number = S1
       printer-uuid = urn:uuid:u)",
    R"(printer-state = 3
       printer-name = queue
       printer-device-id = "MFG:Acme;MDL:Jet;SN:A1;DES:A jet;"
       marker-names = Black|Gold
       marker-types = toner|toner
       marker-colors = #000000|#123456
       marker-levels = 5|7)",
};

Json::Value parsed(const std::string& text)
{
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    Json::Value value;
    EXPECT_TRUE(reader->parse(text.data(), text.data() + text.size(), &value, nullptr)) << text;
    return value;
}

// The attributes with a hostile text in each text; of KeyedText in each value, too.
IppAttributes hostile(const IppAttributes& own, unsigned kind)
{
    const std::string text = tarn::test::hostileText();
    IppAttributes out;
    for (const char* const name : kWantedAttributes) {
        for (IppValue value : own.values(name)) {
            if (!value.text.empty()) {
                switch (kind) {
                case 0:
                    value.text += text;
                    break;
                case 1:
                    value.text = text + value.text;
                    break;
                case 2:
                    value.text = text;
                    break;
                default:
                    for (std::size_t at = 0;
                         (at = value.text.find_first_of(";:", at)) != std::string::npos;) {
                        const std::size_t before = value.text[at] == ';' ? at : at + 1;
                        value.text.insert(before, text);
                        at = before + text.size() + (before == at ? 1 : 0);
                    }
                }
            }
            out.add(name, value);
        }
    }
    return out;
}

TEST(IppHostileTexts, SteerNothingInAnyField)
{
    std::set<std::string> reached; // fields that a printer's own text gets into
    for (const char* const printer : kPrinters) {
        for (unsigned kind = 0; kind < 4; ++kind) {
            const device::DeviceStatus status = buildStatus(hostile(attributesFrom(printer), kind));
            Json::Value document = parsed(device::detailDocument(status));
            document["message"] = device::stateMessage(status);
            tarn::test::forEachText(document, [&](const std::string& field, const std::string& text) {
                EXPECT_EQ(tarn::test::steeringIn(text), "") << field << ": " << text;
                if (text.find(tarn::test::kHostileWord) != std::string::npos) {
                    reached.insert(field);
                }
            });
        }
    }
    EXPECT_EQ(reached, (std::set<std::string>{"alerts.text", "description", "location", "message", "model",
                                              "serial", "supplies.description", "trays.name", "trays.unit"}));
}

} // namespace
} // namespace tarn::ipp
