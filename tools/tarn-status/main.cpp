// tarn-status: what printers say of themselves, on a terminal or for other programs.
#include <cstdio>

#include "tools/common/exit_status.h"
#include "tools/common/file_error.h"
#include "tools/common/standard_output.h"
#include "tools/tarn-status/config/check_config.h"
#include "tools/tarn-status/explain/explain.h"
#include "tools/tarn-status/history/history_command.h"
#include "tools/tarn-status/options.h"
#include "tools/tarn-status/printer_access.h"
#include "tools/tarn-status/session.h"

namespace {

using namespace tarnstatus;

int run(const Options& options)
{
    switch (options.action) {
    case Options::Action::Help:
        tools::writeOut(helpText());
        return 0;
    case Options::Action::Version:
        tools::writeOut("tarn-status " + PrinterAccess::version() + "\n");
        return 0;
    case Options::Action::CheckConfig:
        return checkConfig(options.configFile);
    case Options::Action::Explain:
        return explain(options.explain, options.timeout);
    case Options::Action::Show:
        break;
    }
    if (options.history.isLookingBack()) {
        return lookBack(options);
    }
    return options.history.record ? record(options) : show(options);
}

int fail(const char* complaint, int status)
{
    std::fprintf(stderr, "tarn-status: %s\n", complaint);
    return status;
}

} // namespace

int main(int argc, char** argv)
{
    constexpr int kFailed = 70; // EX_SOFTWARE: the library refuses
    tools::reserveStandardDescriptors();
    try {
        return run(parseOptions(std::vector<std::string>(argv + 1, argv + argc)));
    } catch (const tools::UsageError& error) {
        return fail((std::string(error.what()) + "; see tarn-status --help").c_str(), tools::kWrongUsage);
    } catch (const tools::FileError& error) {
        return fail(error.what(), tools::kNoInput);
    } catch (const tools::WriteError& error) {
        return fail(error.what(), tools::kWriteFailed);
    } catch (const std::exception& error) {
        return fail(error.what(), kFailed);
    }
}
