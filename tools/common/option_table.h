#pragma once

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace tools {

// The command line cannot be understood; what() is for the user.
class UsageError final : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

// One option of a command line.
struct Option
{
    enum class Argument
    {
        None,
        Needed,
        Optional, // behind "=", or behind a blank where isArgument() says that it is one
    };

    char letter;      // 0: none
    const char* name; // without the dashes
    Argument kind;
    const char* argument; // how the help calls it; "" where there is none
    const char* help;     // may have several lines
    // Gets the argument, "" where there is none; throws UsageError with what is wrong about it.
    std::function<void(const std::string&)> take;
    bool (*isArgument)(const std::string&) = nullptr;
    bool isLast = false; // what stands behind it is not looked at: help, version
};

// OptionTable is everything that a program knows of its options: getopt_long's tables and the help are made
// from it.
class OptionTable final
{
public:
    explicit OptionTable(std::vector<Option> options);

    // Takes the options and returns what is none, in its order. Throws UsageError.
    std::vector<std::string> parse(const std::vector<std::string>& arguments) const;
    // One or more lines for each option, in their order.
    std::string help() const;

private:
    const Option& optionOf(int found) const;
    std::string complaintOf(int found, const char* word) const;
    static void take(const Option& row, const std::string& argument);

    std::vector<Option> m_options;
};

} // namespace tools
