#include "tools/tarn-status/formats/format.h"

#include <algorithm>
#include <iterator>

#include "tools/tarn-status/judgement.h"

namespace tarnstatus {

namespace {

const FormatKind kFormats[] = {
    {"table", "for people, the default", true, true, true, makeTable},
    {"brief", "one line a printer, for people", true, true, true, makeBrief},
    {"json", "one JSON document; with --watch one a line", true, false, true, makeJson},
    {"csv", "one row a printer below one row of names", true, false, false, makeCsv},
    {"prometheus", "metrics, for a collector of text files", false, false, false, makePrometheus},
    {"nagios", "one line with its exit status, for a plugin's caller", false, false, false, makeNagios},
};

} // namespace

int Format::exitStatus(const Look& look) const
{
    return static_cast<int>(conditionOf(look.readings));
}

Look lookFor(const FormatKind& kind, Look look)
{
    if (!kind.showsRemembered) {
        std::transform(look.readings.begin(), look.readings.end(), look.readings.begin(), withoutRemembered);
    }
    return look;
}

const FormatKind* findFormat(const std::string& name)
{
    const auto* const found = std::find_if(std::begin(kFormats), std::end(kFormats),
                                           [&](const FormatKind& kind) { return name == kind.name; });
    return found != std::end(kFormats) ? found : nullptr;
}

std::string formatNames(const char* separator)
{
    std::string names;
    for (const FormatKind& kind : kFormats) {
        names += (names.empty() ? "" : separator) + std::string(kind.name);
    }
    return names;
}

const char* formatHelp()
{
    static const std::string kHelp = [] {
        std::string help;
        for (const FormatKind& kind : kFormats) {
            std::string name = kind.name;
            name.resize(std::max<std::size_t>(name.size(), 10), ' ');
            help += (help.empty() ? "" : "\n") + name + ' ' + kind.help;
        }
        return help;
    }();
    return kHelp.c_str();
}

} // namespace tarnstatus
