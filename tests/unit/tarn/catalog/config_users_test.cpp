#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>

#include "tarn/src/catalog/config.h"
#include "tests/unit/tarn/support/scratch_directory.h"

namespace tarn::catalog {

using engine::UsmUser;
using engine::VersionChoice;

namespace {

constexpr const char kTwoUsers[] = R"({
  "default": { "version": "3" },
  "addresses": { "10.0.0.1": { "user": "plain" }, "10.1.0.0/16": { "user": "closed" },
                 "10.0.0.9": { "version": "2c", "user": "plain" } },
  "users": { "plain": { "auth": "MD5", "authPassword": "12345678" },
             "closed": { "auth": "SHA-256", "authPassword": "authpass12", "priv": "AES",
                         "privPassword": "privpass12", "context": "tray" } } })";

engine::PrinterAddress addressIn(const Config& config, const char* ip)
{
    return config.addressFor(*engine::parseIpv4(ip));
}

std::string complaintsOf(Config& config, const std::string& text)
{
    ConfigComplaints complaints(text);
    config.parse(text, complaints);
    std::string lines;
    for (const std::string& line : complaints.lines()) {
        lines += line + "\n";
    }
    return lines;
}

} // namespace

TEST(ConfiguredUsers, AreThoseOfTheirAddresses)
{
    Config config;
    ASSERT_EQ(complaintsOf(config, kTwoUsers), "");
    EXPECT_TRUE(config.namesUsers());
    const engine::PrinterAddress plain = addressIn(config, "10.0.0.1");
    ASSERT_TRUE(plain.user);
    EXPECT_EQ(plain.version, VersionChoice::V3);
    EXPECT_EQ(plain.user->name, "plain");
    EXPECT_EQ(plain.user->auth, UsmUser::Auth::Md5);
    EXPECT_EQ(plain.user->authPassword, "12345678");
    EXPECT_FALSE(plain.user->isPrivate);
    const engine::PrinterAddress closed = addressIn(config, "10.1.2.3");
    ASSERT_TRUE(closed.user);
    EXPECT_EQ(closed.user->auth, UsmUser::Auth::Sha256);
    EXPECT_TRUE(closed.user->isPrivate);
    EXPECT_EQ(closed.user->privPassword, "privpass12");
    EXPECT_EQ(closed.user->context, "tray");
}

TEST(ConfiguredUsers, WithoutANameItIsTheOneOfSnmpConf)
{
    Config config;
    ASSERT_EQ(complaintsOf(config, kTwoUsers), "");
    const engine::PrinterAddress address = addressIn(config, "10.2.0.1");
    ASSERT_TRUE(address.user);
    EXPECT_TRUE(address.user->isFromSnmpConf);
}

TEST(ConfiguredUsers, AreNoneOfTheOtherVersions)
{
    Config config;
    ASSERT_EQ(complaintsOf(config, kTwoUsers), "");
    EXPECT_FALSE(addressIn(config, "10.0.0.9").user);
    EXPECT_FALSE(addressIn(Config(), "10.0.0.9").user);
}

TEST(ConfiguredUsers, BrokenOnesAreNotUsedAndNamedWithoutSayingAPassword)
{
    for (const char* user :
         {"7", "{}", R"({"authPassword": "secret7"})", R"({"authPassword": 12345678})",
          R"({"auth": "SHA-1", "authPassword": "secret78"})",
          R"({"authPassword": "secret78", "priv": "DES", "privPassword": "secret78"})",
          R"({"authPassword": "secret78", "priv": "AES"})",
          R"({"authPassword": "secret78", "priv": "AES", "privPassword": "secret7"})",
          R"({"authPassword": "secret78", "context": 1})", R"({"authPassword": "secret78\u0000"})"}) {
        Config config;
        const std::string said = complaintsOf(
            config, std::string(R"({"default": {"version": "3", "user": "mon"},)") +
                        R"("addresses": {"10.0.0.9": {"user": "good"}},)" +
                        R"("users": {"good": {"authPassword": "12345678"}, "mon": )" + user + "}}");
        EXPECT_EQ(said.find("line 1: \"users\": \"mon\": "), 0u) << said;
        EXPECT_EQ(said.find("secret"), std::string::npos) << said;
        EXPECT_EQ(addressIn(config, "10.0.0.1").version, VersionChoice::V3) << user;
        EXPECT_FALSE(addressIn(config, "10.0.0.1").user) << "not that of snmp.conf, nor another";
        EXPECT_TRUE(addressIn(config, "10.0.0.9").user) << user;
    }
}

