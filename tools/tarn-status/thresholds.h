#pragma once

#include <optional>
#include <string>

namespace tarnstatus {

// What --warning or --critical says of one printer: it holds where one of its members does.
struct Thresholds
{
    enum class State
    {
        None,      // the state does not count
        Offline,   // the printer cannot be reached
        Attention, // that, or it has an alert that is a warning or worse, or a paper or toner flag
    };

    std::optional<int> toner;  // a toner or ink at so many percent or below
    std::optional<double> age; // the last answer so many seconds ago or more
    State state = State::None;

    // Of a text such as "toner=20,state=attention,age=300"; what it does not name stays as it was. Throws
    // tools::UsageError with what is wrong.
    void take(const std::string& text);
};

} // namespace tarnstatus
