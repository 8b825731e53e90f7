#include "tarn/src/ipp/request_runner.h"

#include <poll.h>

#include "tarn/src/base/exit_hook.h"
#include "tarn/src/engine/endpoint.h"
#include "tarn/src/ipp/cups_library.h"

namespace tarn::ipp {

namespace {

// RFC 8011 4.1.8
constexpr int kSuccessEnd = 0x0100;
constexpr int kNotFound = 0x0406;
constexpr int kVersionNotSupported = 0x0503;

constexpr int kLongestSleepMs = 60000;

// What could be taken for the end of a request line, or of the path, is escaped.
std::string escaped(const char* path)
{
    static const char digits[] = "0123456789ABCDEF";
    std::string out;
    for (; *path != '\0'; ++path) {
        const auto octet = static_cast<unsigned char>(*path);
        if (octet > ' ' && octet < 0x7F && octet != '#') {
            out += *path;
        } else {
            out += '%';
            out += digits[octet >> 4];
            out += digits[octet & 15];
        }
    }
    return out;
}

} // namespace

struct RequestRunner::Running
{
    Running(std::shared_ptr<AnswerSink> to, std::uint32_t name, IppRequest asked, TimePoint until)
        : sink(std::move(to)), ticket(name), request(std::move(asked)), search(request), deadline(until)
    {
    }