TEST(ConfiguredUsers, WhoIsNotThereIsNoUser)
{
    Config config;
    EXPECT_EQ(complaintsOf(config,
                           R"({"default": {"version": "3"}, "addresses": {"10.0.0.1": {"user": "nobody"}}})"),
              "line 1: \"addresses\": \"10.0.0.1\": \"user\" is none of the \"users\"\n");
    EXPECT_FALSE(addressIn(config, "10.0.0.1").user);
    EXPECT_TRUE(addressIn(config, "10.0.0.2").user) << "that of snmp.conf";
    EXPECT_NE(complaintsOf(config, R"({"users": {"": {"authPassword": "secret78"}}})"), "");
}

TEST(ConfiguredUsers, WithoutEncryptionItsPasswordMayBeAsItLikes)
{
    Config config;
    EXPECT_EQ(complaintsOf(config, R"({"default": {"version": "3", "user": "mon"},
        "users": {"mon": {"authPassword": "12345678", "priv": "none", "privPassword": ""}}})"),
              "");
    EXPECT_TRUE(addressIn(config, "10.0.0.1").user);
}

TEST(ConfiguredUsers, AreNotUsedWhenOthersMayReadTheFile)
{
    const test::ScratchDirectory scratch;
    const test::ScopedVariable variable("TARN_CONFIG", scratch.path("tarn.json"));
    scratch.write("tarn.json", kTwoUsers);
    for (const mode_t mode : {0644u, 0640u, 0602u, 0666u}) {
        ASSERT_EQ(chmod(scratch.path("tarn.json").c_str(), mode), 0);
        testing::internal::CaptureStderr();
        const Config config = Config::load();
        const std::string said = testing::internal::GetCapturedStderr();
        EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 1) << said;
        EXPECT_NE(said.find(scratch.path("tarn.json")), std::string::npos) << said;
        char octal[8];
        std::snprintf(octal, sizeof octal, "%04o", static_cast<unsigned>(mode));
        EXPECT_NE(said.find(octal), std::string::npos) << said;
        EXPECT_EQ(said.find("12345678"), std::string::npos) << said;
        EXPECT_FALSE(addressIn(config, "10.0.0.1").user);
        EXPECT_EQ(addressIn(config, "10.0.0.1").version, VersionChoice::V3) << "the other settings hold";
        EXPECT_TRUE(addressIn(config, "10.2.0.1").user) << "that of snmp.conf is not in this file";
    }
    for (const mode_t mode : {0600u, 0400u}) {
        ASSERT_EQ(chmod(scratch.path("tarn.json").c_str(), mode), 0);
        testing::internal::CaptureStderr();
        EXPECT_TRUE(addressIn(Config::load(), "10.0.0.1").user);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    }
}

TEST(ConfiguredUsers, OfAFileWithoutThemAnyModeWillDo)
{
    const test::ScratchDirectory scratch;
    const test::ScopedVariable variable("TARN_CONFIG", scratch.path("tarn.json"));
    scratch.write("tarn.json", R"({"default": {"version": "3"}})");
    ASSERT_EQ(chmod(scratch.path("tarn.json").c_str(), 0644), 0);
    testing::internal::CaptureStderr();
    EXPECT_TRUE(addressIn(Config::load(), "10.0.0.1").user);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

} // namespace tarn::catalog
