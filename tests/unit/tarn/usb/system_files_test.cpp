#include <gtest/gtest.h>

#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "tarn/src/usb/ipp_usb.h"
#include "tarn/src/usb/rights.h"
#include "tarn/src/usb/sysfs.h"
#include "tests/unit/tarn/support/no_descriptors.h"
#include "tests/unit/tarn/support/scratch_directory.h"

namespace tarn::usb {
namespace {

class UsbSystemFilesTest : public testing::Test
{
protected:
    void write(const std::string& file, const std::string& text) const { m_directory.write(file, text); }
    std::string path(const std::string& file = {}) const { return m_directory.path(file); }

    const test::ScratchDirectory m_directory;
};

const std::string kDescriptors{18, 1, 0,  2, 0, 0, 0, 64, 0x34, 0x12, 0x78, 0x56, 0, 1, 1, 2, 3, 1,
                               9,  2, 32, 0, 1, 1, 0, 64, 1,    9,    4,    1,    0, 2, 7, 1, 2, 0};

TEST_F(UsbSystemFilesTest, DeviceIsReadFromTheSystemsFiles)
{
    write("1-2.3/descriptors", kDescriptors);
    write("1-2.3/bConfigurationValue", "1\n");
    write("1-2.3/manufacturer", "Acme\n");
    write("1-2.3/product", " Jet 5 \n");
    write("1-2.3/serial", "A1\n");
    write("1-2.3:1.1/ieee1284_id", "MFG:Acme;MDL:Jet;\n");
    Sysfs sysfs(path());
    {
        const tarn::test::NoDescriptors none;
        EXPECT_FALSE(sysfs.printerAt("1-2.3"));
        EXPECT_TRUE(sysfs.lackedDescriptors());
    }
    const std::optional<UsbDevice> device = sysfs.printerAt("1-2.3");
    EXPECT_FALSE(sysfs.lackedDescriptors());
    ASSERT_TRUE(device);
    EXPECT_EQ(device->path, "1-2.3");
    EXPECT_EQ(device->vendor, 0x1234);
    EXPECT_EQ(device->product, 0x5678);
    EXPECT_EQ(device->interface.number, 1);
    EXPECT_EQ(device->manufacturerText, "Acme");
    EXPECT_EQ(device->productText, "Jet 5");
    EXPECT_EQ(device->serialText, "A1");
    EXPECT_EQ(device->systemId, "MFG:Acme;MDL:Jet;\n");
}

TEST_F(UsbSystemFilesTest, FileThatCannotBeReadIsNoLackOfDescriptors)
{
    ASSERT_TRUE(std::filesystem::create_directories(path("1-2.3/descriptors")));
    Sysfs sysfs(path());
    EXPECT_FALSE(sysfs.printerAt("1-2.3"));
    EXPECT_FALSE(sysfs.lackedDescriptors());
}

TEST_F(UsbSystemFilesTest, OtherConfigurationOrNoFilesIsNoPrinter)
{
    EXPECT_FALSE(Sysfs(path()).printerAt("1-2.3"));
    write("1-2.3/descriptors", kDescriptors);
    EXPECT_TRUE(Sysfs(path()).printerAt("1-2.3"));
    write("1-2.3/bConfigurationValue", "2\n");
    EXPECT_FALSE(Sysfs(path()).printerAt("1-2.3"));
}

UsbDevice served()
{
    UsbDevice device;
    device.vendor = 0x03f0;
    device.product = 0x2a17;
    device.serialText = "CN/12";
    return device;
}

TEST_F(UsbSystemFilesTest, IppUsbPortIsThatOfTheDevicesFile)
{
    write("03f0-2a17-CN-12-Acme-Jet.state", "; comment\n[device]\n  http-port    = 60001\n");
    write("03f0-2a17-CN-123-Acme-Jet.state", "http-port = 60002\n");
    write("03f0-2a17-CN-12-Acme-Jet.lock", "http-port = 60003\n");
    EXPECT_EQ(ippUsbPort(path(), served()), 60001);
}

TEST_F(UsbSystemFilesTest, IppUsbPortIsNotGuessed)
{
    EXPECT_FALSE(ippUsbPort(path("missing"), served()));
    EXPECT_FALSE(ippUsbPort(path(), served()));
    write("03f0-2a17-CN-12-Acme.state", "http-port = 60001\n");
    write("03f0-2a17-CN-12-Other.state", "http-port = 60002\n");
    EXPECT_FALSE(ippUsbPort(path(), served()));
}

TEST(IppUsbStateTest, PortIsADecimalNumberOfAPort)
{
    EXPECT_EQ(httpPortIn("[device]\nhttp-port = \"60000\"\r\n"), 60000);
    EXPECT_EQ(httpPortIn("http-port=1"), 1);
    EXPECT_EQ(httpPortIn("x = 1\nhttp-port = 65535\nhttp-port = 2"), 65535);
    for (const char* text :
         {"", "http-port", "http-port =", "http-port = 0", "http-port = 65536", "http-port = 99999999999",
          "http-port = -1", "http-port = 0x10", "http-ports = 1", "# http-port = 1"}) {
        EXPECT_FALSE(httpPortIn(text)) << text;
    }
}

TEST_F(UsbSystemFilesTest, ComplaintNamesTheGroupThatMayOpenTheNode)
{
    write("node", "");
    const std::string node = path("node");
    ASSERT_EQ(::chmod(node.c_str(), 0660), 0);
    const gid_t own = ::getegid();
    const group* const entry = ::getgrgid(own);
    const std::string named = own == 0 ? "lp" : entry != nullptr ? entry->gr_name : std::to_string(own);
    EXPECT_NE(rightsComplaint(node).find("\"" + named + "\""), std::string::npos) << rightsComplaint(node);
    EXPECT_EQ(rightsComplaint(node).find('\n'), std::string::npos);
}

TEST_F(UsbSystemFilesTest, ComplaintNamesAnyGroupAndItsNumberWhereItHasNoName)
{
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only root gives files to any group";
    }
    write("node", "");
    const std::string node = path("node");
    const group* const daemon = ::getgrnam("daemon");
    ASSERT_NE(daemon, nullptr);
    ASSERT_EQ(::chown(node.c_str(), 0, daemon->gr_gid), 0);
    ASSERT_EQ(::chmod(node.c_str(), 0660), 0);
    EXPECT_EQ(groupWithRights(node), "daemon");
    const gid_t unnamed = 4000123;
    ASSERT_EQ(::getgrgid(unnamed), nullptr);
    ASSERT_EQ(::chown(node.c_str(), 0, unnamed), 0);
    EXPECT_EQ(groupWithRights(node), "4000123");
}

TEST_F(UsbSystemFilesTest, ComplaintNamesTheUsualGroupWhereTheNodeHasNone)
{
    write("node", "");
    const std::string node = path("node");
    ASSERT_EQ(::chmod(node.c_str(), 0644), 0);
    EXPECT_NE(rightsComplaint(node).find("\"lp\""), std::string::npos);
    EXPECT_NE(rightsComplaint(path("missing")).find("\"lp\""), std::string::npos);
}

TEST(UsbNodeTest, NodeIsNamedAfterBusAndAddress)
{
    EXPECT_EQ(nodeOf(1, 4), "/dev/bus/usb/001/004");
    EXPECT_EQ(nodeOf(12, 127), "/dev/bus/usb/012/127");
}

} // namespace
} // namespace tarn::usb
