#pragma once

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "tests/integration/device_matrix/reading.h"

namespace matrix {

// Printers in this process: each recording answers every POST at an address of its own, over plain HTTP. Ends
// with this object.
class IppResponder final
{
public:
    // honours: whether they look at requested-attributes, or send all that they have.
    IppResponder(const std::string& directory, const std::vector<std::string>& devices, int port,
                 bool honours);
    ~IppResponder();
    IppResponder(const IppResponder&) = delete;
    IppResponder& operator=(const IppResponder&) = delete;

    const std::vector<Served>& served() const { return m_served; }

private:
    struct Door
    {
        int fd;
        std::string recording;
    };

    void serve();
    void answer(int fd, const std::string& recording) const;

    const bool m_honours;
    std::vector<Served> m_served;
    std::vector<Door> m_doors;
    std::atomic<bool> m_over{false};
    std::thread m_thread;
};

} // namespace matrix
