#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>

namespace bench {

constexpr std::uint16_t kResponderPort = 17970;
constexpr std::uint32_t kFirstAddress = 0x7F300001; // 127.48.0.1
constexpr std::uint32_t kPrinters = 10000;

std::uint32_t addressOf(std::uint32_t printer);
std::string listDocument();
void pinTo(unsigned core);

// Responder is a process on the second core that answers for all printers from one socket: it keeps each
// answer encoded, so that it is never what is measured. One answer in ten differs from the one before.
class Responder final
{
public:
    explicit Responder(const std::string& recording); // throws std::runtime_error
    ~Responder();
    Responder(const Responder&) = delete;
    Responder& operator=(const Responder&) = delete;

private:
    pid_t m_process = -1;
};

} // namespace bench
