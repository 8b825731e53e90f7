#include "tarn/src/ipp/route_search.h"

#include <iterator>

namespace tarn::ipp {

using engine::IppChoice;

namespace {

const char* const kUsualPaths[] = {"/ipp/print", "/ipp", "/"};

} // namespace

RouteSearch::RouteSearch(const IppRequest& request)
    : m_choice(request.settings.choice),
      m_paths(!request.settings.path.empty() || request.operation == IppOperation::Queues
                  ? 1
                  : static_cast<std::uint8_t>(std::size(kUsualPaths)))
{
    if (request.route.known) {
        m_route = request.route;
    } else {
        begin(m_choice == IppChoice::Tls ? Stage::Encrypted : Stage::Plain);
    }
}

void RouteSearch::begin(Stage stage)
{
    m_stage = stage;
    m_route = IppRoute{true, stage == Stage::Encrypted, false, 0};
}

void RouteSearch::tried(Attempt attempt)
{
    m_last = attempt;
    // NOLINTBEGIN(bugprone-branch-clone): one case after another
    if (attempt != Attempt::OtherPath && attempt != Attempt::OtherVersion &&
        attempt != Attempt::OtherScheme) {
        m_route.reset();
    } else if (m_stage == Stage::Known) {
        begin(m_choice == IppChoice::Tls ? Stage::Encrypted : Stage::Plain);
    } else if (attempt == Attempt::OtherVersion && !m_route->version11) {
        m_route->version11 = true;
    } else if (attempt != Attempt::OtherScheme) {
        nextPath();
    } else if (m_stage == Stage::Plain && m_choice == IppChoice::Auto) {
        begin(Stage::Encrypted);
    } else {
        m_route.reset();
    }
    // NOLINTEND(bugprone-branch-clone)
}

void RouteSearch::nextPath()
{
    const auto path = static_cast<std::uint8_t>(m_route->path + 1);
    if (path < m_paths) {
        m_route = IppRoute{true, m_route->tls, false, path};
    } else {
        m_route.reset();
    }
}

IppOutcome RouteSearch::outcome() const
{
    switch (m_last) {
    case Attempt::Answered:
        return IppOutcome::Answered;
    case Attempt::Silent:
        return IppOutcome::Silent;
    case Attempt::Refused:
        return IppOutcome::Refused;
    case Attempt::NotSent:
        return IppOutcome::NotSent;
    default:
        return IppOutcome::NoIpp;
    }
}

const char* RouteSearch::pathOf(const IppRequest& request, const IppRoute& route)
{
    if (request.operation == IppOperation::Queues) {
        return "/";
    }
    return request.settings.path.empty() ? kUsualPaths[route.path] : request.settings.path.c_str();
}

} // namespace tarn::ipp
