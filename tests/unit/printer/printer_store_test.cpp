#include "printer/printer_store.h"

#include <boost/filesystem.hpp>
#include <gmock/gmock.h>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

#include "tests/support/open_descriptors.h"

namespace fs = boost::filesystem;
using morvik::kel::PrinterContext;
using morvik::kel::PrinterStore;
using ::testing::IsEmpty;
using ::testing::SizeIs;

namespace {

PrinterContext printer(const std::string& name, const std::string& ip = "10.0.0.1")
{
    PrinterContext context(false);
    context.printerName = name;
    context.manufacturer = "MORVIK";
    context.model = "X1";
    context.ip = ip;
    return context;
}

std::string text(const std::string& name)
{
    return R"([{"ip":"10.0.0.1","manufacturer":"MORVIK","model":"X1","printerName":")" + name + "\"}]\n";
}

// Root reads and writes everything; rights are tested as nobody then. Everything under `tree` becomes
// nobody's.
class AsOrdinaryUser
{
public:
    explicit AsOrdinaryUser(const fs::path& tree)
    {
        if (::geteuid() != 0) {
            return;
        }
        own(tree);
        for (const fs::directory_entry& entry : fs::recursive_directory_iterator(tree)) { // as root still
            own(entry.path());
        }
        m_isChanged = ::seteuid(kNobody) == 0;
        EXPECT_TRUE(m_isChanged);
    }
    ~AsOrdinaryUser()
    {
        if (m_isChanged) {
            EXPECT_EQ(::seteuid(0), 0);
        }
    }
    AsOrdinaryUser(const AsOrdinaryUser&) = delete;
    AsOrdinaryUser& operator=(const AsOrdinaryUser&) = delete;

private:
    static constexpr uid_t kNobody = 65534;
    static void own(const fs::path& path) { EXPECT_EQ(::lchown(path.c_str(), kNobody, kNobody), 0); }
    bool m_isChanged = false;
};

class PrinterStoreTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        std::string pattern = (fs::temp_directory_path() / "kel-store-XXXXXX").string();
        ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
        m_dir = pattern;
        m_path = (m_dir / "Morvik/kel/printers.json").string();
    }
    void TearDown() override
    {
        boost::system::error_code ignored;
        fs::permissions(fs::path(m_path).parent_path(), fs::owner_all, ignored);
        fs::remove_all(m_dir);
    }

    void write(const std::string& content) const { writeTo(m_path, content); }
    static void writeTo(const std::string& path, const std::string& content)
    {
        fs::create_directories(fs::path(path).parent_path());
        std::ofstream(path, std::ios::binary) << content;
    }
    std::string read() const { return readFrom(m_path); }
    static std::string readFrom(const std::string& path)
    {
        std::ifstream file(path, std::ios::binary);
        std::ostringstream content;
        content << file.rdbuf();
        return content.str();
    }
    std::string journal() const { return m_path + ".journal"; }
    std::string lockPath() const { return m_path + ".lock"; }
    std::string previous() const { return m_path + ".previous"; }
    std::vector<PrinterContext> load() const { return PrinterStore(m_path).load(); }
    std::string names() const
    {
        std::string joined;
        for (const PrinterContext& context : load()) {
            joined += context.printerName + ";";
        }
        return joined;
    }
    void save(const std::vector<PrinterContext>& list) const { PrinterStore(m_path).save(list); }
    static struct stat status(const std::string& path)
    {
        struct stat data = {};
        EXPECT_EQ(::stat(path.c_str(), &data), 0);
        return data;
    }

    fs::path m_dir;
    std::string m_path;
};

TEST_F(PrinterStoreTest, MissingFileIsCreatedWithAnEmptyListForEverybody)
{
    EXPECT_THAT(load(), IsEmpty());
    EXPECT_EQ(read(), "[]");
    EXPECT_EQ(status(m_path).st_mode & 07777, 0777u);
}

