#pragma once

#include <gtest/gtest.h>

#include <dlfcn.h>

#include <algorithm>
#include <string>

#include "printer/poll_gate.h"
#include "printer/tarn_library.h"
#include "tests/support/tarn_control.h"

namespace kel_test {

// A fresh script, an open gate, and at the end a library that nobody misused and nothing was kept from. The
// table of entry points is put back to its state before any load.
class TarnFixture : public ::testing::Test
{
protected:
    void SetUp() override
    {
        tarnControl().reset();
        morvik::kel::pollGate().open();
        m_textsBefore = tarnControl().textsOut();
        m_handlesBefore = tarnControl().handlesOpen();
    }
    void TearDown() override
    {
        EXPECT_EQ(tarnControl().violations(), std::vector<std::string>());
        EXPECT_EQ(tarnControl().textsOut(), m_textsBefore);
        EXPECT_EQ(tarnControl().handlesOpen(), m_handlesBefore);
        forgetLibrary();
        tarnControl().reset();
    }

    static bool load() { return morvik::kel::loadTarnLibrary(scriptedTarnDir()); }

    // What no program does: closes whatever is open and starts over.
    static void forgetLibrary()
    {
        using morvik::kel::tarnEntryTable;
        const morvik::kel::TarnTurn turn(morvik::kel::TarnTurn::Who::Registry);
        if (tarnEntryTable.handle != nullptr) {
            dlclose(tarnEntryTable.handle);
        }
        tarnEntryTable.handle = nullptr;
        tarnEntryTable.loaded = false;
    }

    long m_textsBefore = 0;
    long m_handlesBefore = 0;
};

// A fixture whose library is loaded.
class LoadedTarnFixture : public TarnFixture
{
protected:
    void SetUp() override
    {
        TarnFixture::SetUp();
        ASSERT_TRUE(load());
        tarnControl().clearCalls();
    }

    static void setPrinter(const std::string& name, const ScriptedPrinter& printer)
    {
        TarnScript script = tarnControl().script();
        script.printers[name] = printer;
        tarnControl().setScript(script);
    }
    static long opens(const std::string& name) { return tarnControl().count("tarn_openPrinter " + name); }
};

} // namespace kel_test
