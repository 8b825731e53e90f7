#pragma once

// A transport of the test's own with one queue, over the system's libcups and one of the two libcurls.

#include <gtest/gtest.h>
#include <poll.h>

#include <chrono>
#include <map>

#include "tarn/src/ipp/cups_library.h"
#include "tarn/src/ipp/curl_library.h"
#include "tarn/src/ipp/ipp_transport.h"
#include "tests/unit/tarn/ipp/scripted_server.h"

namespace tarn::ipp::test {

constexpr std::uint32_t kLoopback = 0x7F000001;
constexpr const char* kCurls[] = {"libcurl-gnutls.so.4", "libcurl.so.4"};

// Null where it is not there. Once loaded it stays.
inline const CurlLibrary* curlOf(const std::string& soname)
{
    static auto& known = *new std::map<std::string, CurlLibrary*>; // threads may outlive static objects
    CurlLibrary*& library = known[soname];
    if (library == nullptr) {
        library = new CurlLibrary(soname.c_str());
    }
    return library->isUsable() ? library : nullptr;
}

inline IppRequest requestTo(std::uint16_t port, engine::IppChoice choice = engine::IppChoice::Plain)
{
    IppRequest request;
    request.address = kLoopback;
    request.settings.port = port;
    request.settings.choice = choice;
    return request;
}

inline std::string goodBody()
{
    return IppOctets().printer().text("printer-make-and-model", "Lyra").number("printer-state", 3).whole();
}

inline std::string pathOf(const std::string& request)
{
    const std::size_t begin = request.find(' ') + 1;
    return request.substr(begin, request.find(' ', begin) - begin);
}

class TransportSession final
{
public:
    // What is promised is RequestRunner::kDeadline; the rest is for a machine that has much to do.
    static constexpr std::chrono::seconds kInTime{15};

    explicit TransportSession(IppLibraries libraries)
        : m_queue(IppTransport::make(std::move(libraries))->newQueue())
    {
    }
    explicit TransportSession(const std::string& curl = kCurls[0])
        : TransportSession(IppLibraries{&CupsLibrary::system, [curl] { return curlOf(curl); }})
    {
    }

    Ticket send(const IppRequest& request)
    {
        EXPECT_TRUE(m_queue->send(++m_ticket, request));
        return m_ticket;
    }
    // The next answers, until there are so many; fewer when they do not come in a minute.
    std::map<Ticket, IppAnswer> answers(std::size_t count)
    {
        std::map<Ticket, IppAnswer> answers;
        const auto limit = std::chrono::steady_clock::now() + std::chrono::minutes(1);
        while (answers.size() < count && std::chrono::steady_clock::now() < limit) {
            pollfd watched{m_queue->descriptor(), POLLIN, 0};
            ::poll(&watched, 1, 1000);
            for (FinishedRequest& finished : m_queue->takeFinished()) {
                EXPECT_EQ(answers.count(finished.ticket), 0u) << "answered twice";
                answers[finished.ticket] = std::move(finished.answer);
            }
        }
        EXPECT_EQ(answers.size(), count);
        return answers;
    }
    IppAnswer ask(const IppRequest& request)
    {
        const auto begun = std::chrono::steady_clock::now();
        const Ticket ticket = send(request);
        IppAnswer answer = answers(1)[ticket];
        EXPECT_LT(std::chrono::steady_clock::now() - begun, kInTime);
        return answer;
    }
    RequestQueue& queue() { return *m_queue; }
    void end() { m_queue.reset(); }

private:
    std::unique_ptr<RequestQueue> m_queue;
    Ticket m_ticket = 0;
};

} // namespace tarn::ipp::test