TEST_F(PrinterStoreTest, SavingCreatesWhatIsMissingToo)
{
    save({printer("office")});
    EXPECT_EQ(read(), text("office"));
    EXPECT_EQ(status(m_path).st_mode & 07777, 0777u);
}

TEST_F(PrinterStoreTest, LayoutIsTheCompactWritersOwn)
{
    save({printer("b", "1"), printer("a \"\\", "2")});
    EXPECT_EQ(
        read(),
        "[{\"ip\":\"1\",\"manufacturer\":\"MORVIK\",\"model\":\"X1\",\"printerName\":\"b\"},"
        "{\"ip\":\"2\",\"manufacturer\":\"MORVIK\",\"model\":\"X1\",\"printerName\":\"a \\\"\\\\\"}]\n");
}

TEST_F(PrinterStoreTest, CharactersBeyondAsciiAreWrittenAsEscapesAndComeBack)
{
    save({printer("办公室")});
    EXPECT_EQ(read(), text("\\u529e\\u516c\\u5ba4"));
    EXPECT_EQ(names(), "办公室;");
}

TEST_F(PrinterStoreTest, NoNetworkPrinterWritesNullWhichReadsAsAnEmptyList)
{
    PrinterContext usb(true);
    usb.printerName = "usb";
    save({usb});
    EXPECT_EQ(read(), "null\n");
    EXPECT_THAT(load(), IsEmpty());
    save({});
    EXPECT_EQ(read(), "null\n");
}

TEST_F(PrinterStoreTest, UsbPrintersAreNeverWritten)
{
    PrinterContext usb(true);
    usb.printerName = "usb";
    save({usb, printer("office")});
    EXPECT_EQ(read(), text("office"));
}

TEST_F(PrinterStoreTest, FourMembersComeBackAndNothingElse)
{
    write(
        R"([{"printerName":"n","manufacturer":"m","model":"o","ip":"i","uuid":"u","isUsbPrinter":true,"state":"5"}])");
    const std::vector<PrinterContext> list = load();
    ASSERT_THAT(list, SizeIs(1));
    EXPECT_EQ(list[0].printerName + list[0].manufacturer + list[0].model + list[0].ip, "nmoi");
    EXPECT_EQ(list[0].uuid, "");
    EXPECT_FALSE(list[0].isUsbPrinter);
    EXPECT_EQ(list[0].state, 0);
}

TEST_F(PrinterStoreTest, ReadingIsLenient)
{
    write(
        R"(/* mine */ [{"printerName":5,"ip":"i"},{},{"printerName":"a\u0000b"},5,null,{"printerName":""}] junk)");
    const std::vector<PrinterContext> list = load();
    ASSERT_THAT(list, SizeIs(6));
    EXPECT_EQ(list[0].printerName, "");
    EXPECT_EQ(list[0].ip, "i");
    EXPECT_EQ(list[1].printerName, "");
    EXPECT_EQ(list[2].printerName, "a");
    EXPECT_EQ(list[3].printerName + list[4].printerName, "");
}

TEST_F(PrinterStoreTest, EntriesOfOneNameAreAllRead)
{
    save({printer("a", "1"), printer("a", "2")});
    const std::vector<PrinterContext> list = load();
    ASSERT_THAT(list, SizeIs(2));
    EXPECT_EQ(list[1].ip, "2");
}

