#include <sys/signalfd.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <iostream>

#include "tools/common/exit_status.h"
#include "tools/common/file_error.h"
#include "tools/common/option_table.h"
#include "tools/common/standard_output.h"
#include "tools/printer-sim/control.h"
#include "tools/printer-sim/load_printers.h"
#include "tools/printer-sim/web_page.h"
#include "tools/printer-sim/web_server.h"

namespace printersim {

namespace {

constexpr std::size_t kMostOwnSockets = 64;
constexpr std::size_t kMostCommand = 65536;

// The program: the printers, their sockets and the loop.
class Program final
{
public:
    explicit Program(const Options& options)
        : m_options(options), m_start(std::chrono::steady_clock::now()),
          m_simulation(loadPrinters(options), options.agent, options.seed),
          m_oneSocket(options.oneSocket || m_simulation.printers().size() > kMostOwnSockets),
          m_sockets(addresses(), options.port, m_oneSocket),
          m_web(m_loop,
                [this](std::uint32_t address, const std::string& head) { return page(address, head); })
    {
    }

    void run()
    {
        watchSignals();
        for (const int socket : m_sockets.descriptors()) {
            m_loop.add(socket, [this, socket] { receive(socket); });
        }
        openPages();
        if (m_options.control) {
            m_loop.add(STDIN_FILENO, [this] { readCommands(); });
        }
        announce();
        m_loop.run([this] { return flush(); });
    }

private:
    double seconds() const
    {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - m_start).count();
    }

    std::vector<std::uint32_t> addresses()
    {
        std::vector<std::uint32_t> list;
        for (const Printer& printer : m_simulation.printers()) {
            list.push_back(printer.address());
        }
        return list;
    }

    void watchSignals()
    {
        sigset_t signals;
        sigemptyset(&signals);
        sigaddset(&signals, SIGTERM);
        sigaddset(&signals, SIGINT);
        sigprocmask(SIG_BLOCK, &signals, nullptr);
        m_loop.add(signalfd(-1, &signals, SFD_CLOEXEC), [this] { m_loop.stop(); });
    }

    void openPages()
    {
        if (m_options.webPort == 0) {
            return;
        }
        const std::vector<std::uint32_t> wanted =
            m_oneSocket ? std::vector<std::uint32_t>{INADDR_ANY} : addresses();
        for (const std::uint32_t address : wanted) {
            const std::string reason = m_web.listenAt(address, m_options.webPort);
            if (!reason.empty()) {
                std::cerr << "printer-sim: no page at " << addressText(address) << " port "
                          << m_options.webPort << ": " << reason << '\n';
                return;
            }
        }
    }

    void announce()
    {
        const std::vector<Printer>& printers = m_simulation.printers();
        tools::writeOut("ready: " + std::to_string(printers.size()) + " printers at " +
                        addressText(printers.front().address()) + " to " +
                        addressText(printers.back().address()) + ", port " + std::to_string(m_options.port) +
                        '\n');
    }

    void receive(int socket)
    {
        const double now = seconds();
        m_sockets.receive(socket,
                          [this, now](const Datagram& datagram) { m_simulation.take(datagram, now, m_out); });
        sendAll();
    }

    void sendAll()
    {
        m_sockets.send(m_out);
        m_out.clear();
    }

    std::optional<double> flush()
    {
        m_simulation.due(seconds(), m_out);
        sendAll();
        const auto due = m_simulation.nextDue();
        return due ? std::optional<double>(*due - seconds()) : std::nullopt;
    }

    std::optional<std::string> page(std::uint32_t address, const std::string& head)
    {
        const Printer* printer = m_simulation.find(address);
        if (printer == nullptr || !printer->isOnline(seconds())) {
            return std::nullopt;
        }
        return httpAnswer(head, *printer, seconds());
    }

    void readCommands()
    {
        std::array<char, 4096> buffer{};
        const ssize_t count = read(STDIN_FILENO, buffer.data(), buffer.size());
        if (count <= 0 || m_commands.size() > kMostCommand) {
            m_loop.remove(STDIN_FILENO);
            return;
        }
        m_commands.append(buffer.data(), static_cast<std::size_t>(count));
        for (std::size_t end = m_commands.find('\n'); end != std::string::npos; end = m_commands.find('\n')) {
            tools::writeOut(runCommand(m_commands.substr(0, end), m_simulation, seconds()) + '\n');
            m_commands.erase(0, end + 1);
        }
    }

    const Options& m_options;
    std::chrono::steady_clock::time_point m_start;
    EventLoop m_loop;
    Simulation m_simulation;
    bool m_oneSocket;
    UdpSockets m_sockets;
    WebServer m_web;
    std::vector<Outgoing> m_out;
    std::string m_commands;
};

} // namespace

} // namespace printersim

namespace {

int fail(const std::string& complaint, int status)
{
    std::cerr << "printer-sim: " << complaint << '\n';
    return status;
}

int run(const printersim::Options& options)
{
    switch (options.action) {
    case printersim::Options::Action::Help:
        tools::writeOut(printersim::helpText());
        break;
    case printersim::Options::Action::Version:
        tools::writeOut("printer-sim " KEL_VERSION "\n");
        break;
    case printersim::Options::Action::Run:
        printersim::Program(options).run();
        break;
    }
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    constexpr int kFailed = 1;
    tools::reserveStandardDescriptors();
    try {
        return run(printersim::parseOptions(std::vector<std::string>(argv + 1, argv + argc)));
    } catch (const tools::UsageError& error) {
        return fail(std::string(error.what()) + "; see printer-sim --help", tools::kWrongUsage);
    } catch (const tools::FileError& error) {
        return fail(error.what(), tools::kNoInput);
    } catch (const tools::WriteError& error) {
        return fail(error.what(), tools::kWriteFailed);
    } catch (const std::exception& error) {
        return fail(error.what(), kFailed);
    }
}
