#include "tests/unit/tarn/usb/usb_backend_fixture.h"

#include <filesystem>

namespace tarn::usb {
namespace {

using engine::Discovery;
using engine::Source;
using test::kId;
using test::said;
using test::UsbBackendTest;

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
        ASSERT_TRUE(runUntil([&] { return !m_requests.given.empty(); }));
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
        m_requests.finished.push_back({m_requests.given.back().first, std::move(answer)});
        m_backend->run();
    }
    // Until the next question, after a time in which the printer is opened.
    bool awaitQuestion(Milliseconds time)
    {
        const std::size_t before = m_requests.given.size();
        m_clock.pass(time);
        open(0);
        return runUntil([&] { return m_requests.given.size() > before; });
    }
};

TEST_F(IppOverUsbTest, LoopbackPortIsAskedAndItsStatusCounts)
{
    EXPECT_EQ(m_requests.given[0].second.address, 0x7F000001u);
    EXPECT_EQ(m_requests.given[0].second.settings.port, 60007);
    EXPECT_EQ(target().snapshot()->source, Source::Usb);
    finish(ipp::IppOutcome::Answered, "4");
    const auto snapshot = target().snapshot();
    EXPECT_EQ(snapshot->source, Source::Ipp);
    EXPECT_EQ(snapshot->state, 4);
    EXPECT_EQ(snapshot->serialNumber, "A1"); // IPP did not say
    EXPECT_EQ(snapshot->fieldSources[static_cast<std::size_t>(device::StatusField::SerialNumber)],
              Source::Usb);
    EXPECT_EQ(m_listener.changes, 1u);
    EXPECT_EQ(m_listener.roster[0].name, "Acme Jet A1");
}

TEST_F(IppOverUsbTest, OneQuestionAtATimeAndTheNextAfterThePause)
{
    m_clock.pass(Milliseconds(10000));
    m_backend->run();
    ASSERT_EQ(m_requests.given.size(), 1u);
    finish(ipp::IppOutcome::Answered, "3");
    EXPECT_TRUE(awaitQuestion(IppOverUsb::kInterval + UsbBackend::kInterval));
    finish(ipp::IppOutcome::Answered, "3");
    EXPECT_EQ(m_listener.changes, 1u) << "the same again is no change";
}

TEST_F(IppOverUsbTest, NextQuestionIsDueWhenThePauseEnds)
{
    finish(ipp::IppOutcome::Answered, "3");
    EXPECT_TRUE(awaitQuestion(IppOverUsb::kInterval));
}

TEST_F(IppOverUsbTest, AnswerThatComesAfterTheEndOfDiscoveryTouchesNothing)
{
    const std::shared_ptr<engine::Target> target = m_listener.roster[0].target;
    m_backend->discover(Discovery::Usb, false);
    finish(ipp::IppOutcome::Answered, "4");
    EXPECT_EQ(target->snapshot()->source, Source::Usb);
    EXPECT_EQ(m_listener.changes, 0u);
}

TEST_F(IppOverUsbTest, ServiceThatIsNotReadyLeavesTheStatusToUsbAndIsAskedMoreRarely)
{
    finish(ipp::IppOutcome::Answered, "4");
    ASSERT_TRUE(awaitQuestion(Milliseconds(4000)));
    finish(ipp::IppOutcome::NoIpp);
    EXPECT_EQ(target().snapshot()->source, Source::Usb);
    EXPECT_TRUE(target().snapshot()->online);
    unsigned questions = 0;
    for (int round = 0; round < 30; ++round) { // 2 s each
        const std::size_t before = m_requests.given.size();
        const unsigned asked = m_ports.asked("1-2", Question::PortStatus);
        m_clock.pass(UsbBackend::kInterval);
        open(0);
        ASSERT_TRUE(runUntil([&] {
            return m_listener.roster[0].target->lastAnswer() == m_clock.now() ||
                   m_ports.asked("1-2", Question::PortStatus) > asked;
        }));
        m_backend->run();
        if (m_requests.given.size() > before) {
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
    EXPECT_TRUE(runUntil([&] { return target().snapshot()->source == Source::Usb; }));
    EXPECT_EQ(m_requests.given.size(), 1u);
}

TEST_F(IppOverUsbTest, AnswerThatThereWasNoMemoryForIsAskedForAgain)
{
    m_listener.changeFailures = 1;
    finish(ipp::IppOutcome::Answered, "4");
    EXPECT_EQ(m_listener.changes, 0u);
    ASSERT_TRUE(awaitQuestion(IppOverUsb::kInterval + UsbBackend::kInterval));
    finish(ipp::IppOutcome::Answered, "4"); // the same again, but it was not told
    EXPECT_EQ(m_listener.changes, 1u);
}

TEST_F(IppOverUsbTest, RequestThatIsNotTakenIsSentLater)
{
    finish(ipp::IppOutcome::Answered, "4");
    m_requests.full = true;
    const unsigned asked = m_ports.asked("1-2", Question::PortStatus);
    m_clock.pass(Milliseconds(4000));
    open(0);
    ASSERT_TRUE(runUntil([&] { return m_ports.asked("1-2", Question::PortStatus) > asked; }));
    EXPECT_EQ(target().snapshot()->source, Source::Ipp);
    m_requests.full = false;
    EXPECT_TRUE(awaitQuestion(Milliseconds(4000)));
}

} // namespace
} // namespace tarn::usb
