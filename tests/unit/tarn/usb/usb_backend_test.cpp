#include "tests/unit/tarn/usb/usb_backend_fixture.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <new>

#include "tarn/src/usb/libusb_bus.h"
#include "tests/support/open_descriptors.h"
#include "tests/unit/tarn/support/hostile_text.h"
#include "tests/unit/tarn/support/no_descriptors.h"
#include "tests/unit/tarn/support/no_threads.h"

namespace tarn::usb {
namespace {

using engine::DiscoveredPrinter;
using engine::Discovery;
using engine::Source;
using kel_test::eventually;
using test::kId;
using test::said;
using test::ScriptedPorts;
using test::UsbBackendTest;

TEST_F(UsbBackendTest, NothingIsOpenedBeforeSomebodyWantsToKnow)
{
    m_backend->run();
    m_backend->networkChanged();
    m_backend->discover(Discovery::Cups, true);
    EXPECT_EQ(m_backend->descriptor(), -1);
    EXPECT_EQ(m_backend->nextDeadline(), kNever);
    EXPECT_EQ(m_ports.opened(), 0u);
}

TEST_F(UsbBackendTest, PrinterIsListedWithWhatItSays)
{
    m_ports.plug("1-2", {said(kId), said("\x30")});
    m_backend->discover(Discovery::Usb, true);
    ASSERT_TRUE(awaitRoster(1));
    const DiscoveredPrinter& printer = m_listener.roster[0];
    EXPECT_EQ(printer.name, "Acme Jet A1");
    EXPECT_EQ(printer.manufacturer, "Acme");
    EXPECT_EQ(printer.model, "Jet");
    EXPECT_EQ(printer.description, "A jet");
    EXPECT_EQ(printer.uuid, "u");
    EXPECT_EQ(printer.ip, "");
    EXPECT_TRUE(printer.isUsb);
    const auto snapshot = printer.target->snapshot();
    EXPECT_TRUE(snapshot->online);
    EXPECT_EQ(snapshot->source, Source::Usb);
    EXPECT_EQ(snapshot->serialNumber, "A1");
    EXPECT_EQ(snapshot->stateMessage, "需要处理-缺纸");
    EXPECT_TRUE(printer.target->isMet());
    EXPECT_EQ(printer.target->lastAnswer(), m_clock.now());
}

TEST_F(UsbBackendTest, TextsOfADeviceSteerNothing)
{
    using tarn::test::steeringIn;
    std::string text = tarn::test::hostileText();
    const std::string id = "MFG:Acme" + text + ";MDL:Jet" + text + ";SN:A1" + text + ";DES:A jet" + text +
                           ";UUID:u" + text + ";";
    m_ports.plug("1-2", {said(id), said("\x30")});
    UsbDevice silent; // known by what the kernel's driver read
    silent.systemId = id;
    m_ports.plug("1-3", {{Outcome::Silent, {}}, {Outcome::Silent, {}}}, silent);
    m_backend->discover(Discovery::Usb, true);
    ASSERT_TRUE(awaitRoster(2));
    for (const DiscoveredPrinter& printer : m_listener.roster) {
        const auto snapshot = printer.target->snapshot();
        unsigned own = 0;
        for (const std::string& shown :
             {printer.name, printer.manufacturer, printer.model, printer.description, printer.uuid,
              snapshot->serialNumber, snapshot->stateMessage}) {
            EXPECT_EQ(steeringIn(shown), "") << shown;
            own += shown.find(tarn::test::kHostileWord) != std::string::npos ? 1 : 0;
        }
        EXPECT_EQ(own, 6u); // all but the message
    }
}

TEST_F(UsbBackendTest, DescriptorTellsThatThereIsSomethingToTake)
{
    m_ports.plug("1-2", {said(kId), said("\x18")});
    m_backend->discover(Discovery::Usb, true);
    pollfd ready{m_backend->descriptor(), POLLIN, 0};
    ASSERT_EQ(::poll(&ready, 1, 60000), 1);
    m_backend->run();
    EXPECT_EQ(m_listener.roster.size(), 1u);
    EXPECT_EQ(::poll(&ready, 1, 0), 0);
}

TEST_F(UsbBackendTest, ListIsInTheOrderOfTheNames)
{
    m_ports.plug("1-1", {said("MFG:Z;MDL:1;"), said("\x18")});
    m_ports.plug("1-2", {said("MFG:A;MDL:1;"), said("\x18")});
    m_ports.plug("1-3", {said("MFG:M;MDL:1;"), said("\x18")});
    m_backend->discover(Discovery::Usb, true);
    ASSERT_TRUE(awaitRoster(3));
    EXPECT_EQ(m_listener.roster[0].name, "A 1");
    EXPECT_EQ(m_listener.roster[2].name, "Z 1");
}

TEST_F(UsbBackendTest, UnpluggedPrinterLeavesTheListAndItsTargetAlone)
{
    m_ports.plug("1-2", {said(kId), said("\x18")});
    m_backend->discover(Discovery::Usb, true);
    ASSERT_TRUE(awaitRoster(1));
    const std::shared_ptr<engine::Target> target = m_listener.roster[0].target;
    const auto before = target->snapshot();
    m_ports.unplug("1-2");
    ASSERT_TRUE(awaitRoster(0));
    EXPECT_EQ(target->snapshot(), before);
    EXPECT_EQ(target.use_count(), 1);
    EXPECT_EQ(m_backend->nextDeadline(), kNever);
    m_ports.plug("1-4", {said(kId), said("\x18")});
    ASSERT_TRUE(awaitRoster(1));
    EXPECT_EQ(m_listener.roster[0].name, "Acme Jet A1");
    EXPECT_NE(m_listener.roster[0].target, target);
}

TEST_F(UsbBackendTest, StatusIsAskedEveryTwoSecondsWhileOpened)
{
    m_ports.plug("1-2", {said(kId), said("\x18")});
    m_backend->discover(Discovery::Usb, true);
    ASSERT_TRUE(awaitRoster(1));
    EXPECT_EQ(m_backend->nextDeadline(), m_clock.now() + UsbBackend::kInterval);
    const unsigned first = m_ports.asked("1-2", Question::PortStatus);
    m_ports.behave("1-2", {said(kId), said("\x10")});
    m_clock.pass(UsbBackend::kInterval);
    open(0);
    ASSERT_TRUE(runUntil([&] { return m_listener.changes == 1; }));
    EXPECT_EQ(m_ports.asked("1-2", Question::PortStatus), first + 1);
    EXPECT_EQ(m_listener.roster[0].target->snapshot()->stateMessage, "需要处理-打印机报告错误");
    EXPECT_EQ(m_listener.roster[0].target->lastAnswer(), m_clock.now());
}

TEST_F(UsbBackendTest, PrinterThatWasBusyStartingIsListedAnewOnceItSaysWhoItIs)
{
    UsbDevice device;
    device.productText = "Quiet";
    m_ports.plug("1-2", {{Outcome::Silent, {}}, {Outcome::Silent, {}}}, device);
    m_backend->discover(Discovery::Usb, true);
    ASSERT_TRUE(awaitRoster(1));
    EXPECT_EQ(m_listener.roster[0].name, "Quiet");
    const std::shared_ptr<engine::Target> target = m_listener.roster[0].target;
    m_ports.behave("1-2", {said(kId), said("\x18")});
    m_clock.pass(UsbBackend::kInterval);
    open(0);
    ASSERT_TRUE(runUntil([&] { return m_listener.roster[0].name != "Quiet"; }));
    ASSERT_EQ(m_listener.roster.size(), 1u);
    EXPECT_EQ(m_listener.roster[0].name, "Acme Jet A1");
    EXPECT_EQ(m_listener.roster[0].target, target);
}

TEST_F(UsbBackendTest, BusIsNotLookedAtAgainWhileNothingChanges)
{
    m_ports.plug("1-2", {said(kId), said("\x18")});
    m_backend->discover(Discovery::Usb, true);
    ASSERT_TRUE(awaitRoster(1));
    const unsigned looks = m_ports.looks();
    for (int i = 0; i < 20; ++i) {
        const unsigned asked = m_ports.asked("1-2", Question::PortStatus);
        m_clock.pass(UsbBackend::kInterval);
        open(0);
        ASSERT_TRUE(runUntil([&] { return m_ports.asked("1-2", Question::PortStatus) > asked; }));
    }
    EXPECT_EQ(m_ports.looks(), looks);
}

// As after a suspend.
TEST_F(UsbBackendTest, QuestionThatIsLongOverdueIsAskedOnceAndTheNextInItsTime)
{
    m_ports.plug("1-2", {said(kId), said("\x18")});
    m_backend->discover(Discovery::Usb, true);
    ASSERT_TRUE(awaitRoster(1));
    const unsigned first = m_ports.asked("1-2", Question::PortStatus);
    m_clock.pass(10 * UsbBackend::kInterval + Milliseconds(7));
    open(0);
    EXPECT_LT(m_backend->nextDeadline(), m_clock.now());
    m_backend->run();
    EXPECT_EQ(m_backend->nextDeadline(), m_clock.now() + UsbBackend::kInterval);
    ASSERT_TRUE(runUntil([&] { return m_ports.asked("1-2", Question::PortStatus) > first; }));
    EXPECT_EQ(m_ports.asked("1-2", Question::PortStatus), first + 1);
}

TEST_F(UsbBackendTest, LeavesNoDescriptorBehind)
{
    m_ports.plug("1-2", {said(kId), said("\x18")});
    m_backend.reset();
    const int before = kel_test::openDescriptors();
    for (int i = 0; i < 3; ++i) {
        m_backend = std::make_unique<UsbBackend>(
            m_clock, m_listener,
            UsbBackend::Parts{[this](std::string&) { return std::make_unique<test::ScriptedBus>(m_ports); },
                              nullptr, m_directory.path("")});
        m_backend->discover(Discovery::Usb, true);
        ASSERT_TRUE(awaitRoster(1));
        EXPECT_GT(kel_test::openDescriptors(), before);
        m_backend.reset();
        EXPECT_EQ(kel_test::openDescriptors(), before);
    }
}

TEST_F(UsbBackendTest, WhoIsNotOpenedIsNotAskedUntilOpenedAgain)
{
    m_ports.plug("1-2", {said(kId), said("\x18")});
    m_backend->discover(Discovery::Usb, true);
    ASSERT_TRUE(awaitRoster(1));
    const unsigned first = m_ports.asked("1-2", Question::PortStatus);
    m_clock.pass(UsbBackend::kUnopened + Milliseconds(1));
    m_backend->run();
    EXPECT_EQ(m_backend->nextDeadline(), kNever);
    m_clock.pass(Milliseconds(3600000));
    m_backend->run();
    EXPECT_EQ(m_ports.asked("1-2", Question::PortStatus), first);
    engine::Target& target = *m_listener.roster[0].target;
    ASSERT_TRUE(target.markOpened(m_clock.now()));
    m_backend->wake(target);
    ASSERT_TRUE(runUntil([&] { return m_ports.asked("1-2", Question::PortStatus) > first; }));
    EXPECT_EQ(m_backend->nextDeadline(), m_clock.now() + UsbBackend::kInterval);
}

TEST_F(UsbBackendTest, EndOfDiscoveryEmptiesTheListAndANewOneFillsIt)
{
    m_ports.plug("1-2", {said(kId), said("\x18")});
    m_backend->discover(Discovery::Usb, true);
    ASSERT_TRUE(awaitRoster(1));
    m_backend->discover(Discovery::Usb, false);
    EXPECT_TRUE(m_listener.roster.empty());
    m_backend->discover(Discovery::Usb, true);
    ASSERT_TRUE(awaitRoster(1));
    EXPECT_EQ(m_listener.roster[0].name, "Acme Jet A1");
}

TEST_F(UsbBackendTest, HangingDeviceHoldsUpNeitherTheEngineNorTheEnd)
{
    m_ports.plug("1-1", {said("MFG:Acme;MDL:First;"), said("\x18")});
    ScriptedPorts::Behaviour hanging;
    hanging.hangs = true;
    m_ports.plug("1-2", hanging);
    m_backend->discover(Discovery::Usb, true);
    ASSERT_TRUE(awaitRoster(1));
    ASSERT_TRUE(eventually([&] { return m_ports.hangs(); }));
    m_backend->run(); // returns
    EXPECT_EQ(m_listener.roster[0].name, "Acme First");
    m_backend.reset(); // returns as well
}

TEST_F(UsbBackendTest, FiftyPrintersAreListed)
{
    for (int i = 0; i < 50; ++i) {
        m_ports.plug("1-" + std::to_string(i + 1),
                     {said("MFG:Acme;MDL:Jet;SN:" + std::to_string(i) + ";"), said("\x18")});
    }
    m_backend->discover(Discovery::Usb, true);
    EXPECT_TRUE(awaitRoster(50));
}

TEST_F(UsbBackendTest, MissingRightsAreOneLine)
{
    testing::internal::CaptureStderr();
    for (const char* path : {"1-1", "1-2", "1-3"}) {
        UsbDevice device;
        device.productText = path;
        m_ports.plug(path, {{Outcome::Denied, {}}, {Outcome::Denied, {}}}, device);
    }
    m_backend->discover(Discovery::Usb, true);
    ASSERT_TRUE(awaitRoster(3));
    m_backend->discover(Discovery::Usb, false);
    m_backend->discover(Discovery::Usb, true);
    ASSERT_TRUE(awaitRoster(3));
    m_backend.reset();
    const std::string said = testing::internal::GetCapturedStderr();
    EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 1) << said;
    EXPECT_NE(said.find("group \"lp\""), std::string::npos) << said;
}

TEST_F(UsbBackendTest, MissingLibraryIsOneLineAndNoPrinters)
{
    testing::internal::CaptureStderr();
    std::atomic<unsigned> tries{0};
    const UsbBusMaker open = [&tries](std::string& why) {
        std::unique_ptr<UsbBus> bus = LibusbBus::open(why, "libusb-that-is-missing.so.0");
        ++tries;
        return bus;
    };
    m_backend =
        std::make_unique<UsbBackend>(m_clock, m_listener, UsbBackend::Parts{open, nullptr, "/missing"});
    m_backend->discover(Discovery::Usb, true);
    ASSERT_TRUE(eventually([&] { return tries >= 1; }));
    m_backend->discover(Discovery::Usb, false);
    m_backend->discover(Discovery::Usb, true);
    ASSERT_TRUE(eventually([&] { return tries >= 2; }));
    m_backend->run();
    EXPECT_TRUE(m_listener.roster.empty());
    m_backend.reset();
    const std::string said = testing::internal::GetCapturedStderr();
    EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 1) << said;
    EXPECT_NE(said.find("libusb-that-is-missing.so.0"), std::string::npos) << said;
}

