#pragma once

#include <functional>
#include <optional>
#include <string>

namespace hostile {

// TwoNetworks are two network namespaces of this process with a cable between them: "here", where the calling
// thread and all threads that it starts from then on live, and "there", where printers are.
//
// Here: interface "cable", address 10.44.0.1/24, up. There: "plug", 10.44.0.2/24 and 10.44.0.3/24, up.
// Threading: the main thread, before the process has others.
class TwoNetworks final
{
public:
    // Why there can be none on this machine; nothing when they can be made. Moves the process into "here".
    std::optional<std::string> make();

    // Runs a command of ip(8) in one of them; false when it failed.
    static bool ipHere(const std::string& arguments);
    bool ipThere(const std::string& arguments) const;
    // Runs the function in a thread that lives there.
    void there(const std::function<void()>& function) const;
    // A new cable in the place of the old one, if any; here gets the address.
    bool connect(const std::string& hereAddress) const;

    ~TwoNetworks();
    TwoNetworks() = default;
    TwoNetworks(const TwoNetworks&) = delete;
    TwoNetworks& operator=(const TwoNetworks&) = delete;

private:
    int m_there = -1;
};

} // namespace hostile
