#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "tests/support/recorded_agent.h"

namespace bench {

// Answers of many printers that are alike, each kept encoded so that making them is never what is measured.
// One level of a printer changes in so many per cent of its answers.
class Answers final
{
public:
    Answers(const std::string& recording, std::size_t printers, unsigned changesPercent = 10);

    // Valid until the next call.
    const std::string& answerTo(const std::string& request, std::size_t printer);

private:
    struct Known
    {
        std::string bytes;
        std::size_t id = 0;
    };

    std::string made(const std::string& request, std::size_t which);

    std::array<kel::testing::RecordedAgent, 2> m_agents;
    std::vector<bool> m_changed;
    const unsigned m_changesPercent;
    std::uint64_t m_random = 88172645463325252u;
    std::unordered_map<std::string, std::array<Known, 2>> m_known;
    std::string m_request;
    std::string m_answer;
};

} // namespace bench
