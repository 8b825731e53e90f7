#include "tarn/src/usb/usb_backend.h"

#include <gtest/gtest.h>

#include <poll.h>

#include <algorithm>
#include <atomic>

#include "tarn/src/usb/libusb_bus.h"
#include "tests/support/eventually.h"
#include "tests/unit/tarn/support/scratch_directory.h"
#include "tests/unit/tarn/usb/scripted_bus.h"

namespace tarn::usb {
namespace {

using engine::DiscoveredPrinter;
using engine::Discovery;
using engine::Way;
using kel_test::eventually;
using test::said;
using test::ScriptedBus;
using test::ScriptedPorts;

// The scout's thread reads it, too.
class SharedClock final : public Clock
{
public:
    TimePoint now() const override { return TimePoint(Milliseconds(m_ms.load())); }
    void pass(Milliseconds time) { m_ms += time.count(); }

private:
    std::atomic<std::int64_t> m_ms{1000000};
};

class Listener final : public engine::BackendListener
{
public:
    void targetChanged(engine::Target& /*target*/) override { ++changes; }
    void rosterChanged(Discovery discovery, std::vector<DiscoveredPrinter> printers) override
    {
        EXPECT_EQ(discovery, Discovery::Usb);
        roster = std::move(printers);
        ++rosters;
    }

    std::vector<DiscoveredPrinter> roster;
    unsigned changes = 0;
    unsigned rosters = 0;
};

// The questions over IPP, which the test answers.
struct DeskContents
{
    std::vector<std::pair<std::uint32_t, ipp::IppQuestion>> given;
    std::vector<ipp::FinishedQuestion> finished;
};

class ScriptedDesk final : public ipp::Desk
{
public:
    explicit ScriptedDesk(DeskContents& contents) : m_contents(contents) {}
    void give(std::uint32_t ticket, ipp::IppQuestion question) override
    {
        m_contents.given.emplace_back(ticket, std::move(question));
    }
    std::vector<ipp::FinishedQuestion> takeFinished() override
    {
        return std::exchange(m_contents.finished, {});
    }
    int descriptor() const override { return -1; }

private:
    DeskContents& m_contents;
};

class UsbBackendTest : public testing::Test
{
protected:
    // Lets the backend take what the scout hands over, as the engine would.
    template <typename Condition>
    bool runUntil(Condition condition)
    {
        return eventually([&] {
            m_backend->run();
            return condition();
        });
    }
    bool awaitRoster(std::size_t size)
    {
        return runUntil([&] { return m_listener.roster.size() == size; });
    }
    void open(std::size_t index) { m_listener.roster[index].target->markOpened(m_clock.now()); }

