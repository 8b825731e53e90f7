#include "tarn/src/usb/usb_inventory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

#include "tarn/src/usb/inventory_thread.h"
#include "tests/unit/tarn/support/simulated_time.h"
#include "tests/unit/tarn/usb/scripted_bus.h"

namespace tarn::usb {
namespace {

using test::said;
using test::ScriptedBus;
using test::ScriptedPorts;

class UsbInventoryTest : public testing::Test
{
protected:
    void lookAndIdentify()
    {
        m_inventory.look(m_bus);
        while (m_inventory.identifyNext(m_bus)) {
        }
    }
    // Null when there is none of that name.
    const Sighting* find(const std::string& name)
    {
        m_seen = m_inventory.sightings();
        const auto found = std::find_if(m_seen.begin(), m_seen.end(),
                                        [&name](const Sighting& sighting) { return sighting.name == name; });
        return found != m_seen.end() ? &*found : nullptr;
    }
    void pass(Milliseconds time) { m_clock.set(m_clock.now() + time); }
    void ask(const std::string& name) { m_inventory.ask(m_bus, find(name)->key); }

    tarn::test::SimulatedClock m_clock;
    ScriptedPorts m_ports;
    ScriptedBus m_bus{m_ports};
    UsbInventory m_inventory{m_clock, "/missing"};
    std::vector<Sighting> m_seen;
};

const std::string kId = "MFG:Acme;MDL:Jet;SN:A1;";

TEST_F(UsbInventoryTest, PrinterIsIdentifiedByItsDeviceId)
{
    m_ports.plug("1-2", {said(kId), said("\x18")});
    lookAndIdentify();
    const Sighting* seen = find("Acme Jet A1");
    ASSERT_NE(seen, nullptr);
    EXPECT_EQ(seen->status.activity, device::Activity::Idle);
    EXPECT_EQ(seen->lastSeen, m_clock.now());
}

TEST_F(UsbInventoryTest, SystemsCopyOfTheIdSpeaksForADeviceThatCannotBeOpened)
{
    UsbDevice device;
    device.systemId = kId;
    device.productText = "other";
    m_ports.plug("1-2", {{Outcome::Denied, {}}, {Outcome::Denied, {}}}, device);
    lookAndIdentify();
    const Sighting* seen = find("Acme Jet A1");
    ASSERT_NE(seen, nullptr);
    EXPECT_EQ(seen->status.activity, device::Activity::Unknown);
    EXPECT_EQ(m_inventory.deniedNode(), "/dev/bus/usb/001/002");
}

TEST_F(UsbInventoryTest, StringsSpeakForADeviceWhoseIdIsGarbage)
{
    UsbDevice device;
    device.manufacturerText = "Acme";
    device.productText = "Jet 7";
    for (const std::string& garbage :
         {std::string(), std::string("\xFF\x00\x12;;:", 6), std::string(4096, 'x')}) {
        m_ports.plug("1-2", {said(garbage), said("\x18")}, device);
        lookAndIdentify();
        EXPECT_NE(find("Acme Jet 7"), nullptr) << garbage.size();
    }
}

TEST_F(UsbInventoryTest, UnpluggedIsGoneAndPluggedInAgainHasTheSameName)
{
    m_ports.plug("1-2", {said(kId), said("\x18")});
    lookAndIdentify();
    const std::string key = find("Acme Jet A1")->key;
    m_ports.unplug("1-2");
    EXPECT_TRUE(m_inventory.look(m_bus));
    EXPECT_TRUE(m_inventory.sightings().empty());
    m_ports.plug("1-4", {said(kId), said("\x18")});
    lookAndIdentify();
    ASSERT_NE(find("Acme Jet A1"), nullptr);
    EXPECT_NE(find("Acme Jet A1")->key, key);
}

TEST_F(UsbInventoryTest, PulledOutAndPluggedInBetweenTwoLooksIsANewOne)
{
    m_ports.plug("1-2", {said(kId), said("\x18")});
    lookAndIdentify();
    const std::string key = find("Acme Jet A1")->key;
    m_ports.plug("1-2", {said(kId), said("\x18")});
    lookAndIdentify();
    ASSERT_EQ(m_inventory.sightings().size(), 1u);
    ASSERT_NE(find("Acme Jet A1"), nullptr);
    EXPECT_NE(find("Acme Jet A1")->key, key);
}

TEST_F(UsbInventoryTest, TwinsAreCountedInTheOrderOfTheirSockets)
{
    for (const char* path : {"1-10", "1-2", "1-2.1"}) {
        UsbDevice device;
        device.productText = path;
        m_ports.plug(path, {said("MFG:Acme;MDL:Jet;"), said("\x18")}, device);
    }
    lookAndIdentify();
    EXPECT_EQ(find("Acme Jet")->device.path, "1-2");
    EXPECT_EQ(find("Acme Jet #2")->device.path, "1-2.1");
    EXPECT_EQ(find("Acme Jet #3")->device.path, "1-10");
}

TEST_F(UsbInventoryTest, StatusIsFollowed)
{
    m_ports.plug("1-2", {said(kId), said("\x18")});
    lookAndIdentify();
    pass(Milliseconds(2000));
    m_ports.behave("1-2", {said(kId), said("\x30")});
    ask("Acme Jet A1");
    EXPECT_TRUE(find("Acme Jet A1")->status.paperOut);
    EXPECT_EQ(find("Acme Jet A1")->lastSeen, m_clock.now());
    EXPECT_EQ(m_ports.asked("1-2", Question::DeviceId), 1u) << "an ID without status keys is read once";
}

TEST_F(UsbInventoryTest, IdWithStatusKeysIsReadAgain)
{
    m_ports.plug("1-2", {said("MFG:Acme;MDL:D;VSTATUS:a,IDLE;"), {Outcome::Busy, {}}});
    lookAndIdentify();
    EXPECT_EQ(find("Acme D")->status.activity, device::Activity::Idle);
    m_ports.behave("1-2", {said("MFG:Acme;MDL:D;VSTATUS:a,PRNT;"), {Outcome::Busy, {}}});
    ask("Acme D");
    EXPECT_EQ(find("Acme D")->status.activity, device::Activity::Printing);
}

TEST_F(UsbInventoryTest, StatusThatIsNoLongerToBeHadIsForgotten)
{
    m_ports.plug("1-2", {said(kId), said("\x30")});
    lookAndIdentify();
    EXPECT_TRUE(find("Acme Jet A1")->status.paperOut);
    m_ports.behave("1-2", {said(kId), {Outcome::Busy, {}}});
    ask("Acme Jet A1");
    EXPECT_FALSE(find("Acme Jet A1")->status.paperOut);
    EXPECT_EQ(find("Acme Jet A1")->status.activity, device::Activity::Unknown);
}

TEST_F(UsbInventoryTest, WhoRefusesIsAskedMoreAndMoreRarely)
{
    m_ports.plug("1-2", {said(kId), {Outcome::Stalled, {}}});
    lookAndIdentify();
    for (int second = 0; second < 600; ++second) {
        pass(Milliseconds(1000));
        ask("Acme Jet A1");
    }
    // After 2, 4, 8, 16, 32, then each 60 s: 5 within the first 62 s, 8 or 9 in the remaining 538.
    EXPECT_GE(m_ports.asked("1-2", Question::PortStatus), 13u);
    EXPECT_LE(m_ports.asked("1-2", Question::PortStatus), 16u);
    EXPECT_EQ(find("Acme Jet A1")->lastSeen, m_clock.now()) << "it is there";
}

TEST_F(UsbInventoryTest, WhoAnswersAgainIsAskedAsBefore)
{
    m_ports.plug("1-2", {said(kId), {Outcome::Stalled, {}}});
    lookAndIdentify();
    m_ports.behave("1-2", {said(kId), said("\x18")});
    pass(UsbInventory::kShortestPause);
    ask("Acme Jet A1");
    EXPECT_EQ(find("Acme Jet A1")->status.activity, device::Activity::Idle);
    const unsigned before = m_ports.asked("1-2", Question::PortStatus);
    ask("Acme Jet A1");
    EXPECT_EQ(m_ports.asked("1-2", Question::PortStatus), before + 1);
}

TEST_F(UsbInventoryTest, SilentDeviceIsListedAgesAndCostsOneQuestion)
{
    UsbDevice device;
    device.productText = "Quiet";
    m_ports.plug("1-2", {{Outcome::Silent, {}}, {Outcome::Silent, {}}}, device);
    const TimePoint plugged = m_clock.now();
    lookAndIdentify();
    pass(UsbInventory::kShortestPause);
    ask("Quiet");
    EXPECT_EQ(find("Quiet")->lastSeen, plugged);
    EXPECT_EQ(m_ports.asked("1-2", Question::DeviceId), 2u);
    EXPECT_EQ(m_ports.asked("1-2", Question::PortStatus), 0u);
}

TEST_F(UsbInventoryTest, LateIdGivesTheIdentityAndTheNameOfAllLaterTimes)
{
    UsbDevice device;
    device.productText = "Quiet";
    m_ports.plug("1-2", {{Outcome::Silent, {}}, {Outcome::Silent, {}}}, device);
    lookAndIdentify();
    m_ports.behave("1-2", {said(kId), said("\x18")});
    pass(UsbInventory::kShortestPause);
    ask("Quiet");
    EXPECT_EQ(find("Quiet"), nullptr);
    ASSERT_NE(find("Acme Jet A1"), nullptr);
    EXPECT_EQ(find("Acme Jet A1")->identity.model, "Jet");
    EXPECT_EQ(find("Acme Jet A1")->status.serialNumber, "A1");
    m_ports.unplug("1-2");
    lookAndIdentify();
    m_ports.plug("1-2", {said(kId), said("\x18")}, device);
    lookAndIdentify();
    EXPECT_EQ(m_inventory.sightings().size(), 1u);
    EXPECT_NE(find("Acme Jet A1"), nullptr);
}

TEST(UsbInventoryThreadTest, ThreadThatWasNeverToldToLookEnds)
{
    const tarn::test::SimulatedClock clock;
    ScriptedPorts ports;
    InventoryThread thread(
        clock, [&](std::string& /*why*/) { return std::make_unique<ScriptedBus>(ports); }, "/missing");
    ASSERT_TRUE(thread.start());
    std::this_thread::sleep_for(std::chrono::milliseconds(50)); // by now it waits for an order, as a rule
}

} // namespace
} // namespace tarn::usb
