#include "tests/unit/app/kel_process.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>

#include "tests/support/eventually.h"

KelProcess::KelProcess(const std::string& folder, const Environment& environment, const std::string& program)
    : m_folder(folder)
{
    ::unlink((folder + "/remote").c_str());
    m_pid = ::fork();
    if (m_pid != 0) {
        return;
    }
    Environment all{{"QT_QPA_PLATFORM", "offscreen"},
                    {"QT_PLUGIN_PATH", KEL_TEST_PLUGINS},
                    {"QT_QPA_GENERIC_PLUGINS", "kelremote"},
                    {"KEL_REMOTE_SOCKET", folder + "/remote"},
                    {"QT_LOGGING_RULES", ""},
                    {"QT_ASSUME_STDERR_HAS_CONSOLE", "1"},
                    {"TARN_DIR", SCRIPTED_TARN_DIR},
                    {"SCRIPTED_TARN_SCRIPT", folder + "/script.json"},
                    {"SCRIPTED_TARN_LOG", folder + "/calls"},
                    {"XDG_DATA_HOME", folder + "/data"}};
    for (const auto& [name, value] : environment) {
        all[name] = value;
    }
    for (const auto& [name, value] : all) {
        value.empty() ? ::unsetenv(name.c_str()) : ::setenv(name.c_str(), value.c_str(), 1);
    }
    const int out = ::open((folder + "/output").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    ::dup2(out, STDOUT_FILENO);
    ::dup2(out, STDERR_FILENO);
    ::execl(program.c_str(), program.c_str(), nullptr);
    ::_exit(126);
}

KelProcess::~KelProcess()
{
    if (m_socket >= 0) {
        ::close(m_socket);
    }
    if (m_pid > 0) {
        ::kill(m_pid, SIGKILL);
        ::waitpid(m_pid, nullptr, 0);
    }
}

bool KelProcess::connect()
{
    const int descriptor = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, (m_folder + "/remote").c_str(), sizeof(address.sun_path) - 1);
    if (::connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
        ::close(descriptor);
        return false;
    }
    m_socket = descriptor;
    return true;
}

bool KelProcess::waitUntilRunning()
{
    const bool isUp = kel_test::eventually([this] {
        if (m_pid > 0 && ::kill(m_pid, 0) == 0 && connect()) {
            return true;
        }
        siginfo_t ended = {};
        return ::waitid(P_PID, static_cast<id_t>(m_pid), &ended, WEXITED | WNOHANG | WNOWAIT) == 0 &&
               ended.si_pid == m_pid;
    });
    return isUp && m_socket >= 0 && ask("ping").find("pong") != std::string::npos;
}

std::string KelProcess::ask(const std::string& command)
{
    const std::string line = command + "\n";
    if (m_socket < 0 ||
        ::send(m_socket, line.data(), line.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(line.size())) {
        return {};
    }
    std::string answer;
    char byte = 0;
    while (::recv(m_socket, &byte, 1, 0) == 1) {
        if (byte == '\n') {
            return answer;
        }
        answer += byte;
    }
    return {};
}

bool KelProcess::quit()
{
    const std::string line = "trigger 退出\n";
    return m_socket >= 0 &&
           ::send(m_socket, line.data(), line.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(line.size());
}

void KelProcess::waitUntilApplicationIsGone()
{
    char byte = 0;
    while (::recv(m_socket, &byte, 1, 0) == 1) { // late answers
    }
}

void KelProcess::kill(int signal) const
{
    ::kill(m_pid, signal);
}

int KelProcess::wait()
{
    int status = 0;
    if (!kel_test::eventually([&] { return ::waitpid(m_pid, &status, WNOHANG) == m_pid; },
                              std::chrono::minutes(2))) {
        kill(SIGABRT); // where it hangs is in the core
        ::waitpid(m_pid, &status, 0);
    }
    m_pid = -1;
    return status;
}

std::string KelProcess::output() const
{
    std::ifstream file(m_folder + "/output", std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
}
