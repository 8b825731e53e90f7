#include "tests/integration/device_matrix/serving.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

namespace matrix {

namespace fs = std::filesystem;

namespace {

// 127.41.a.b: a range that no other test listens on.
std::string addressOf(std::size_t index)
{
    return "127.41." + std::to_string(index / 250) + "." + std::to_string(index % 250 + 1);
}

} // namespace

WorkDir::WorkDir()
{
    std::string pattern = (fs::temp_directory_path() / "device-matrix-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("cannot make a directory " + pattern);
    }
    m_path = pattern;
    chmod(m_path.c_str(), 0755);
}

WorkDir::~WorkDir()
{
    std::error_code ignored;
    fs::remove_all(m_path, ignored);
}

Serving::Serving(const std::vector<std::string>& command, std::vector<Served> served, const WorkDir& work)
    : m_served(std::move(served))
{
    std::vector<char*> arguments;
    for (const std::string& word : command) {
        arguments.push_back(const_cast<char*>(word.c_str()));
    }
    arguments.push_back(nullptr);
    const std::string log = work.path() + "/server.log";
    m_pid = fork();
    if (m_pid == 0) {
        const int out = open(log.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        dup2(out, STDOUT_FILENO);
        dup2(out, STDERR_FILENO);
        execvp(arguments[0], arguments.data());
        _exit(127);
    }
    if (m_pid < 0) {
        throw std::runtime_error("cannot start " + command[0]);
    }
}

Serving::Serving(Serving&& other) noexcept : m_pid(other.m_pid), m_served(std::move(other.m_served))
{
    other.m_pid = -1;
}

Serving::~Serving()
{
    if (m_pid > 0) {
        kill(m_pid, SIGTERM);
        waitpid(m_pid, nullptr, 0);
    }
}

bool Serving::alive() const
{
    return m_pid > 0 && waitpid(m_pid, nullptr, WNOHANG) == 0;
}

Serving Serving::bySnmpsim(const std::string& directory, const std::vector<std::string>& devices,
                           const WorkDir& work, int port)
{
    const fs::path data = fs::path(work.path()) / "data";
    const fs::path cache = fs::path(work.path()) / "cache";
    fs::create_directories(data);
    fs::create_directories(cache);
    chmod(cache.c_str(), 0777);
    std::vector<std::string> command = {"snmpsimd", "--data-dir=" + data.string(),
                                        "--cache-dir=" + cache.string(), "--logging-method=null"};
    if (geteuid() == 0) { // it refuses to run as root
        command.insert(command.end(), {"--process-user=nobody", "--process-group=nogroup"});
    }
    std::vector<Served> served;
    for (const std::string& device : devices) {
        const fs::path copy = data / (device + ".snmprec");
        fs::copy_file(fs::path(directory) / (device + ".snmprec"), copy);
        chmod(copy.c_str(), 0644);
        served.push_back({device, addressOf(served.size()), device}); // its file's name is the community
        command.push_back("--agent-udpv4-endpoint=" + served.back().address + ":" + std::to_string(port));
    }
    return Serving(command, std::move(served), work);
}

Serving Serving::byPrinterSim(const std::string& program, const std::string& directory,
                              const std::vector<std::string>& devices, const WorkDir& work, int port)
{
    std::vector<std::string> command = {program, "--port=" + std::to_string(port), "--web-port=0"};
    std::vector<Served> served;
    for (const std::string& device : devices) {
        served.push_back({device, addressOf(served.size()), "public"});
        command.push_back((fs::path(directory) / (device + ".snmprec")).string() + "@" +
                          served.back().address);
    }
    return Serving(command, std::move(served), work);
}

} // namespace matrix
