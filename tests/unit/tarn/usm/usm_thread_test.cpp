#include "tarn/src/usm/usm_thread.h"

#include <gtest/gtest.h>
#include <poll.h>

#include <algorithm>

#include "tarn/src/usm/net_snmp_library.h"
#include "tests/support/own_threads.h"
#include "tests/unit/tarn/support/no_descriptors.h"
#include "tests/unit/tarn/support/scratch_directory.h"

namespace tarn::usm {

namespace {

UsmQuestion question(std::uint32_t address, const std::shared_ptr<const engine::UsmUser>& user)
{
    UsmQuestion question;
    question.endpoint = {address, 16399};
    question.ticket = 1;
    question.user = user;
    question.pdu.varbinds.push_back({{1, 3, 6, 1, 2, 1, 1, 1, 0}, {}});
    return question;
}

std::shared_ptr<const engine::UsmUser> user(const std::string& password)
{
    auto user = std::make_shared<engine::UsmUser>();
    user->name = "mon";
    user->authPassword = password;
    return user;
}

// Until the text on stderr has so many lines; what it is then.
std::string saidWithin(UsmThread& thread, int lines)
{
    std::string said;
    for (int i = 0; i < 500 && std::count(said.begin(), said.end(), '\n') < lines; ++i) {
        ::poll(nullptr, 0, 10);
        thread.take();
        std::fflush(stderr);
        said += testing::internal::GetCapturedStderr();
        testing::internal::CaptureStderr();
    }
    return said;
}

} // namespace

TEST(UsmThreadTest, BeginsWithTheFirstQuestion)
{
    const BootClock clock;
    const test::ScratchDirectory scratch;
    const test::ScopedVariable path("SNMPCONFPATH", scratch.path(""));
    {
        UsmThread thread(clock, NetSnmpLibrary::kSoname);
        thread.forget({1, 2});
        thread.reopen();
        EXPECT_TRUE(thread.take().empty());
        EXPECT_EQ(thread.descriptor(), -1);
        EXPECT_EQ(kel_test::ownThreads("tarn-usm"), 0);
        thread.ask(question(0x7F2B0901, user("authpass12"))); // 127.43.9.1, where nobody is
        EXPECT_GE(thread.descriptor(), 0);
        EXPECT_EQ(kel_test::ownThreads("tarn-usm"), 1);
    }
    EXPECT_EQ(kel_test::ownThreads("tarn-usm"), 0);
}

TEST(UsmThreadTest, BeginsWithALaterQuestionWhereTheFirstFoundNoDescriptors)
{
    const BootClock clock;
    const test::ScratchDirectory scratch;
    const test::ScopedVariable path("SNMPCONFPATH", scratch.path(""));
    UsmThread thread(clock, NetSnmpLibrary::kSoname);
    {
        const test::NoDescriptors none;
        thread.ask(question(0x7F2B0901, user("authpass12")));
        EXPECT_TRUE(thread.take().empty());
    }
    EXPECT_EQ(kel_test::ownThreads("tarn-usm"), 0);
    thread.ask(question(0x7F2B0901, user("authpass12")));
    EXPECT_EQ(kel_test::ownThreads("tarn-usm"), 1);
}

TEST(UsmThreadTest, WithoutTheLibraryOneLineIsSaidAndNothingIsAnswered)
{
    const BootClock clock;
    testing::internal::CaptureStderr();
    UsmThread thread(clock, "libnetsnmp.so.none");
    thread.ask(question(0x7F2B0901, user("authpass12")));
    std::string said = saidWithin(thread, 1);
    thread.ask(question(0x7F2B0902, user("authpass12")));
    thread.reopen();
    thread.forget({0x7F2B0901, 16399});
    ::poll(nullptr, 0, 50);
    said += testing::internal::GetCapturedStderr();
    EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 1) << said;
    EXPECT_NE(said.find("libnetsnmp.so.none"), std::string::npos) << said;
    EXPECT_TRUE(thread.take().empty());
}

TEST(UsmThreadTest, AUserWithoutKeysIsSaidOnceForEachAddress)
{
    const BootClock clock;
    const test::ScratchDirectory scratch;
    const test::ScopedVariable path("SNMPCONFPATH", scratch.path(""));
    testing::internal::CaptureStderr();
    UsmThread thread(clock, NetSnmpLibrary::kSoname);
    const auto wrong = user("secret7");
    for (int i = 0; i < 5; ++i) {
        thread.ask(question(0x7F2B0901, wrong));
        thread.ask(question(0x7F2B0902, wrong));
    }
    std::string said = saidWithin(thread, 2);
    ::poll(nullptr, 0, 50);
    said += testing::internal::GetCapturedStderr();
    EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 2) << said;
    EXPECT_NE(said.find("127.43.9.1 port 16399"), std::string::npos) << said;
    EXPECT_NE(said.find("127.43.9.2 port 16399"), std::string::npos) << said;
    EXPECT_EQ(said.find("secret7"), std::string::npos) << said;
}

} // namespace tarn::usm
