#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tests/unit/tarn/support/scratch_directory.h"

namespace hostile {

// What a program sees of one printer at one moment.
struct Sight
{
    int state = 0;
    bool online = false;
    std::int64_t ageMs = -1;
    std::string model;
    std::string serial;
    int pages = -1;
    std::string info; // the whole document
};

struct NamedPrinter
{
    std::string name;
    std::string ip;
};

// LibrarySession is libtarn.so between tarn_init and tarn_destroy, with a configuration of its own and no
// cache. Threading: see() from any thread.
class LibrarySession final
{
public:
    // Throws std::runtime_error when the library refuses.
    // addresses: of the configuration file, JSON, beside the port of all printers.
    explicit LibrarySession(std::uint16_t port, const std::string& addresses = "{}");
    ~LibrarySession();
    LibrarySession(const LibrarySession&) = delete;
    LibrarySession& operator=(const LibrarySession&) = delete;

    void name(const std::vector<NamedPrinter>& printers);
    Sight see(const std::string& name) const;

private:
    tarn::test::ScratchDirectory m_scratch;
    tarn::test::ScopedVariable m_cache;
    tarn::test::ScopedVariable m_state;
    tarn::test::ScopedVariable m_config;
};

// The list document of the ABI.
std::string listDocument(const std::vector<NamedPrinter>& printers);

} // namespace hostile
