// How libusb is bound, started, asked and waited for. What real devices say: tests/integration/usb_test.py.
#include "tarn/src/usb/libusb_bus.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include "tests/unit/tarn/support/scratch_directory.h"
#include "tests/unit/tarn/usb/fake_libusb.h"

namespace tarn::usb {
namespace {

TEST(LibusbLibraryTest, EachFunctionIsTheOneOfItsName)
{
    const LibusbLibrary usb;
    ASSERT_TRUE(usb.isUsable()) << usb.complaint();
    EXPECT_EQ(usb.complaint(), "");
    void* const object = dlopen(LibusbLibrary::kSoname, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(object, nullptr);
    const std::pair<const char*, void*> functions[] = {
        {"libusb_init", reinterpret_cast<void*>(+usb.init)},
        {"libusb_exit", reinterpret_cast<void*>(+usb.exit)},
        {"libusb_has_capability", reinterpret_cast<void*>(+usb.has_capability)},
        {"libusb_hotplug_register_callback", reinterpret_cast<void*>(+usb.hotplug_register_callback)},
        {"libusb_get_device_list", reinterpret_cast<void*>(+usb.get_device_list)},
        {"libusb_free_device_list", reinterpret_cast<void*>(+usb.free_device_list)},
        {"libusb_get_bus_number", reinterpret_cast<void*>(+usb.get_bus_number)},
        {"libusb_get_device_address", reinterpret_cast<void*>(+usb.get_device_address)},
        {"libusb_get_port_numbers", reinterpret_cast<void*>(+usb.get_port_numbers)},
        {"libusb_open", reinterpret_cast<void*>(+usb.open)},
        {"libusb_close", reinterpret_cast<void*>(+usb.close)},
        {"libusb_kernel_driver_active", reinterpret_cast<void*>(+usb.kernel_driver_active)},
        {"libusb_alloc_transfer", reinterpret_cast<void*>(+usb.alloc_transfer)},
        {"libusb_free_transfer", reinterpret_cast<void*>(+usb.free_transfer)},
        {"libusb_submit_transfer", reinterpret_cast<void*>(+usb.submit_transfer)},
        {"libusb_cancel_transfer", reinterpret_cast<void*>(+usb.cancel_transfer)},
        {"libusb_handle_events_timeout_completed",
         reinterpret_cast<void*>(+usb.handle_events_timeout_completed)},
        {"libusb_interrupt_event_handler", reinterpret_cast<void*>(+usb.interrupt_event_handler)},
    };
    for (const auto& [name, function] : functions) {
        EXPECT_NE(function, nullptr) << name;
        EXPECT_EQ(function, dlsym(object, name)) << name;
    }
}

TEST(LibusbLibraryTest, LibraryWithoutTheFunctionsIsNotUsableAndSaysWhichIsMissing)
{
    const LibusbLibrary other("libm.so.6");
    EXPECT_FALSE(other.isUsable());
    EXPECT_EQ(other.complaint(), "it has no libusb_init");
    std::string why;
    EXPECT_EQ(LibusbBus::open(why, "libm.so.6"), nullptr);
    EXPECT_EQ(why, "it has no libusb_init");
}

class LibusbBusTest : public testing::Test
{
protected:
    void SetUp() override
    {
        void* const object = dlopen(FAKE_LIBUSB, RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(object, nullptr) << dlerror();
        m_usb = reinterpret_cast<FakeLibusb* (*)()>(dlsym(object, "fakeLibusb"))();
        *m_usb = FakeLibusb();
    }
    void TearDown() override
    {
        EXPECT_EQ(m_usb->running, 0);
        EXPECT_EQ(m_usb->lists, 0);
    }
    std::unique_ptr<UsbBus> open() { return LibusbBus::open(m_why, FAKE_LIBUSB); }

    FakeLibusb* m_usb = nullptr;
    std::string m_why;
};

TEST_F(LibusbBusTest, LibraryThatDoesNotStartIsNoBus)
{
    m_usb->initError = -99;
    EXPECT_EQ(open(), nullptr);
    EXPECT_EQ(m_why, "libusb does not start (-99)");
    m_usb->initError = 0;
    EXPECT_NE(open(), nullptr) << "a later try";
}

TEST_F(LibusbBusTest, EmptyBusIsNotAnUnknownOne)
{
    const auto bus = open();
    ASSERT_TRUE(bus->devices().has_value());
    EXPECT_TRUE(bus->devices()->empty());
    m_usb->devices = -12;
    EXPECT_FALSE(bus->devices().has_value());
    m_usb->devices = 3; // no printers
    ASSERT_TRUE(bus->devices().has_value());
    EXPECT_TRUE(bus->devices()->empty());
}

TEST_F(LibusbBusTest, DeviceThatWasNotListedIsGone)
{
    const auto bus = open();
    EXPECT_EQ(bus->ask(UsbDevice(), Question::DeviceId).outcome, Outcome::Gone);
}

TEST_F(LibusbBusTest, ChangeIsToldUntilTheNextLook)
{
    const auto bus = open();
    bus->devices();
    EXPECT_FALSE(bus->waitForChange(Milliseconds(60000)));
    EXPECT_GE(m_usb->longestWaitMs, 59000);
    m_usb->changesAtWait = true;
    EXPECT_TRUE(bus->waitForChange(Milliseconds(60000)));
    EXPECT_FALSE(m_usb->isDismissed) << "libusb would tell of no other change";
    m_usb->changesAtWait = false;
    EXPECT_TRUE(bus->waitForChange(Milliseconds(60000)));
    bus->devices();
    EXPECT_FALSE(bus->waitForChange(Milliseconds(60000)));
}

TEST_F(LibusbBusTest, WithoutHotPlugEventsItIsLookedAtEveryTwoSeconds)
{
    for (const bool has : {false, true}) {
        m_usb->hasHotplug = has;
        m_usb->hotplugError = has ? -1 : 0; // either way there are none
        const auto bus = open();
        bus->devices();
        bus->waitForChange(Milliseconds(60000));
        EXPECT_LE(m_usb->longestWaitMs, 2000) << has;
    }
}

TEST_F(LibusbBusTest, BusThatCouldNotBeReadIsLookedAtAgainSoon)
{
    const auto bus = open();
    m_usb->devices = -12;
    bus->devices();
    bus->waitForChange(Milliseconds(60000));
    EXPECT_LE(m_usb->longestWaitMs, 2000);
    m_usb->devices = 0;
    bus->devices();
    bus->waitForChange(Milliseconds(60000));
    EXPECT_GE(m_usb->longestWaitMs, 59000);
}

TEST_F(LibusbBusTest, StoppedBusIsNotWaitedFor)
{
    const auto bus = open();
    bus->interrupt();
    EXPECT_EQ(m_usb->interrupts, 1);
    bus->stop();
    EXPECT_EQ(m_usb->interrupts, 2);
    EXPECT_FALSE(bus->waitForChange(Milliseconds(60000)));
    EXPECT_EQ(m_usb->waits, 0);
}

const std::string kPrinterDescriptors{18, 1, 0,  2, 0, 0, 0, 64, 0x34, 0x12, 0x78, 0x56, 0, 1, 1, 2, 3, 1,
                                      9,  2, 32, 0, 1, 1, 0, 64, 1,    9,    4,    1,    0, 2, 7, 1, 2, 0};

class LibusbTransferTest : public LibusbBusTest
{
protected:
    void SetUp() override
    {
        LibusbBusTest::SetUp();
        m_directory.write("200-7/descriptors", kPrinterDescriptors);
        m_usb->devices = 1;
        m_bus = LibusbBus::open(m_why, FAKE_LIBUSB, Sysfs(m_directory.path("")));
    }
    void TearDown() override
    {
        m_bus.reset();
        EXPECT_EQ(m_usb->opened, 0);
        LibusbBusTest::TearDown();
        *m_usb = FakeLibusb();
    }
    UsbAnswer ask(Question question = Question::DeviceId)
    {
        const auto found = m_bus->devices();
        return found && found->size() == 1 ? m_bus->ask(found->front(), question)
                                           : UsbAnswer{Outcome::Gone, "?"};
    }

    const test::ScratchDirectory m_directory;
    std::unique_ptr<UsbBus> m_bus;
};

TEST_F(LibusbTransferTest, AnswerIsWhatTheDeviceSays)
{
    m_usb->answer = "MFG:Acme;";
    EXPECT_EQ(ask().outcome, Outcome::Answered);
    EXPECT_EQ(ask().octets, "MFG:Acme;");
    EXPECT_EQ(ask(Question::PortStatus).octets, "M") << "one octet is asked for";
    EXPECT_EQ(m_usb->transfers, 0);
}

TEST_F(LibusbTransferTest, InterfaceThatADriverHasIsNotTakenFromIt)
{
    m_usb->hasDriver = true;
    m_usb->answer = "x";
    EXPECT_EQ(ask(Question::PortStatus).outcome, Outcome::Busy);
    EXPECT_EQ(ask(Question::DeviceId).outcome, Outcome::Answered);
}

TEST_F(LibusbTransferTest, RootHubIsNoPrinterWhateverItsNumber)
{
    m_directory.write("200/descriptors", kPrinterDescriptors);
    m_usb->depth = 0;
    EXPECT_TRUE(m_bus->devices()->empty());
}

TEST_F(LibusbTransferTest, StoppedBusCancelsWhatIsUnderWay)
{
    m_usb->isSilent = true;
    m_usb->atWait = [this] { m_bus->stop(); };
    EXPECT_EQ(ask().outcome, Outcome::Gone);
    EXPECT_EQ(m_usb->cancelled, 1);
    EXPECT_EQ(m_usb->transfers, 0);
}

// libusb may still write to it.
TEST_F(LibusbTransferTest, TransferThatNeverComesBackIsSilenceAndNotFreed)
{
    m_usb->isSilent = true;
    m_usb->isDeaf = true;
    EXPECT_EQ(ask().outcome, Outcome::Silent);
    EXPECT_EQ(m_usb->transfers, 1);
}

} // namespace
} // namespace tarn::usb
