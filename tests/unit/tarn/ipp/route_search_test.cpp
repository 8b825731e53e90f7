// By which routes a printer is tried, in which order, and what the last one says of it.
#include "tarn/src/ipp/route_search.h"

#include <gtest/gtest.h>

#include <functional>

namespace tarn::ipp {
namespace {

using engine::IppChoice;

using Printer = std::function<Attempt(const IppRoute&)>;

std::string textOf(const IppRoute& route)
{
    return std::string(route.tls ? "tls" : "plain") + std::to_string(route.path) +
           (route.version11 ? "v1.1" : "");
}

// The routes that are tried, and what comes of them.
std::string routes(const IppRequest& request, const Printer& printer, IppOutcome* outcome = nullptr)
{
    RouteSearch search(request);
    std::string tried;
    for (int i = 0; search.route() && i < 100; ++i) {
        tried += (tried.empty() ? "" : " ") + textOf(*search.route());
        search.tried(printer(*search.route()));
    }
    if (outcome != nullptr) {
        *outcome = search.outcome();
    }
    return tried;
}

Printer always(Attempt attempt)
{
    return [attempt](const IppRoute&) { return attempt; };
}

IppRequest with(IppChoice choice, IppRoute known = {}, const std::string& path = {})
{
    IppRequest request;
    request.settings.choice = choice;
    request.settings.path = path;
    request.route = known;
    return request;
}

TEST(RouteSearch, UsualPathsThenEncryptedOnlyWhereThatMayHelp)
{
    EXPECT_EQ(routes(with(IppChoice::Auto), always(Attempt::OtherPath)), "plain0 plain1 plain2");
    EXPECT_EQ(routes(with(IppChoice::Auto), always(Attempt::OtherScheme)), "plain0 tls0");
    EXPECT_EQ(routes(with(IppChoice::Plain), always(Attempt::OtherScheme)), "plain0");
    EXPECT_EQ(routes(with(IppChoice::Tls), always(Attempt::OtherScheme)), "tls0");
    EXPECT_EQ(routes(with(IppChoice::Tls), always(Attempt::OtherPath)), "tls0 tls1 tls2");
    EXPECT_EQ(
        routes(with(IppChoice::Auto),
               [](const IppRoute& route) { return route.tls ? Attempt::OtherPath : Attempt::OtherScheme; }),
        "plain0 tls0 tls1 tls2");
}

TEST(RouteSearch, OlderVersionOnceForEachPath)
{
    EXPECT_EQ(routes(with(IppChoice::Auto), always(Attempt::OtherVersion)),
              "plain0 plain0v1.1 plain1 plain1v1.1 plain2 plain2v1.1");
}

TEST(RouteSearch, KnownRouteFirstAndThenTheSearchFromItsBeginning)
{
    const IppRoute known{true, true, false, 2};
    EXPECT_EQ(routes(with(IppChoice::Auto, known), always(Attempt::Answered)), "tls2");
    EXPECT_EQ(routes(with(IppChoice::Auto, known), always(Attempt::OtherPath)), "tls2 plain0 plain1 plain2");
    EXPECT_EQ(routes(with(IppChoice::Tls, known), always(Attempt::OtherScheme)), "tls2 tls0");
}

TEST(RouteSearch, WhoeverDoesNotAnswerAtAllIsTriedOnce)
{
    const std::pair<Attempt, IppOutcome> ends[] = {{Attempt::Silent, IppOutcome::Silent},
                                                   {Attempt::Refused, IppOutcome::Refused},
                                                   {Attempt::TooLong, IppOutcome::NoIpp},
                                                   {Attempt::NotSent, IppOutcome::NotSent},
                                                   {Attempt::Answered, IppOutcome::Answered}};
    for (const auto& [attempt, expected] : ends) {
        IppOutcome outcome{};
        EXPECT_EQ(routes(with(IppChoice::Auto), always(attempt), &outcome), "plain0");
        EXPECT_EQ(outcome, expected);
        EXPECT_EQ(routes(with(IppChoice::Auto, {true, true, false, 1}), always(attempt), &outcome), "tls1");
        EXPECT_EQ(outcome, expected);
    }
}

TEST(RouteSearch, ConfiguredPathAndSchedulerHaveOnePath)
{
    const IppRequest mine = with(IppChoice::Auto, {}, "/mine");
    EXPECT_EQ(routes(mine, always(Attempt::OtherPath)), "plain0");
    EXPECT_STREQ(RouteSearch::pathOf(mine, {}), "/mine");
    IppRequest queues;
    queues.operation = IppOperation::Queues;
    EXPECT_EQ(routes(queues, always(Attempt::OtherPath)), "plain0");
    EXPECT_STREQ(RouteSearch::pathOf(queues, {}), "/");
    EXPECT_STREQ(RouteSearch::pathOf(with(IppChoice::Auto), {true, false, false, 1}), "/ipp");
}

} // namespace
} // namespace tarn::ipp
