#include "printer/tarn_library.h"

#include <gmock/gmock.h>

#include <QCoreApplication>

#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <thread>

#include "printer/printer_context.h"
#include "printer/printer_documents.h"
#include "printer/status_query.h"
#include "tests/unit/printer/tarn_fixture.h"

using namespace morvik::kel;
using kel_test::scriptedTarnDir;
using kel_test::scriptedTarnDirWithout;
using kel_test::tarnControl;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

// Sets TARN_DIR for one scope.
class TarnDirVariable
{
public:
    explicit TarnDirVariable(const char* value)
    {
        if (value != nullptr) {
            ::setenv("TARN_DIR", value, 1);
        } else {
            ::unsetenv("TARN_DIR");
        }
    }
    ~TarnDirVariable() { ::setenv("TARN_DIR", scriptedTarnDir().c_str(), 1); }
    TarnDirVariable(const TarnDirVariable&) = delete;
    TarnDirVariable& operator=(const TarnDirVariable&) = delete;
};

class TarnLibrary : public kel_test::TarnFixture
{
};

TEST_F(TarnLibrary, DirectoryIsTheVariablesValue)
{
    const TarnDirVariable variable("/some/where");
    EXPECT_EQ(tarnLibraryDir(), "/some/where");
}

TEST_F(TarnLibrary, EmptyVariableIsHonouredUnchanged)
{
    const TarnDirVariable variable("");
    EXPECT_EQ(tarnLibraryDir(), "");
    // So the file looked for is /libtarn.so, at the root; it is not there, as the loader's last words say.
    dlerror();
    EXPECT_FALSE(loadTarnLibrary(tarnLibraryDir()));
    const char* const said = dlerror();
    ASSERT_NE(said, nullptr);
    EXPECT_THAT(said, ::testing::StartsWith("/libtarn.so: "));
}

TEST_F(TarnLibrary, WithoutTheVariableItIsLibBesideTheProgramsDirectory)
{
    const TarnDirVariable variable(nullptr);
    int argc = 1;
    char name[] = "program";
    char* argv[] = {name, nullptr};
    const QCoreApplication application(argc, argv);
    const std::string expected = QCoreApplication::applicationDirPath().toStdString() + "/../lib";
    EXPECT_EQ(tarnLibraryDir(), expected);
    EXPECT_EQ(expected.front(), '/');
}

TEST_F(TarnLibrary, LoadStartsTheLibraryAndThenGivesItTheOptions)
{
    EXPECT_TRUE(load());
    EXPECT_TRUE(tarnEntryTable.loaded);
    EXPECT_THAT(tarnControl().calls(), ElementsAre("tarn_init", "tarn_setOptions"));
    EXPECT_EQ(tarnControl().lastOptions(),
              R"({"enable_cups_printer":false,"enable_set_printer_list":true,)"
              R"("enable_usb_printer_discovery":true,"enable_backends":"sm|smusb"})");
}

TEST_F(TarnLibrary, ResultsOfStartingAreIgnored)
{
    kel_test::TarnScript script;
    script.initResult = -7;
    script.setOptionsResult = 99;
    tarnControl().setScript(script);
    EXPECT_TRUE(load());
    EXPECT_TRUE(tarnEntryTable.loaded);
}

TEST_F(TarnLibrary, MissingFileIsRefusedSilently)
{
    testing::internal::CaptureStderr();
    EXPECT_FALSE(loadTarnLibrary("/nowhere"));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_FALSE(tarnEntryTable.loaded);
}

class TarnLibraryWithout : public TarnLibrary, public ::testing::WithParamInterface<const char*>
{
};

