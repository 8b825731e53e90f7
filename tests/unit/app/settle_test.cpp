#include "app/settle.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

constexpr std::size_t size = std::size_t{1} << 16;

// Begins of the mappings found in a text.
std::vector<std::uintptr_t> begins(const std::string& smaps, const std::string& font = "/f/font.ttc")
{
    std::istringstream in(smaps);
    std::vector<std::uintptr_t> result;
    for (const FileMapping& mapping : droppableMappings(in, font)) {
        result.push_back(mapping.begin);
    }
    return result;
}

std::string entry(const std::string& head, int anonymousKiB)
{
    return head + "\nSize:                 12 kB\nRss:                  12 kB\nAnonymous:     " +
           std::to_string(anonymousKiB) + " kB\nVmFlags: rd mr mw me\n";
}

using Begins = std::vector<std::uintptr_t>;

TEST(DroppableMappings, AreCodeAndTheFont)
{
    EXPECT_EQ(begins(entry("1000-2000 r-xp 00000000 fd:00 7    /lib/a b.so", 0)), Begins{0x1000});
    EXPECT_EQ(begins(entry("3000-4000 r--p 00000000 fd:00 7    /f/font.ttc", 0)), Begins{0x3000});
    EXPECT_EQ(begins(entry("3000-4000 r--p 00000000 fd:00 7    /f/other.ttc", 0)), Begins{});
}

TEST(DroppableMappings, HaveNoPageOfTheProcessesOwn)
{
    EXPECT_EQ(begins(entry("1000-2000 r-xp 00000000 fd:00 7    /lib/a.so", 4)), Begins{});
    EXPECT_EQ(begins(entry("1000-2000 rwxp 00000000 fd:00 7    /lib/a.so", 0)), Begins{});
    EXPECT_EQ(begins(entry("1000-2000 rw-p 00000000 fd:00 7    /f/font.ttc", 0)), Begins{});
}

TEST(DroppableMappings, AreFiles)
{
    EXPECT_EQ(begins(entry("1000-2000 r-xp 00000000 00:00 0    [vdso]", 0)), Begins{});
    EXPECT_EQ(begins(entry("1000-2000 r-xp 00000000 00:00 0 ", 0)), Begins{});
    EXPECT_EQ(begins(entry("1000-2000 r--p 00000000 00:00 0 ", 0), ""), Begins{});
    EXPECT_EQ(begins("no mapping at all\nAnonymous:  0 kB\n"), Begins{});
}

// A file of one letter, mapped privately as the loader and the font code do.
class Mapped
{
public:
    explicit Mapped(const fs::path& path, int protection = PROT_READ) : m_path(path)
    {
        std::ofstream(path) << std::string(size, 'f');
        const int descriptor = ::open(path.c_str(), O_RDONLY);
        m_begin = static_cast<char*>(mmap(nullptr, size, protection, MAP_PRIVATE, descriptor, 0));
        ::close(descriptor);
    }
    ~Mapped()
    {
        munmap(m_begin, size);
        fs::remove(m_path);
    }
    Mapped(const Mapped&) = delete;
    Mapped& operator=(const Mapped&) = delete;

    char* begin() const { return m_begin; }
    // Whether the first page is in this process now, without touching it.
    bool isResident() const
    {
        const int pages = ::open("/proc/self/pagemap", O_RDONLY);
        std::uint64_t page = 0;
        const auto number =
            reinterpret_cast<std::uintptr_t>(m_begin) / static_cast<std::uintptr_t>(getpagesize());
        const ssize_t got = pread(pages, &page, sizeof page, static_cast<off_t>(number * sizeof page));
        ::close(pages);
        EXPECT_EQ(got, static_cast<ssize_t>(sizeof page));
        return page >> 63 != 0;
    }

private:
    const fs::path m_path;
    char* m_begin = nullptr;
};

fs::path fileOf(const char* name)
{
    return fs::canonical(fs::temp_directory_path()) / (std::string(name) + "." + std::to_string(getpid()));
}

TEST(SettleMemory, TakesAFontsPagesOutAndKeepsItsContent)
{
    const fs::path path = fileOf("settle_font");
    const Mapped font(path);
    ASSERT_EQ(*const_cast<volatile char*>(font.begin()), 'f');
    ASSERT_TRUE(font.isResident());
    settleMemory(path);
    EXPECT_FALSE(font.isResident());
    EXPECT_EQ(std::string(font.begin(), size), std::string(size, 'f'));
}

TEST(SettleMemory, KeepsWhatWasWrittenBeforeItWasProtected)
{
    const fs::path path = fileOf("settle_written");
    const Mapped relocated(path, PROT_READ | PROT_WRITE);
    std::memcpy(relocated.begin(), "mine", 4);
    ASSERT_EQ(mprotect(relocated.begin(), size, PROT_READ), 0);
    settleMemory(path);
    EXPECT_EQ(std::string(relocated.begin(), 4), "mine");
}

} // namespace
