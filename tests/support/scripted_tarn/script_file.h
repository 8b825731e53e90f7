#pragma once

#include <string>

#include "tests/support/scripted_tarn/scripted_tarn.h"

namespace kel_test {

// Reads the script of SCRIPTED_TARN_SCRIPT anew when the file has changed since the last call. False when
// there is none, it did not change, or it cannot be understood (one line on stderr then).
class ScriptFile final
{
public:
    ScriptFile();
    bool changed(TarnScript& script);

private:
    std::string m_path;
    long long m_seconds = -1;
    long long m_nanoseconds = -1;
    unsigned long long m_inode = 0;
};

// Appends one line to SCRIPTED_TARN_LOG, of a long one its beginning. False where that is not set.
bool appendToLogFile(const std::string& call);

} // namespace kel_test
