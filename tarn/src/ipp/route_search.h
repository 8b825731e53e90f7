#pragma once

#include <optional>

#include "tarn/src/ipp/ipp_request.h"

namespace tarn::ipp {

// What one attempt by one route came to.
enum class Attempt
{
    Answered,
    Silent,
    Refused,
    OtherPath,    // something of HTTP is there, but no printer on this path
    OtherVersion, // a printer that wants IPP 1.1
    OtherScheme,  // it does not answer, or not as long as it is not encrypted
    TooLong,      // over the deadline, or beyond the octets
    NotSent,      // this process has no descriptor or memory
};

// RouteSearch decides by which routes a printer is tried: the one that worked the last time, then the usual
// paths in plain, then encrypted, as far as the settings allow it.
//
// Invariant: at most 13 routes for one request.
// Threading: one thread.
class RouteSearch final
{
public:
    explicit RouteSearch(const IppRequest& request);

    // The route to be tried next; nothing when the search is over.
    const std::optional<IppRoute>& route() const { return m_route; }
    // Of the route that was tried.
    void tried(Attempt attempt);
    // What the last attempt says of the printer.
    IppOutcome outcome() const;

    // The path of a route on that printer.
    static const char* pathOf(const IppRequest& request, const IppRoute& route);

private:
    enum class Stage
    {
        Known,
        Plain,
        Encrypted,
    };

    void begin(Stage stage);
    void nextPath();

    const engine::IppChoice m_choice;
    const std::uint8_t m_paths; // how many there are to be tried
    Stage m_stage = Stage::Known;
    std::optional<IppRoute> m_route;
    Attempt m_last = Attempt::NotSent;
};

} // namespace tarn::ipp