TEST_F(PrinterStoreTest, WhateverIsNoListIsEmptyAndStaysAsItIs)
{
    const std::string deep(100'000, '[');
    const std::vector<std::string> contents = {"",
                                               "plain",
                                               "null",
                                               "{}",
                                               "5",
                                               "\"text\"",
                                               "[",
                                               deep,
                                               "\xEF\xBB\xBF[]",
                                               std::string("[\0]", 3),
                                               "\xFF\xFE[",
                                               std::string(1000, '\0')};
    for (const std::string& content : contents) {
        write(content);
        EXPECT_THAT(load(), IsEmpty()) << content.substr(0, 40);
        EXPECT_EQ(read(), content);
        EXPECT_FALSE(fs::exists(journal()));
    }
}

TEST_F(PrinterStoreTest, FileCutAtAnyByteLoadsTheWholeListOrNoneAndStaysAsItIs)
{
    save({printer("one"), printer("two"), printer("three")});
    const std::string whole = read();
    for (std::size_t length = 0; length <= whole.size(); ++length) {
        write(whole.substr(0, length));
        EXPECT_EQ(load().size(), length >= whole.size() - 1 ? 3u : 0u) << length;
        EXPECT_EQ(status(m_path).st_size, static_cast<off_t>(length));
    }
}

TEST_F(PrinterStoreTest, InvalidUtf8IsReadAndDoesNotHurt)
{
    write("[{\"printerName\":\"\xFF\xC0\x80x\"}]");
    EXPECT_EQ(names(), "\xFF\xC0\x80x;");
    EXPECT_NO_THROW(save(load()));
    EXPECT_THAT(load(), SizeIs(1));
}

TEST_F(PrinterStoreTest, HundredMegabytesAreRead)
{
    std::string content = "[{\"printerName\":\"first\"},{\"model\":\"";
    content += std::string(100'000'000, 'x') + "\"},{\"printerName\":\"last\"}]";
    write(content);
    PrinterStore store(m_path);
    ASSERT_THAT(store.load(), SizeIs(3));
    EXPECT_EQ(store.load()[2].printerName, "last");
}

TEST_F(PrinterStoreTest, UnreadableFileIsAnEmptyList)
{
    write(text("office"));
    ASSERT_EQ(::chmod(m_path.c_str(), 0), 0);
    const AsOrdinaryUser user(m_dir);
    EXPECT_THAT(load(), IsEmpty());
    EXPECT_THROW(save({printer("new")}), fs::filesystem_error);
}

TEST_F(PrinterStoreTest, DirectoryWithoutRightsIsAnEmptyListAndAnErrorWhenSaving)
{
    write(text("office"));
    ASSERT_EQ(::chmod(fs::path(m_path).parent_path().c_str(), 0), 0);
    const AsOrdinaryUser user(m_dir);
    EXPECT_THAT(load(), IsEmpty());
    EXPECT_THROW(save({printer("new")}), fs::filesystem_error);
}

TEST_F(PrinterStoreTest, DirectoryInPlaceOfTheFileIsAnEmptyListAndAnErrorWhenSaving)
{
    fs::create_directories(m_path);
    EXPECT_THAT(load(), IsEmpty());
    EXPECT_THROW(save({printer("office")}), fs::filesystem_error);
    EXPECT_TRUE(fs::is_directory(m_path));
}

TEST_F(PrinterStoreTest, FifoInPlaceOfTheFileHangsNobody)
{
    fs::create_directories(fs::path(m_path).parent_path());
    ASSERT_EQ(::mkfifo(m_path.c_str(), 0666), 0);
    EXPECT_THAT(load(), IsEmpty());
    EXPECT_THROW(save({printer("office")}), fs::filesystem_error);
}

TEST_F(PrinterStoreTest, DanglingLinkIsFollowed)
{
    const std::string target = (m_dir / "target.json").string();
    fs::create_directories(fs::path(m_path).parent_path());
    fs::create_symlink(target, m_path);
    EXPECT_THAT(load(), IsEmpty());
    EXPECT_EQ(readFrom(target), "[]");
    EXPECT_TRUE(fs::is_symlink(m_path));
}

TEST_F(PrinterStoreTest, LinkIntoNowhereIsAnEmptyListAndAnErrorWhenSaving)
{
    fs::create_directories(fs::path(m_path).parent_path());
    fs::create_symlink("/nowhere/at/all", m_path);
    EXPECT_THAT(load(), IsEmpty());
    EXPECT_THROW(save({printer("office")}), fs::filesystem_error);
    EXPECT_TRUE(fs::is_symlink(m_path));
}

TEST_F(PrinterStoreTest, SavingThroughALinkKeepsLinkInodeAndMode)
{
    const std::string target = (m_dir / "elsewhere/list.json").string();
    writeTo(target, "[]");
    ASSERT_EQ(::chmod(target.c_str(), 0640), 0);
    const ino_t inode = status(target).st_ino;
    fs::create_directories(fs::path(m_path).parent_path());
    fs::create_symlink(target, m_path);
    save({printer("office")});
    EXPECT_TRUE(fs::is_symlink(m_path));
    EXPECT_EQ(readFrom(target), text("office"));
    EXPECT_EQ(status(target).st_ino, inode);
    EXPECT_EQ(status(target).st_mode & 07777, 0640u);
}

TEST_F(PrinterStoreTest, SavingShorterTextLeavesNothingOfTheLongerOne)
{
    save({printer("a rather long name for a printer")});
    save({printer("b")});
    EXPECT_EQ(read(), text("b"));
}

TEST_F(PrinterStoreTest, SavingLeavesTheListItsLockAndTheListBefore)
{
    const auto entries = [&] {
        std::set<std::string> found;
        for (const fs::directory_entry& entry : fs::directory_iterator(fs::path(m_path).parent_path())) {
            found.insert(entry.path().filename().string());
        }
        return found;
    };
    save({printer("office")});
    EXPECT_EQ(entries(), (std::set<std::string>{"printers.json", "printers.json.lock"}));
    save({printer("other")});
    EXPECT_EQ(entries(),
              (std::set<std::string>{"printers.json", "printers.json.lock", "printers.json.previous"}));
}

TEST_F(PrinterStoreTest, LastListThatHadPrintersIsKeptBesideTheOneThatReplacedIt)
{
    save({printer("a"), printer("b")});
    const std::string both = read();
    EXPECT_FALSE(fs::exists(previous())); // an empty list was replaced
    save({});
    EXPECT_EQ(readFrom(previous()), both);
    save({});
    save({printer("c")});
    EXPECT_EQ(readFrom(previous()), both); // lists without printers are not kept
    save({printer("c")});
    EXPECT_EQ(readFrom(previous()), both); // nor is one that nothing replaced
    save({printer("d")});
    EXPECT_EQ(readFrom(previous()), text("c"));
}

TEST_F(PrinterStoreTest, ListBeforeHasTheModeOfTheListAndIsReplacedWhole)
{
    save({printer("a")});
    ASSERT_EQ(::chmod(m_path.c_str(), 0640), 0);
    save({printer("b")});
    EXPECT_EQ(status(previous()).st_mode & 07777, 0640u);
    const ino_t inode = status(previous()).st_ino;
    writeTo(previous() + ".new", "what a killed save left, longer than what comes");
    save({printer("c")});
    EXPECT_EQ(readFrom(previous()), text("b"));
    EXPECT_NE(status(previous()).st_ino, inode); // by a rename
    EXPECT_FALSE(fs::exists(previous() + ".new"));
}

TEST_F(PrinterStoreTest, ListBeforeThatCannotBeKeptIsNoReasonNotToSave)
{
    save({printer("a")});
    fs::create_directory(previous());
    save({printer("b")});
    EXPECT_EQ(read(), text("b"));
    EXPECT_FALSE(fs::exists(previous() + ".new"));
}

// Everybody may open the list, and lock it; that must not keep its owner from anything.
TEST_F(PrinterStoreTest, LockOnTheListItselfStallsNeitherLoadingNorSaving)
{
    save({printer("a")});
    const int other = ::open(m_path.c_str(), O_RDWR);
    ASSERT_EQ(::flock(other, LOCK_EX), 0);
    PrinterStore store(m_path);
    ASSERT_THAT(store.load(), SizeIs(1));
    store.save({printer("b")});
    EXPECT_EQ(read(), text("b"));
    ASSERT_THAT(store.load(), SizeIs(1));
    EXPECT_EQ(store.load()[0].printerName, "b"); // not what it knew before
    ::close(other);
    EXPECT_EQ(status(lockPath()).st_mode & 07777, 0600u); // nobody else can do it to this one
}

TEST_F(PrinterStoreTest, LockNameTakenByALinkOrADirectoryIsNotUsed)
{
    const std::string precious = (m_dir / "precious").string();
    fs::create_directories(fs::path(m_path).parent_path());
    fs::create_symlink(precious, lockPath());
    save({printer("a")});
    EXPECT_FALSE(fs::exists(precious));
    fs::remove(lockPath());
    fs::create_directory(lockPath());
    save({printer("b")});
    EXPECT_EQ(read(), text("b"));
}

TEST_F(PrinterStoreTest, DirectoryThatCannotBeCreatedThrows)
{
    writeTo((m_dir / "Morvik").string(), "a file where a directory should be");
    EXPECT_THROW(load(), fs::filesystem_error);
    EXPECT_THROW(save({}), fs::filesystem_error);
}

TEST_F(PrinterStoreTest, UnchangedFileIsReadAgainAndAChangedOneIsSeen)
{
    PrinterStore store(m_path);
    save({printer("a")});
    EXPECT_EQ(store.load()[0].printerName, "a");
    save({printer("b")}); // of the same length
    EXPECT_EQ(store.load()[0].printerName, "b");
    fs::remove(m_path);
    EXPECT_THAT(store.load(), IsEmpty());
    EXPECT_EQ(read(), "[]");
}

TEST_F(PrinterStoreTest, InterruptedSaveIsCompletedWhenTheFileIsNotWhole)
{
    const std::string next = text("new");
    for (std::size_t length = 0; length + 1 < next.size(); ++length) {
        write(next.substr(0, length)); // what a killed program left
        const ino_t inode = status(m_path).st_ino;
        writeTo(journal(), next);
        EXPECT_EQ(names(), "new;") << length;
        EXPECT_EQ(read(), next);
        EXPECT_EQ(status(m_path).st_ino, inode);
        EXPECT_FALSE(fs::exists(journal()));
    }
}

TEST_F(PrinterStoreTest, BlocksOfZerosAreNotWholeEither)
{
    write(std::string(text("new").size(), '\0'));
    writeTo(journal(), text("new"));
    EXPECT_EQ(names(), "new;");
}

TEST_F(PrinterStoreTest, InterruptedSaveIsForgottenWhenTheFileIsWhole)
{
    for (const std::string& whole :
         {text("old"), std::string("[]"), std::string("null\n"), std::string("[] mine")}) {
        write(whole);
        writeTo(journal(), text("new"));
        load();
        EXPECT_EQ(read(), whole);
        EXPECT_FALSE(fs::exists(journal()));
    }
}

TEST_F(PrinterStoreTest, JournalThatIsNotWholeIsNeverUsed)
{
    const std::string next = text("new");
    for (std::size_t length = 0; length < next.size(); ++length) {
        write("broken by hand");
        writeTo(journal(), next.substr(0, length));
        EXPECT_THAT(load(), IsEmpty()) << length;
        EXPECT_EQ(read(), "broken by hand");
        EXPECT_FALSE(fs::exists(journal()));
    }
}

TEST_F(PrinterStoreTest, SaveAfterAnInterruptedOneTakesItsPlace)
{
    write("[{");
    writeTo(journal(), text("new"));
    save({printer("later")});
    EXPECT_FALSE(fs::exists(journal()));
    EXPECT_EQ(names(), "later;");
    EXPECT_EQ(readFrom(previous()), text("new")); // which had been saved
}

TEST_F(PrinterStoreTest, InterruptedSaveIsLeftToAnotherProgramThatHoldsTheLock)
{
    save({printer("known")});
    PrinterStore store(m_path);
    store.load();
    write("[{");
    writeTo(journal(), text("new"));
    const int other = ::open(lockPath().c_str(), O_RDWR);
    ASSERT_EQ(::flock(other, LOCK_EX), 0);
    store.load();
    EXPECT_EQ(read(), "[{");
    EXPECT_TRUE(fs::exists(journal()));
    ::close(other);
    ASSERT_THAT(store.load(), SizeIs(1));
    EXPECT_EQ(store.load()[0].printerName, "new");
    EXPECT_FALSE(fs::exists(journal()));
}

TEST_F(PrinterStoreTest, JournalNameTakenByADirectoryDoesNotHinderSaving)
{
    save({printer("old")});
    fs::create_directory(journal());
    save({printer("new")});
    EXPECT_EQ(read(), text("new"));
    EXPECT_EQ(names(), "new;");
    EXPECT_TRUE(fs::is_directory(journal()));
}

TEST_F(PrinterStoreTest, JournalNameTakenByALinkIsNotFollowed)
{
    save({printer("old")});
    const std::string precious = (m_dir / "precious").string();
    writeTo(precious, "precious");
    fs::create_symlink(precious, journal());
    save({printer("new")});
    EXPECT_EQ(read(), text("new"));
    EXPECT_EQ(readFrom(precious), "precious");
}

TEST_F(PrinterStoreTest, LoadingWaitsForAnotherProgramsSaveRatherThanReadHalfOfIt)
{
    save({printer("known")});
    PrinterStore store(m_path);
    store.load();
    const int other = ::open(lockPath().c_str(), O_RDWR);
    ASSERT_EQ(::flock(other, LOCK_EX), 0);
    ASSERT_EQ(::truncate(m_path.c_str(), 0), 0); // the other program is in the middle of its save
    ASSERT_THAT(store.load(), SizeIs(1));
    EXPECT_EQ(store.load()[0].printerName, "known");
    ::close(other);
    EXPECT_THAT(store.load(), IsEmpty());
}

TEST_F(PrinterStoreTest, ConstantFilesAreReadButNotSaved)
{
    write(text("old"));
    ASSERT_EQ(::chmod(m_path.c_str(), 0444), 0);
    EXPECT_EQ(names(), "old;");
    const AsOrdinaryUser user(m_dir);
    EXPECT_THROW(save({printer("new")}), fs::filesystem_error);
    EXPECT_EQ(read(), text("old"));
}

TEST_F(PrinterStoreTest, ReadOnlyDirectoryIsNoReasonNotToSave)
{
    save({printer("old")});
    const fs::path directory = fs::path(m_path).parent_path();
    ASSERT_EQ(::chmod(directory.c_str(), 0555), 0);
    const AsOrdinaryUser user(m_dir);
    save({printer("new")});
    EXPECT_EQ(read(), text("new"));
    EXPECT_EQ(names(), "new;");
}

// Number 0 is a descriptor like any other where nobody has it for standard input.
TEST_F(PrinterStoreTest, NoDescriptorIsLeftBehindWithoutAStandardInput)
{
    const int input = ::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3);
    ::close(STDIN_FILENO);
    const int before = kel_test::openDescriptors();
    save({printer("one")});
    save({printer("two")});
    EXPECT_EQ(names(), "two;");
    EXPECT_EQ(kel_test::openDescriptors(), before);
    EXPECT_EQ(::fcntl(STDIN_FILENO, F_GETFD), -1);
    if (input >= 0) {
        ::dup2(input, STDIN_FILENO);
        ::close(input);
    }
}

TEST_F(PrinterStoreTest, NoDescriptorIsLeftBehind)
{
    const auto everything = [this] {
        save({printer("one"), printer("two")});
        save({printer("two")});
        write(text("another's"));
        PrinterStore store(m_path);
        store.load();
        store.load();
        write("[{"); // and a journal that a killed save left
        std::ofstream(m_path + ".journal") << text("whole");
        PrinterStore(m_path).load();
        save({});
    };
    everything();
    const int before = kel_test::openDescriptors();
    for (int i = 0; i < 3; ++i) {
        everything();
    }
    EXPECT_EQ(kel_test::openDescriptors(), before);
}

} // namespace