    const std::shared_ptr<AnswerSink> sink;
    const Ticket ticket;
    IppRequest request;
    std::string socketPath; // of the scheduler, where that has one
    RouteSearch search;
    const TimePoint deadline;
    std::unique_ptr<HttpExchange> exchange;
    std::vector<IppAttributes> printers;
};

IppLibraries IppLibraries::system()
{
    return {&CupsLibrary::system, &CurlLibrary::system};
}

RequestRunner::RequestRunner(IppLibraries libraries, const Clock& clock, int wakeFd)
    : m_libraries(std::move(libraries)), m_clock(clock), m_wakeFd(wakeFd)
{
}

RequestRunner::~RequestRunner()
{
    m_loop.reset(); // before the exchanges that it drives
}

void RequestRunner::begin(std::shared_ptr<AnswerSink> sink, Ticket ticket, IppRequest request)
{
    auto made =
        std::make_unique<Running>(std::move(sink), ticket, std::move(request), m_clock.now() + kDeadline);
    Running& running = *made;
    m_running.emplace(&running, std::move(made));
    IppOutcome failure = IppOutcome::NotSent;
    bool canAsk = false;
    try {
        canAsk = openLoop(failure);
        if (canAsk && running.request.operation == IppOperation::Queues && !toScheduler(running)) {
            canAsk = false;
            failure = IppOutcome::Silent;
        }
    } catch (const std::exception&) { // out of memory
        canAsk = false;
    }
    if (canAsk) {
        tryNextRoute(running);
    } else {
        finish(running, failure);
    }
}

// False, and why, when nobody can be asked at present.
bool RequestRunner::openLoop(IppOutcome& failure)
{
    if (m_loop) {
        return true;
    }
    m_cups = m_libraries.cups();
    m_curl = m_cups != nullptr ? m_libraries.curl() : nullptr;
    if (m_curl == nullptr) {
        failure = IppOutcome::NoLibrary;
        return false;
    }
    failure = IppOutcome::NotSent;
    if (ExitHook::arm()) {
        m_loop = HttpLoop::open(*m_curl, m_clock, m_wakeFd);
    }
    return m_loop != nullptr;
}

bool RequestRunner::toScheduler(Running& running) const
{
    const char* const said = m_cups->schedulerName();
    const std::string server = said != nullptr ? said : "";
    if (!server.empty() && server.front() == '/') {
        running.socketPath = server;
        return true;
    }
    const std::optional<std::uint32_t> address =
        engine::parseIpv4(server == "localhost" ? "127.0.0.1" : server);
    const int port = m_cups->schedulerPort();
    running.request.address = address.value_or(0);
    running.request.settings.port = static_cast<std::uint16_t>(port);
    return address && port > 0 && port <= 65535;
}

std::size_t RequestRunner::cancel(const AnswerSink& sink, Ticket ticket)
{
    const std::size_t before = m_running.size();
    for (auto at = m_running.begin(); at != m_running.end();) {
        Running& running = *at->first;
        if (running.sink.get() != &sink || (ticket != 0 && running.ticket != ticket)) {
            ++at;
            continue;
        }
        if (running.exchange) {
            m_loop->drop(*running.exchange);
            m_exchanges.erase(running.exchange.get());
        }
        at = m_running.erase(at);
    }
    return before - m_running.size();
}

void RequestRunner::wait()
{
    if (!m_loop) { // then nothing is under way
        pollfd watched{m_wakeFd, POLLIN, 0};
        ::poll(&watched, 1, kLongestSleepMs);
        return;
    }
    m_loop->wait();
    for (const HttpLoop::Finished& finished : m_loop->finished()) {
        const auto found = m_exchanges.find(finished.exchange);
        Running& running = *found->second;
        m_exchanges.erase(found);
        exchangeEnded(running, finished.attempt);
    }
}

void RequestRunner::exchangeEnded(Running& running, Attempt attempt)
{
    try {
        running.search.tried(attempt == Attempt::Answered ? readAnswer(running) : attempt);
    } catch (const std::exception&) { // out of memory
        running.search.tried(Attempt::NotSent);
    }
    tryNextRoute(running);
}

// Begins the next exchange of the request, or ends it.
void RequestRunner::tryNextRoute(Running& running)
{
    const std::optional<IppRoute>& route = running.search.route();
    if (!route) {
        finish(running, running.search.outcome());
        return;
    }
    bool begun = false;
    try {
        begun = m_clock.now() < running.deadline && beginExchange(running, *route);
    } catch (const std::exception&) { // out of memory
    }
    if (!begun) {
        const bool late = m_clock.now() >= running.deadline;
        running.search.tried(late ? Attempt::TooLong : Attempt::NotSent);
        finish(running, running.search.outcome());
    }
}

bool RequestRunner::beginExchange(Running& running, const IppRoute& route)
{
    const IppRequest& request = running.request;
    const char* const path = RouteSearch::pathOf(request, route);
    const std::string where =
        engine::formatIpv4(request.address) + ':' + std::to_string(request.settings.port);
    HttpExchange::Post post;
    post.body = encodeIpp(*m_cups, request.operation, (route.tls ? "ipps://" : "ipp://") + where + path,
                          route.version11);
    post.url = (route.tls ? "https://" : "http://") +
               (running.socketPath.empty() ? where : std::string("localhost")) + escaped(path);
    post.socketPath = running.socketPath;
    post.mostOctets = request.operation == IppOperation::Queues ? kLargestQueues : kLargestAnswer;
    if (post.body.empty()) {
        return false;
    }
    running.exchange = std::make_unique<HttpExchange>(*m_curl, std::move(post));
    const auto item = m_exchanges.emplace(running.exchange.get(), &running).first;
    try {
        if (m_loop->begin(*running.exchange, running.deadline)) {
            return true;
        }
    } catch (const std::exception&) { // out of memory, and the loop has not kept it
    }
    m_exchanges.erase(item);
    return false;
}

Attempt RequestRunner::readAnswer(Running& running) const
{
    std::optional<IppReply> reply = decodeIpp(*m_cups, running.exchange->body());
    if (!reply) {
        return Attempt::OtherPath;
    }
    if (reply->statusCode == kVersionNotSupported && !running.search.route()->version11) {
        return Attempt::OtherVersion;
    }
    const bool told = !reply->printers.empty() && !reply->printers.front().empty();
    // A scheduler without queues says "not found".
    const bool usable = running.request.operation == IppOperation::Queues
                            ? reply->statusCode < kSuccessEnd || reply->statusCode == kNotFound
                            : told;
    if (!usable) {
        return Attempt::OtherPath;
    }
    running.request.route = *running.search.route();
    running.printers = std::move(reply->printers);
    return Attempt::Answered;
}

void RequestRunner::finish(Running& running, IppOutcome outcome)
{
    FinishedRequest finished;
    finished.ticket = running.ticket;
    finished.answer.outcome = outcome;
    if (outcome == IppOutcome::Answered) {
        finished.answer.route = running.request.route;
        finished.answer.printers = std::move(running.printers);
    }
    running.sink->take(std::move(finished));
    m_running.erase(&running);
}

} // namespace tarn::ipp
