#pragma once

#include <gtest/gtest.h>

#include <boost/filesystem.hpp>
#include <boost/make_shared.hpp>

#include <mutex>
#include <string>
#include <vector>

#include "printer/printer.h"
#include "printer/process_objects.h"
#include "tests/support/registry_probe.h"
#include "tests/unit/printer/tarn_fixture.h"

namespace kel_test {

inline morvik::kel::PrinterContext network(const std::string& name, const std::string& model = "X1")
{
    morvik::kel::PrinterContext context(false);
    context.printerName = name;
    context.manufacturer = "MORVIK";
    context.model = model;
    context.ip = "192.168.1.20";
    return context;
}

// A registry of its own for each test, on the scripted library, with no printers.json yet.
class RegistryFixture : public TarnFixture
{
protected:
    void SetUp() override
    {
        TarnFixture::SetUp();
        boost::filesystem::remove_all(boost::filesystem::path(morvik::kel::g_printersPath).parent_path());
        create();
        tarnControl().clearCalls();
    }
    void TearDown() override
    {
        tarnControl().setHook(nullptr);
        m_registry.reset();
        boost::filesystem::remove_all(boost::filesystem::path(morvik::kel::g_printersPath).parent_path());
        TarnFixture::TearDown();
    }

    void create() { m_registry = morvik::kel::PrinterManagerProbe::create(); }
    morvik::kel::PrinterManager& registry() { return *m_registry; }
    std::vector<boost::shared_ptr<morvik::kel::Printer>> printers()
    {
        return morvik::kel::PrinterManagerProbe::printers(*m_registry);
    }
    std::string names()
    {
        std::string joined;
        for (const morvik::kel::PrinterContext& context : registry().getPrinters()) {
            joined += context.printerName + ";";
        }
        return joined;
    }
    // Saves these names as network printers and reconciles; the library echoes them.
    void use(const std::vector<std::string>& list)
    {
        std::vector<morvik::kel::PrinterContext> contexts;
        for (const std::string& name : list) {
            contexts.push_back(network(name));
        }
        registry().savePrinters(contexts);
        registry().start();
    }
    static long opens(const std::string& name) { return tarnControl().count("tarn_openPrinter " + name); }

    morvik::kel::PrinterManagerProbe::Owned m_registry;
};

} // namespace kel_test
