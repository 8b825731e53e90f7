#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

namespace tarn::test {

// A directory of the test's own, gone at its end.
class ScratchDirectory final
{
public:
    ScratchDirectory()
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "tarn-test-XXXXXX").string();
        if (mkdtemp(pattern.data()) == nullptr) {
            throw std::runtime_error("no scratch directory");
        }
        m_path = pattern;
    }
    ~ScratchDirectory()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    ScratchDirectory(const ScratchDirectory&) = delete;
    ScratchDirectory& operator=(const ScratchDirectory&) = delete;

    std::string path(const std::string& name) const { return m_path + "/" + name; }
    void write(const std::string& name, const std::string& text) const
    {
        std::filesystem::create_directories(std::filesystem::path(path(name)).parent_path());
        std::ofstream(path(name), std::ios::binary) << text;
    }
    std::string read(const std::string& name) const
    {
        std::ostringstream text;
        text << std::ifstream(path(name), std::ios::binary).rdbuf();
        return text.str();
    }

private:
    std::string m_path;
};

// An environment variable for the time of a test; null: not set.
class ScopedVariable final
{
public:
    ScopedVariable(const char* name, const char* value) : m_name(name)
    {
        const char* before = std::getenv(name);
        m_wasSet = before != nullptr;
        m_before = m_wasSet ? before : "";
        set(value);
    }
    ScopedVariable(const char* name, const std::string& value) : ScopedVariable(name, value.c_str()) {}
    ~ScopedVariable() { set(m_wasSet ? m_before.c_str() : nullptr); }
    ScopedVariable(const ScopedVariable&) = delete;
    ScopedVariable& operator=(const ScopedVariable&) = delete;

private:
    void set(const char* value) const
    {
        if (value != nullptr) {
            setenv(m_name.c_str(), value, 1);
        } else {
            unsetenv(m_name.c_str());
        }
    }

    std::string m_name;
    std::string m_before;
    bool m_wasSet = false;
};

} // namespace tarn::test
