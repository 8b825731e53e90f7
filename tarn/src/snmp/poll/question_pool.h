#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

namespace tarn::snmp {

// QuestionPool keeps each different question once: printers of one kind are asked the same, byte for byte,
// but for the request id, which is put in when it is sent.
//
// Invariants
//  (1) A question that nobody holds any more is forgotten, at the latest when as many more have come as
//      there were.
// Threading: one thread.
class QuestionPool final
{
public:
    using Question = std::shared_ptr<const std::string>;

    // The question of these very bytes.
    Question shared(std::string&& bytes)
    {
        if (const auto known = m_questions.find(bytes); known != m_questions.end()) {
            return known->second;
        }
        if (m_questions.size() >= m_sweepAt) {
            sweep();
        }
        auto fresh = std::make_shared<const std::string>(std::move(bytes));
        m_questions.emplace(*fresh, fresh);
        return fresh;
    }
    std::size_t size() const { return m_questions.size(); }

private:
    static constexpr std::size_t kSweepFirst = 64;

    void sweep()
    {
        for (auto it = m_questions.begin(); it != m_questions.end();) {
            it = it->second.use_count() == 1 ? m_questions.erase(it) : std::next(it);
        }
        m_sweepAt = m_questions.size() * 2 + kSweepFirst;
    }

    std::unordered_map<std::string_view, Question> m_questions; // each named by its own bytes
    std::size_t m_sweepAt = kSweepFirst;
};

} // namespace tarn::snmp
