// Feeds the files of a corpus directory to a fuzz target's function: one test a file, so that what a fuzzer
// once found stays found.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

class ReplayTest : public testing::Test
{
public:
    explicit ReplayTest(std::filesystem::path file) : m_file(std::move(file)) {}

    void TestBody() override
    {
        std::ifstream in(m_file, std::ios::binary);
        ASSERT_TRUE(in.good()) << m_file;
        const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        // A copy of the exact size: a read behind the end is seen by the sanitizer.
        const std::vector<std::uint8_t> exact(bytes.begin(), bytes.end());
        EXPECT_EQ(LLVMFuzzerTestOneInput(exact.data(), exact.size()), 0);
    }

private:
    std::filesystem::path m_file;
};

} // namespace

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    std::vector<std::filesystem::path> files;
    for (int i = 1; i < argc; ++i) {
        for (const auto& entry : std::filesystem::directory_iterator(argv[i])) {
            if (entry.is_regular_file()) {
                files.push_back(entry.path());
            }
        }
    }
    if (files.empty()) {
        std::fprintf(stderr, "no corpus\n");
        return 1;
    }
    std::sort(files.begin(), files.end());
    for (const auto& file : files) {
        testing::RegisterTest("Corpus", file.filename().c_str(), nullptr, nullptr, __FILE__, __LINE__,
                              [file]() -> testing::Test* { return new ReplayTest(file); });
    }
    return RUN_ALL_TESTS();
}
