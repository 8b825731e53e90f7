#include "tools/common/option_table.h"

#include <getopt.h>

#include <algorithm>
#include <sstream>

namespace tools {

namespace {

constexpr int kFirstLong = 256; // what getopt_long returns for the first row; below are letters
constexpr std::size_t kHelpColumn = 26;

std::string shown(const Option& option)
{
    return std::string("--") + option.name;
}

} // namespace

OptionTable::OptionTable(std::vector<Option> options) : m_options(std::move(options)) {}

const Option& OptionTable::optionOf(int found) const
{
    if (found >= kFirstLong) {
        return m_options.at(static_cast<std::size_t>(found - kFirstLong));
    }
    return *std::find_if(m_options.begin(), m_options.end(),
                         [found](const Option& option) { return option.letter == found; });
}

std::string OptionTable::complaintOf(int found, const char* word) const
{
    if (found == ':') {
        return std::string("argument missing: ") + word;
    }
    if (optopt >= kFirstLong) {
        return shown(optionOf(optopt)) + " takes no argument";
    }
    return std::string("unknown option: ") +
           (optopt != 0 ? std::string("-") + static_cast<char>(optopt) : std::string(word));
}

void OptionTable::take(const Option& row, const std::string& argument)
{
    try {
        row.take(argument);
    } catch (const UsageError& wrong) {
        throw UsageError(shown(row) + " \"" + argument + "\": " + wrong.what());
    }
}

std::vector<std::string> OptionTable::parse(const std::vector<std::string>& arguments) const
{
    std::string letters = ":";
    std::vector<option> names;
    for (std::size_t i = 0; i < m_options.size(); ++i) {
        const Option& row = m_options[i];
        const int kind = static_cast<int>(row.kind); // no_argument, required_argument, optional_argument
        names.push_back({row.name, kind, nullptr, kFirstLong + static_cast<int>(i)});
        if (row.letter != 0) {
            letters += row.letter + std::string(static_cast<std::size_t>(kind), ':');
        }
    }
    names.push_back({nullptr, 0, nullptr, 0});
    std::vector<std::string> copy = arguments;
    copy.insert(copy.begin(), ""); // the program's name
    std::vector<char*> argv;
    argv.reserve(copy.size() + 1);
    for (std::string& argument : copy) {
        argv.push_back(argument.data());
    }
    argv.push_back(nullptr);
    const int count = static_cast<int>(copy.size());
    const auto word = [&argv](int at) { return argv[static_cast<std::size_t>(at)]; };
    optind = 0; // getopt_long begins anew
    opterr = 0;
    int found = 0;
    while ((found = getopt_long(count, argv.data(), letters.c_str(), names.data(), nullptr)) != -1) {
        if (found == ':' || found == '?') {
            throw UsageError(complaintOf(found, word(optind - 1)));
        }
        const Option& row = optionOf(found);
        const bool isBehindBlank =
            row.isArgument != nullptr && optarg == nullptr && optind < count && row.isArgument(word(optind));
        take(row, isBehindBlank ? word(optind++) : optarg != nullptr ? optarg : "");
        if (row.isLast) {
            return {};
        }
    }
    return std::vector<std::string>(argv.begin() + optind, argv.begin() + count);
}

std::string OptionTable::help() const
{
    std::string text;
    for (const Option& row : m_options) {
        std::string line = row.letter != 0 ? std::string("  -") + row.letter + ", " : std::string("      ");
        line += shown(row);
        if (row.kind == Option::Argument::Optional) {
            line += std::string("[=") + row.argument + ']';
        } else if (row.kind == Option::Argument::Needed) {
            line += std::string(" ") + row.argument;
        }
        std::istringstream help(row.help);
        for (std::string part; std::getline(help, part);) {
            if (line.size() >= kHelpColumn) {
                text += line + '\n';
                line.clear();
            }
            text += line + std::string(kHelpColumn - line.size(), ' ') + part + '\n';
            line.clear();
        }
    }
    return text;
}

} // namespace tools