    SharedClock m_clock;
    Listener m_listener;
    ScriptedPorts m_ports;
    DeskContents m_desk;
    const tarn::test::ScratchDirectory m_directory;
    std::unique_ptr<UsbBackend> m_backend = std::make_unique<UsbBackend>(
        m_clock, m_listener,
        UsbBackend::Parts{[this](std::string&) { return std::make_unique<ScriptedBus>(m_ports); },
                          [this] { return std::make_unique<ScriptedDesk>(m_desk); }, m_directory.path("")});
};

const std::string kId = "MFG:Acme;MDL:Jet;SN:A1;DES:A jet;UUID:u;";

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
    EXPECT_EQ(snapshot->way, Way::Usb);
    EXPECT_EQ(snapshot->serialNumber, "A1");
    EXPECT_EQ(snapshot->stateMessage, "需要处理-缺纸");
    EXPECT_TRUE(printer.target->isMet());
    EXPECT_EQ(printer.target->lastAnswer(), m_clock.now());
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

// One printer that ipp-usb serves.
class IppOverUsbTest : public UsbBackendTest
{
protected:
    void SetUp() override
    {
        m_directory.write("1234-5678-S1-Acme-Jet.state", "[device]\nhttp-port = 60007\n");
        UsbDevice device;
        device.vendor = 0x1234;
        device.product = 0x5678;
        device.serialText = "S1";
        m_ports.plug("1-2", {said(kId), {Outcome::Busy, {}}}, device);
        m_backend->discover(Discovery::Usb, true);
        ASSERT_TRUE(runUntil([&] { return !m_desk.given.empty(); }));
    }
    engine::Target& target() { return *m_listener.roster[0].target; }
    void finish(ipp::IppOutcome outcome, const std::string& state = {})
    {
        ipp::IppAnswer answer;
        answer.outcome = outcome;
        if (!state.empty()) {
            ipp::IppAttributes attributes;
            attributes.add("printer-make-and-model", {std::nullopt, "Acme Jet over IPP"});
            attributes.add("printer-state", {std::stoi(state), ""});
            answer.printers.push_back(std::move(attributes));
        }
        m_desk.finished.push_back({m_desk.given.back().first, std::move(answer)});
        m_backend->run();
    }
    // Until the next question, after a time in which the printer is opened.
    bool awaitQuestion(Milliseconds time)
    {
        const std::size_t before = m_desk.given.size();
        m_clock.pass(time);
        open(0);
        return runUntil([&] { return m_desk.given.size() > before; });
    }
};

TEST_F(IppOverUsbTest, LoopbackPortIsAskedAndItsPictureCounts)
{
    EXPECT_EQ(m_desk.given[0].second.address, 0x7F000001u);
    EXPECT_EQ(m_desk.given[0].second.settings.port, 60007);
    EXPECT_EQ(target().snapshot()->way, Way::Usb);
    finish(ipp::IppOutcome::Answered, "4");
    const auto snapshot = target().snapshot();
    EXPECT_EQ(snapshot->way, Way::Ipp);
    EXPECT_EQ(snapshot->state, 4);
    EXPECT_EQ(snapshot->serialNumber, "A1"); // IPP did not say
    EXPECT_EQ(snapshot->fieldWays[static_cast<std::size_t>(device::PictureField::SerialNumber)], Way::Usb);
    EXPECT_EQ(m_listener.changes, 1u);
    EXPECT_EQ(m_listener.roster[0].name, "Acme Jet A1");
}

TEST_F(IppOverUsbTest, OneQuestionAtATimeAndTheNextAfterThePause)
{
    m_clock.pass(Milliseconds(10000));
    m_backend->run();
    ASSERT_EQ(m_desk.given.size(), 1u);
    finish(ipp::IppOutcome::Answered, "3");
    EXPECT_TRUE(awaitQuestion(IppOverUsb::kInterval + UsbBackend::kInterval));
    finish(ipp::IppOutcome::Answered, "3");
    EXPECT_EQ(m_listener.changes, 1u) << "the same again is no change";
}

TEST_F(IppOverUsbTest, ServiceThatIsNotReadyLeavesThePictureToUsbAndIsAskedMoreRarely)
{
    finish(ipp::IppOutcome::Answered, "4");
    ASSERT_TRUE(awaitQuestion(Milliseconds(4000)));
    finish(ipp::IppOutcome::NoIpp);
    EXPECT_EQ(target().snapshot()->way, Way::Usb);
    EXPECT_TRUE(target().snapshot()->online);
    unsigned questions = 0;
    for (int round = 0; round < 30; ++round) { // 2 s each
        const std::size_t before = m_desk.given.size();
        const unsigned asked = m_ports.asked("1-2", Question::PortStatus);
        m_clock.pass(UsbBackend::kInterval);
        open(0);
        ASSERT_TRUE(runUntil([&] {
            return m_listener.roster[0].target->lastAnswer() == m_clock.now() ||
                   m_ports.asked("1-2", Question::PortStatus) > asked;
        }));
        m_backend->run();
        if (m_desk.given.size() > before) {
            ++questions;
            finish(ipp::IppOutcome::Silent);
        }
    }
    EXPECT_GE(questions, 3u);
    EXPECT_LE(questions, 6u); // after 2, 4, 8, 16, 32 s
}

TEST_F(IppOverUsbTest, AnswerThatComesAfterThePlugWasPulledTouchesNothing)
{
    const std::shared_ptr<engine::Target> target = m_listener.roster[0].target;
    const auto before = target->snapshot();
    m_ports.unplug("1-2");
    ASSERT_TRUE(awaitRoster(0));
    finish(ipp::IppOutcome::Answered, "4");
    EXPECT_EQ(target->snapshot(), before);
    EXPECT_EQ(target.use_count(), 1);
}

TEST_F(IppOverUsbTest, ServiceThatGaveTheDeviceUpIsNotAskedAnyMore)
{
    finish(ipp::IppOutcome::Answered, "4");
    std::filesystem::remove(m_directory.path("1234-5678-S1-Acme-Jet.state"));
    m_clock.pass(UsbBackend::kInterval);
    open(0);
    EXPECT_TRUE(runUntil([&] { return target().snapshot()->way == Way::Usb; }));
    EXPECT_EQ(m_desk.given.size(), 1u);
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
    ASSERT_TRUE(eventually([&] { return tries == 1; }));
    m_backend->discover(Discovery::Usb, false);
    m_backend->discover(Discovery::Usb, true);
    ASSERT_TRUE(eventually([&] { return tries == 2; }));
    m_backend->run();
    EXPECT_TRUE(m_listener.roster.empty());
    m_backend.reset();
    const std::string said = testing::internal::GetCapturedStderr();
    EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 1) << said;
    EXPECT_NE(said.find("libusb-that-is-missing.so.0"), std::string::npos) << said;
}

} // namespace
} // namespace tarn::usb