TEST_P(TarnLibraryWithout, IsRejectedAndNeverStarted)
{
    const std::string dir = scriptedTarnDirWithout(GetParam());
    void* const file = dlopen((dir + "/libtarn.so").c_str(), RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(file, nullptr) << dlerror();
    const auto control =
        reinterpret_cast<kel_test::TarnControl* (*)()>(dlsym(file, "scripted_tarn_control"))();
    EXPECT_FALSE(loadTarnLibrary(dir));
    EXPECT_FALSE(tarnEntryTable.loaded);
    EXPECT_THAT(control->calls(), IsEmpty());
    // It stays open but unusable: nobody calls into it.
    PrinterContext context;
    EXPECT_EQ(queryPrinterStatus(context), -1);
    EXPECT_THAT(syncPrinterList({}), IsEmpty());
    EXPECT_THAT(getPrinterModels(), IsEmpty());
    EXPECT_THAT(control->calls(), IsEmpty());
    {
        const TarnTurn turn(TarnTurn::Who::Registry);
        EXPECT_NE(tarnEntryTable.handle, nullptr);
    }
    dlclose(file);
}

INSTANTIATE_TEST_SUITE_P(EachEntryPoint, TarnLibraryWithout,
                         ::testing::Values("tarn_init", "tarn_destroy", "tarn_freeStr", "tarn_getPrinterList",
                                           "tarn_freePrinterList", "tarn_openPrinter", "tarn_closePrinter",
                                           "tarn_getVersion", "tarn_getTotalPages", "tarn_getSerialNumber",
                                           "tarn_getState", "tarn_getStateMessage", "tarn_getInfo",
                                           "tarn_getModels", "tarn_setOptions", "tarn_setPrinterList"),
                         [](const auto& suite) { return std::string(suite.param); });

TEST_F(TarnLibrary, UnloadStopsClosesAndForgetsTheLibraryButNotThatItWasLoaded)
{
    ASSERT_TRUE(load());
    unloadTarnLibrary();
    EXPECT_EQ(tarnControl().calls().back(), "tarn_destroy");
    EXPECT_TRUE(tarnEntryTable.loaded);
    const TarnTurn turn(TarnTurn::Who::Registry);
    EXPECT_EQ(tarnEntryTable.handle, nullptr);
    EXPECT_EQ(tarnEntryTable.openPrinter, nullptr);
    EXPECT_EQ(tarnEntryTable.setPrinterList, nullptr);
    EXPECT_EQ(tarnEntryTable.getVersion, nullptr);
}

TEST_F(TarnLibrary, UnloadedLibraryIsGivenBackToTheSystem)
{
    // One of its own: the other is in the hands of the tests.
    std::string dir = testing::TempDir() + "kel-tarn-XXXXXX";
    ASSERT_NE(::mkdtemp(dir.data()), nullptr);
    const std::string path = dir + "/libtarn.so";
    std::ofstream(path, std::ios::binary)
        << std::ifstream(scriptedTarnDir() + "/libtarn.so", std::ios::binary).rdbuf();
    ASSERT_TRUE(loadTarnLibrary(dir));
    unloadTarnLibrary();
    EXPECT_EQ(dlopen(path.c_str(), RTLD_LAZY | RTLD_NOLOAD), nullptr);
    ::unlink(path.c_str());
    ::rmdir(dir.c_str());
}

TEST_F(TarnLibrary, WhoHasATurnHasTheLibraryAlone)
{
    for (const TarnTurn::Who who : {TarnTurn::Who::Poll, TarnTurn::Who::Registry}) {
        const TarnTurn turn(who);
        std::thread([] {
            const bool isFree = tarnEntryTable.mutex.try_lock();
            EXPECT_FALSE(isFree);
            if (isFree) {
                tarnEntryTable.mutex.unlock();
            }
        }).join();
    }
}

TEST_F(TarnLibrary, NobodyReachesTheLibraryAfterUnloading)
{
    ASSERT_TRUE(load());
    unloadTarnLibrary();
    tarnControl().clearCalls();
    PrinterContext context;
    context.state = 5;
    EXPECT_EQ(queryPrinterStatus(context), -1);
    EXPECT_EQ(context.state, 5);
    EXPECT_THAT(syncPrinterList({context}), IsEmpty());
    EXPECT_THAT(getPrinterModels(), IsEmpty());
    EXPECT_THAT(tarnControl().calls(), IsEmpty());
}

TEST_F(TarnLibrary, WhatStartAndStopThrowIsIgnoredLikeTheirResults)
{
    tarnControl().setHook([](const std::string& function, const std::string&) {
        if (function == "tarn_init" || function == "tarn_setOptions" || function == "tarn_destroy") {
            throw std::runtime_error("thrown by the library");
        }
    });
    EXPECT_TRUE(load());
    EXPECT_NO_THROW(unloadTarnLibrary());
    tarnControl().setHook(nullptr);
    ASSERT_TRUE(load());
    unloadTarnLibrary();
}

} // namespace