TEST_F(UsbBackendTest, BusThatCouldNotBeOpenedIsOpenedALittleLater)
{
    m_ports.plug("1-1", {said("MFG:Lyra;MDL:Jet;SN:L1;"), said("\x18")});
    std::atomic<unsigned> tries{0};
    const UsbBusMaker open = [&](std::string& why) -> std::unique_ptr<UsbBus> {
        switch (++tries) {
        case 1:
            why = "no descriptor";
            return nullptr;
        case 2:
            throw std::bad_alloc();
        default:
            return std::make_unique<test::ScriptedBus>(m_ports);
        }
    };
    testing::internal::CaptureStderr();
    m_backend =
        std::make_unique<UsbBackend>(m_clock, m_listener, UsbBackend::Parts{open, nullptr, "/missing"});
    m_backend->discover(Discovery::Usb, true);
    EXPECT_TRUE(awaitRoster(1));
    const std::string said = testing::internal::GetCapturedStderr();
    EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 1) << said;
}

TEST_F(UsbBackendTest, WithoutDescriptorsAtTheBeginningItBeginsLater)
{
    m_ports.plug("1-1", {said("MFG:Lyra;MDL:Jet;SN:L1;"), said("\x18")});
    {
        const tarn::test::NoDescriptors none;
        m_backend->discover(Discovery::Usb, true);
        m_backend->run();
    }
    EXPECT_EQ(m_backend->descriptor(), -1);
    EXPECT_EQ(m_backend->nextDeadline(), m_clock.now() + UsbBackend::kShortestPause);
    m_clock.pass(UsbBackend::kShortestPause);
    EXPECT_TRUE(awaitRoster(1));
    EXPECT_GE(m_backend->descriptor(), 0);
}

