#include "tests/hostile/sim_process.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <stdexcept>

namespace hostile {

SimProcess::SimProcess(const std::string& program, const std::vector<std::string>& arguments)
{
    std::array<int, 2> in{};
    std::array<int, 2> out{};
    if (pipe2(in.data(), O_CLOEXEC) != 0 || pipe2(out.data(), O_CLOEXEC) != 0) {
        throw std::runtime_error("no pipe");
    }
    std::vector<char*> words{const_cast<char*>(program.c_str()), const_cast<char*>("--control"),
                             const_cast<char*>("--web-port"), const_cast<char*>("0")};
    for (const std::string& argument : arguments) {
        words.push_back(const_cast<char*>(argument.c_str()));
    }
    words.push_back(nullptr);
    m_pid = fork();
    if (m_pid == 0) {
        prctl(PR_SET_PDEATHSIG, SIGTERM); // a test that crashes leaves nothing behind
        dup2(in[0], STDIN_FILENO);
        dup2(out[1], STDOUT_FILENO);
        execv(program.c_str(), words.data());
        _exit(127);
    }
    close(in[0]);
    close(out[1]);
    m_in = in[1];
    m_out = out[0];
    if (m_pid < 0 || readLine().rfind("ready: ", 0) != 0) {
        end();
        throw std::runtime_error(program + " did not start");
    }
}

SimProcess::~SimProcess()
{
    end();
}

void SimProcess::end()
{
    close(m_in);
    close(m_out);
    if (m_pid > 0) {
        kill(m_pid, SIGTERM);
        waitpid(m_pid, nullptr, 0);
    }
}

std::string SimProcess::readLine()
{
    for (;;) {
        const std::size_t end = m_rest.find('\n');
        if (end != std::string::npos) {
            const std::string line = m_rest.substr(0, end);
            m_rest.erase(0, end + 1);
            return line;
        }
        std::array<char, 512> buffer{};
        const ssize_t count = read(m_out, buffer.data(), buffer.size());
        if (count <= 0) {
            return {};
        }
        m_rest.append(buffer.data(), static_cast<std::size_t>(count));
    }
}

std::string SimProcess::ask(const std::string& command)
{
    const std::string line = command + "\n";
    if (write(m_in, line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
        throw std::runtime_error("printer-sim is gone");
    }
    const std::string answer = readLine();
    if (answer.rfind("ok", 0) != 0) {
        throw std::runtime_error(command + ": " + answer);
    }
    return answer.size() > 3 ? answer.substr(3) : std::string();
}

unsigned long SimProcess::requests(const std::string& address)
{
    const std::string counts = ask("count " + address); // "requests=N answers=M"
    return std::strtoul(counts.c_str() + counts.find('=') + 1, nullptr, 10);
}

} // namespace hostile
