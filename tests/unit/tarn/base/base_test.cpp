#include <gtest/gtest.h>

#include <sys/stat.h>

#include <atomic>
#include <cerrno>
#include <filesystem>
#include <set>
#include <thread>

#include "tarn/src/base/files.h"
#include "tarn/src/base/json_append.h"
#include "tarn/src/base/json_input.h"
#include "tarn/src/base/random.h"
#include "tarn/src/base/shared_object.h"
#include "tests/unit/tarn/support/no_descriptors.h"
#include "tests/unit/tarn/support/scratch_directory.h"

namespace tarn {
namespace {

std::string jsonTextOf(std::string_view text)
{
    std::string out;
    appendJsonString(out, text);
    return out;
}

TEST(JsonText, EscapesWhatJsonForbidsAndNothingElse)
{
    EXPECT_EQ(jsonTextOf("a\"b\\c"), R"("a\"b\\c")");
    EXPECT_EQ(jsonTextOf(std::string_view("\0\x1f\n\t", 4)), R"("\u0000\u001f\n\u0009")");
    EXPECT_EQ(jsonTextOf("办/é\x7f"), "\"办/é\x7f\"");
    EXPECT_EQ(jsonTextOf(""), "\"\"");
}

TEST(JsonText, EveryByteComesBackThroughTheReader)
{
    std::string all;
    for (int byte = 0; byte < 128; ++byte) {
        all += static_cast<char>(byte);
    }
    all += "端到端 😀";
    const auto root = parseJson("{\"x\":" + jsonTextOf(all) + "}", 10000);
    ASSERT_TRUE(root.has_value());
    EXPECT_EQ(textMember(*root, "x"), all);
}

TEST(JsonInput, RefusesWhatIsTooLargeOrTooDeep)
{
    EXPECT_TRUE(parseJson("[1]", 3).has_value());
    EXPECT_FALSE(parseJson("[1]", 2).has_value());
    EXPECT_TRUE(parseJson(std::string(32, '[') + std::string(32, ']'), 1000).has_value());
    EXPECT_FALSE(parseJson(std::string(33, '[') + std::string(33, ']'), 1000).has_value());
    EXPECT_FALSE(parseJson(std::string(1000000, '['), 2000000).has_value());
}

TEST(JsonInput, MemberOfAnotherTypeIsNoText)
{
    const auto root = parseJson(R"({"a":1,"b":null,"c":{}})", 100);
    EXPECT_EQ(textMember(*root, "a"), "");
    EXPECT_EQ(textMember(*root, "b"), "");
    EXPECT_EQ(textMember(*root, "d"), "");
    EXPECT_EQ(textMember(Json::Value(5), "a"), "");
}

TEST(Files, AbsentUnreadableAndTooLargeAreToldApart)
{
    const test::ScratchDirectory scratch;
    EXPECT_EQ(readFile(scratch.path("none"), 10).error, ReadError::Absent);
    EXPECT_EQ(readFile(scratch.path(""), 10).error, ReadError::Unreadable);
    scratch.write("file", "0123456789");
    EXPECT_EQ(readFile(scratch.path("file"), 10).text, "0123456789");
    EXPECT_EQ(readFile(scratch.path("file"), 9).error, ReadError::Unreadable);
    EXPECT_FALSE(readFile(scratch.path("file"), 9).isForTheMoment);
    {
        const test::NoDescriptors none;
        EXPECT_EQ(readFile(scratch.path("file"), 10).error, ReadError::Unreadable);
        EXPECT_TRUE(readFile(scratch.path("file"), 10).isForTheMoment);
    }
    EXPECT_EQ(readFile(scratch.path("file/below"), 9).error, ReadError::Absent);
    ASSERT_EQ(mkfifo(scratch.path("fifo").c_str(), 0600), 0);
    EXPECT_EQ(readFile(scratch.path("fifo"), 10).error,
              ReadError::Unreadable); // and does not wait for a writer
}

TEST(Files, ReplacementMakesDirectoriesAndLeavesNothingBeside)
{
    const test::ScratchDirectory scratch;
    ASSERT_TRUE(replaceFile(scratch.path("a/b/file"), "one"));
    ASSERT_TRUE(replaceFile(scratch.path("a/b/file"), "two"));
    EXPECT_EQ(scratch.read("a/b/file"), "two");
    std::size_t entries = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(scratch.path("a/b"))) {
        ++entries;
    }
    EXPECT_EQ(entries, 1u);
}

// What an earlier call has left in errno is none of theirs.
TEST(Files, EarlierInterruptionOfAnotherDoesNotKeepAReader)
{
    const test::ScratchDirectory directory;
    ASSERT_TRUE(replaceFile(directory.path("file"), "text"));
    errno = EINTR;
    EXPECT_EQ(readFile(directory.path("file"), 100).text, "text");
}

TEST(Files, RelativePathHasADirectoryOrIsRefused)
{
    const test::ScratchDirectory directory;
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(directory.path(""));
    errno = EINTR; // as above; it stays until a call fails
    EXPECT_TRUE(replaceFile("d/file", "text"));
    EXPECT_FALSE(replaceFile("file", "text"));
    std::filesystem::current_path(before);
    EXPECT_EQ(readFile(directory.path("d/file"), 100).text, "text");
    EXPECT_FALSE(std::filesystem::exists(directory.path("file")));
}

TEST(Random, NumbersOfTheSystemDoNotRepeat)
{
    SystemRandom random;
    std::set<std::uint32_t> seen;
    for (int i = 0; i < 1000; ++i) {
        seen.insert(random.next());
    }
    EXPECT_GE(seen.size(), 990u); // of four thousand millions
}

TEST(Files, ReplacementThatCannotBeIsSaid)
{
    const test::ScratchDirectory scratch;
    scratch.write("file", "x");
    EXPECT_FALSE(replaceFile(scratch.path("file/below"), "y"));
    EXPECT_FALSE(replaceFile("relative", "y"));
    std::filesystem::create_directory(scratch.path("directory"));
    EXPECT_FALSE(replaceFile(scratch.path("directory"), "y"));
    EXPECT_EQ(scratch.read("file"), "x");
}

TEST(Files, ReaderSeesTheOldOrTheNewTextNeverAMixture)
{
    const test::ScratchDirectory scratch;
    const std::string path = scratch.path("file");
    const std::string one(200000, '1');
    const std::string two(300000, '2');
    ASSERT_TRUE(replaceFile(path, one));
    std::atomic<bool> done{false};
    std::thread writer([&] {
        for (int i = 0; i < 50; ++i) {
            replaceFile(path, i % 2 == 0 ? two : one);
        }
        done = true;
    });
    while (!done) {
        const FileText seen = readFile(path, 1000000);
        ASSERT_EQ(seen.error, ReadError::None);
        ASSERT_TRUE(seen.text == one || seen.text == two) << seen.text.size();
    }
    writer.join();
}

TEST(SharedObject, BindsWhatIsThereAndNamesWhatIsMissing)
{
    SharedObject math("libm.so.6");
    const SharedFunction<double(double)> cosine(math, "cos");
    ASSERT_TRUE(math.isUsable()) << math.complaint();
    EXPECT_EQ(cosine(0), 1);
    const SharedFunction<void()> none(math, "no_such_function");
    EXPECT_TRUE(none == nullptr);
    EXPECT_FALSE(math.isUsable());
    EXPECT_EQ(math.complaint(), "it has no no_such_function");
}

TEST(SharedObject, MissingLibraryIsNotUsableAndSaysWhich)
{
    SharedObject missing("libno-such-library.so.1");
    const SharedFunction<void()> none(missing, "anything");
    EXPECT_TRUE(none == nullptr);
    EXPECT_FALSE(missing.isUsable());
    EXPECT_NE(missing.complaint().find("libno-such-library.so.1"), std::string::npos);
}

TEST(Files, RelativePlacesOfTheEnvironmentAreIgnored)
{
    const test::ScopedVariable home("HOME", "/home/someone");
    const test::ScopedVariable relative("XDG_CACHE_HOME", "cache");
    EXPECT_EQ(xdgDirectory("XDG_CACHE_HOME", "/.cache"), "/home/someone/.cache");
    const test::ScopedVariable absolute("XDG_CACHE_HOME", "/var/cache/x");
    EXPECT_EQ(xdgDirectory("XDG_CACHE_HOME", "/.cache"), "/var/cache/x");
    const test::ScopedVariable none("HOME", nullptr);
    const test::ScopedVariable unset("XDG_CACHE_HOME", nullptr);
    EXPECT_EQ(xdgDirectory("XDG_CACHE_HOME", "/.cache"), "");
}

} // namespace
} // namespace tarn