TEST_F(UsbBackendTest, WithoutAThreadAtTheBeginningItBeginsLater)
{
    if (!tarn::test::NoThreads::isPossible()) {
        GTEST_SKIP() << "threads are not refused to this user";
    }
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    m_ports.plug("1-1", {said("MFG:Lyra;MDL:Jet;SN:L1;"), said("\x18")});
    EXPECT_EXIT(
        {
            {
                const tarn::test::NoThreads none;
                m_backend->discover(Discovery::Usb, true);
                m_backend->run();
            }
            if (m_backend->nextDeadline() != m_clock.now() + UsbBackend::kShortestPause) {
                ::_exit(3);
            }
            m_clock.pass(UsbBackend::kShortestPause);
            ::_exit(awaitRoster(1) ? 0 : 4);
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(UsbBackendTest, BusThatCannotBeReadForAMomentLosesNobody)
{
    m_ports.plug("1-1", {said("MFG:Lyra;MDL:Jet;SN:L1;"), said("\x18")});
    m_ports.failLooks(1);
    m_backend->discover(Discovery::Usb, true);
    EXPECT_TRUE(awaitRoster(1));
    const auto target = m_listener.roster[0].target;
    m_ports.failLooks(3);
    m_ports.plug("1-2", {said("MFG:Lyra;MDL:Jet;SN:L2;"), said("\x18")});
    EXPECT_TRUE(awaitRoster(2));
    EXPECT_EQ(m_ports.failingLooks(), 0u);
    EXPECT_EQ(m_listener.roster[0].target, target);
    EXPECT_EQ(m_ports.asked("1-1", Question::DeviceId), 1u) << "it was never gone";
}

TEST_F(UsbBackendTest, WithoutMemoryTheListIsToldLater)
{
    m_ports.plug("1-1", {said("MFG:Lyra;MDL:Jet;SN:L1;"), said("\x18")});
    m_listener.failures = 3;
    m_backend->discover(Discovery::Usb, true);
    EXPECT_TRUE(kel_test::eventually([&] {
        try {
            m_backend->run();
        } catch (const std::bad_alloc&) { // as the engine does
        }
        return m_listener.roster.size() == 1;
    }));
    EXPECT_EQ(m_listener.failures, 0u);
}

} // namespace
} // namespace tarn::usb
