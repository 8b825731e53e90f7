#include "tests/support/scripted_tarn/script_file.h"

#include <json/reader.h>
#include <json/value.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iostream>

namespace kel_test {

namespace {

constexpr std::size_t kLongestLine = 200; // of the log: names may be endless

void read(const Json::Value& object, const char* key, int& field)
{
    field = object.get(key, field).asInt();
}

void read(const Json::Value& object, const char* key, std::optional<std::string>& field)
{
    if (!object.isMember(key)) {
        return;
    }
    field = object[key].isNull() ? std::nullopt : std::optional<std::string>(object[key].asString());
}

ScriptedPrinter readPrinter(const Json::Value& object)
{
    ScriptedPrinter printer;
    read(object, "openResult", printer.openResult);
    read(object, "state", printer.state);
    read(object, "serialNumber", printer.serialNumber);
    read(object, "info", printer.info);
    read(object, "stateMessage", printer.stateMessage);
    read(object, "getterResult", printer.getterResult);
    read(object, "delayMs", printer.delayMs);
    read(object, "randomDelayMs", printer.randomDelayMs);
    return printer;
}

TarnScript readScript(const Json::Value& root)
{
    TarnScript script;
    read(root, "initResult", script.initResult);
    read(root, "setOptionsResult", script.setOptionsResult);
    read(root, "setPrinterListResult", script.setPrinterListResult);
    read(root, "getPrinterListResult", script.getPrinterListResult);
    read(root, "getModelsResult", script.getModelsResult);
    script.echoList = root.get("echoList", true).asBool();
    for (const Json::Value& extra : root["extraPrinters"]) {
        script.extraPrinters.push_back(extra.asString());
    }
    read(root, "listDocument", script.listDocument);
    read(root, "modelsDocument", script.modelsDocument);
    read(root, "listDelayMs", script.listDelayMs);
    read(root, "modelsDelayMs", script.modelsDelayMs);
    read(root, "blockOnceMs", script.blockOnceMs);
    const Json::Value& printers = root["printers"];
    for (const std::string& name : printers.getMemberNames()) {
        script.printers[name] = readPrinter(printers[name]);
    }
    if (root.isMember("defaultPrinter")) {
        script.defaultPrinter = root["defaultPrinter"].isNull()
                                    ? std::nullopt
                                    : std::optional<ScriptedPrinter>(readPrinter(root["defaultPrinter"]));
    }
    script.chaosSeed = root.get("chaosSeed", Json::UInt64(0)).asUInt64();
    return script;
}

} // namespace

ScriptFile::ScriptFile()
{
    if (const char* path = std::getenv("SCRIPTED_TARN_SCRIPT")) {
        m_path = path;
    }
}

bool ScriptFile::changed(TarnScript& script)
{
    struct stat data = {};
    if (m_path.empty() || ::stat(m_path.c_str(), &data) != 0) {
        return false;
    }
    if (data.st_mtim.tv_sec == m_seconds && data.st_mtim.tv_nsec == m_nanoseconds && data.st_ino == m_inode) {
        return false;
    }
    m_seconds = data.st_mtim.tv_sec;
    m_nanoseconds = data.st_mtim.tv_nsec;
    m_inode = data.st_ino;
    std::ifstream file(m_path);
    Json::Value root;
    std::string errors;
    try {
        if (!Json::parseFromStream(Json::CharReaderBuilder(), file, &root, &errors)) {
            throw std::runtime_error(errors);
        }
        const Json::Value& script_ = root;
        script = readScript(script_);
        return true;
    } catch (const std::exception& error) {
        std::cerr << "scripted libtarn: " << m_path << ": " << error.what() << '\n';
        return false;
    }
}

bool appendToLogFile(const std::string& call)
{
    static const char* const path = std::getenv("SCRIPTED_TARN_LOG");
    if (path == nullptr) {
        return false;
    }
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    const std::string line =
        std::to_string(std::chrono::duration_cast<std::chrono::milliseconds>(now).count()) + " " +
        call.substr(0, kLongestLine) + "\n";
    const int file = ::open(path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
    if (file < 0) {
        return true;
    }
    if (::write(file, line.data(), line.size()) < 0) {
        std::cerr << "scripted libtarn: cannot write " << path << '\n';
    }
    ::close(file);
    return true;
}

} // namespace kel_test
