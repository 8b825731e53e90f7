// The one place of this tool that looks behind the C interface: the library's own reader judges its file.
#include "tools/tarn-status/config/check_config.h"

#include <cstdlib>

#include "tarn/src/catalog/config.h"
#include "tools/common/file_error.h"
#include "tools/common/standard_output.h"
#include "tools/tarn-status/judgement.h"

namespace tarnstatus {

namespace {

bool isNamed(const std::string& file)
{
    const char* const variable = std::getenv("TARN_CONFIG");
    return !file.empty() || (variable != nullptr && *variable != '\0');
}

} // namespace

int checkConfig(const std::string& file)
{
    const std::string path = file.empty() ? tarn::catalog::configPath() : file;
    const tarn::catalog::ConfigFile found = tarn::catalog::readConfig(path);
    if (found.error == tarn::ReadError::Absent && !isNamed(file)) {
        tools::writeOut(path + ": no such file; the defaults hold\n");
        return static_cast<int>(Condition::Fine);
    }
    if (found.error != tarn::ReadError::None) {
        throw tools::FileError(
            path + (found.error == tarn::ReadError::Absent ? ": no such file" : " cannot be read"));
    }
    std::string out;
    for (const std::string& complaint : found.complaints) {
        out += path + ": " + complaint + '\n';
    }
    tools::writeOut(out.empty() ? path + ": nothing is wrong\n" : out);
    return static_cast<int>(out.empty() ? Condition::Fine : Condition::Attention);
}

} // namespace tarnstatus
