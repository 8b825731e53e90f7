#pragma once

#include <gtest/gtest.h>

#include <string>

// Every instance of the program on a machine meets at /tmp/kel.lock. A test program that includes this has a
// /tmp of its own, so that it neither meets nor disturbs anybody's; where the system does not allow that, its
// tests are skipped.
class PrivateTmp : public ::testing::Environment
{
public:
    void SetUp() override;
    // Empty, or why there is none.
    static const std::string& failure();
};

// A fresh folder under the private /tmp for each test, and the lock file gone.
class KelTest : public ::testing::Test
{
protected:
    void SetUp() override;
    void TearDown() override;

    void writeFile(const std::string& name, const std::string& content) const;
    std::string readFile(const std::string& name) const;
    // Puts the scripted library's answers in place, whole.
    void setScript(const std::string& json) const;
    std::string printersFile() const { return m_folder + "/data/Morvik/kel/printers.json"; }
    void writePrinters(const std::string& text) const;

    std::string m_folder;
};
