// Nothing that an agent says steers whoever shows it.
#include <gtest/gtest.h>

#include <json/reader.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <set>
#include <sstream>

#include "tarn/src/device/rendering.h"
#include "tarn/src/device/utf8.h"
#include "tarn/src/snmp/poll/printer_session.h"
#include "tests/unit/tarn/snmp/fixtures.h"
#include "tests/unit/tarn/support/hostile_text.h"

namespace tarn::snmp {
namespace {

using engine::ReadKind;
using kel::testing::RecordedAgent;
using test::hostileText;
using test::steeringIn;

constexpr const char* kErrorState = "1.3.6.1.2.1.25.3.5.1.2."; // octets, but no text

std::string inHexadecimal(const std::string& octets)
{
    static const char digits[] = "0123456789abcdef";
    std::string out;
    for (const char c : octets) {
        out += digits[static_cast<unsigned char>(c) >> 4];
        out += digits[static_cast<unsigned char>(c) & 15];
    }
    return out;
}

std::string fromHexadecimal(const std::string& digits)
{
    std::string out;
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
        out += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
    }
    return out;
}

enum class Place
{
    Before,
    Behind,
    Instead,
};

// The recording with a hostile text in each of its texts.
RecordedAgent hostileAgent(const std::filesystem::path& recording, Place place)
{
    std::ifstream in(recording);
    std::ostringstream out;
    for (std::string line; std::getline(in, line);) {
        const std::size_t first = line.find('|');
        const std::size_t second = line.find('|', first + 1);
        const std::string tag = first == std::string::npos ? "" : line.substr(first + 1, second - first - 1);
        if ((tag != "4" && tag != "4x") || line.rfind(kErrorState, 0) == 0) {
            out << line << '\n';
            continue;
        }
        const std::string own =
            tag == "4" ? line.substr(second + 1) : fromHexadecimal(line.substr(second + 1));
        const std::string text = place == Place::Before   ? hostileText() + own
                                 : place == Place::Behind ? own + hostileText()
                                                          : hostileText();
        out << line.substr(0, first) << "|4x|" << inHexadecimal(text) << '\n';
    }
    RecordedAgent agent = RecordedAgent::fromRecording(out.str());
    agent.setText("1.3.6.1.2.1.1.6.0", hostileText()); // sysLocation, which few recordings have
    return agent;
}

Json::Value parsed(const std::string& text)
{
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    Json::Value value;
    EXPECT_TRUE(reader->parse(text.data(), text.data() + text.size(), &value, nullptr)) << text;
    return value;
}

TEST(SnmpHostileTexts, SteerNothingInAnyField)
{
    std::set<std::string> reached; // fields that a printer's own text gets into
    for (const auto& entry : std::filesystem::directory_iterator(KEL_SNMP_DATA)) {
        for (const Place place : {Place::Before, Place::Behind, Place::Instead}) {
            RecordedAgent agent = hostileAgent(entry.path(), place);
            PrinterSession session(Version::V2c);
            runRead(session, agent, ReadKind::Identity);
            if (!session.status()) {
                continue;
            }
            const device::DeviceStatus& status = *session.status();
            Json::Value document = parsed(device::detailDocument(status));
            document["message"] = device::stateMessage(status);
            test::forEachText(document, [&](const std::string& field, const std::string& text) {
                EXPECT_EQ(steeringIn(text), "") << entry.path() << ' ' << field << ": " << text;
                if (text.find(test::kHostileWord) != std::string::npos) {
                    reached.insert(field);
                }
            });
            const std::string message = device::stateMessage(status);
            EXPECT_EQ(static_cast<std::size_t>(std::count(message.begin(), message.end(), '-')),
                      status.alerts.size());
        }
    }
    EXPECT_EQ(reached,
              (std::set<std::string>{"alerts.place", "alerts.text", "description", "location", "message",
                                     "model", "serial", "supplies.description", "trays.name"}));
}

TEST(HostileTexts, EachCharacterIsABlank)
{
    for (const std::uint32_t point : test::steeringPoints()) {
        const std::string octets = test::utf8Of(point);
        EXPECT_EQ(device::tidyText("a" + octets + "b"), "a b") << point;
        EXPECT_EQ(device::itemText("a" + octets + "b"), "a b") << point;
        EXPECT_EQ(device::tidyText(octets + "ab" + octets), "ab") << point;
    }
    // Neighbours of theirs are characters like any other.
    for (const std::uint32_t point :
         {0xA1u, 0x061Bu, 0x061Du, 0x200Du, 0x2010u, 0x2027u, 0x202Fu, 0x2065u, 0x206Au, 0xFEFEu}) {
        const std::string octets = test::utf8Of(point);
        EXPECT_EQ(device::tidyText("a" + octets + "b"), "a" + octets + "b") << point;
        EXPECT_EQ(device::itemText("a" + octets + "b"), "a" + octets + "b") << point;
    }
    for (const char* cut : {"a\xE2", "a\xE2\x80", "a\xD8", "a\xC2", "a\xEF\xBB"}) {
        EXPECT_EQ(device::itemText(cut), cut);
    }
}

} // namespace
} // namespace tarn::snmp
