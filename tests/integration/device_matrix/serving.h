#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "tests/integration/device_matrix/reading.h"

namespace matrix {

// A private directory, removed with everything in it at the end.
class WorkDir final
{
public:
    WorkDir();
    ~WorkDir();
    WorkDir(const WorkDir&) = delete;
    WorkDir& operator=(const WorkDir&) = delete;
    const std::string& path() const { return m_path; }

private:
    std::string m_path;
};

// A server of recordings in a process of its own, which ends with this object.
class Serving final
{
public:
    // Debian's snmpsim: an agent that is not ours. Copies the recordings, since it drops its rights.
    static Serving bySnmpsim(const std::string& directory, const std::vector<std::string>& devices,
                             const WorkDir& work, int port);
    // printer-sim, the executable named.
    static Serving byPrinterSim(const std::string& program, const std::string& directory,
                                const std::vector<std::string>& devices, const WorkDir& work, int port);
    ~Serving();
    Serving(Serving&& other) noexcept;
    Serving(const Serving&) = delete;

    const std::vector<Served>& served() const { return m_served; }
    bool alive() const;

private:
    Serving(const std::vector<std::string>& command, std::vector<Served> served, const WorkDir& work);

    pid_t m_pid = -1;
    std::vector<Served> m_served;
};

} // namespace matrix
