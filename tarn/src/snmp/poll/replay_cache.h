#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "tarn/src/snmp/mib/up_time.h"
#include "tarn/src/snmp/poll/question_pool.h"
#include "tarn/src/snmp/wire/reply_digest.h"

namespace tarn::snmp {

// ReplayCache keeps the question that a printer is asked again and again, and what its last answer said: an
// answer that says the same is neither decoded nor handed on.
//
// Invariants
//  (1) While it is valid, the question is a whole Fast read, and an answer that says the same as the
//      last one changes nothing, unless the printer has restarted.
//  (2) Once an answer has been remembered, its time since start is known for good: a restart shows even where
//      the answer itself was forgotten.
// Threading: engine thread only. Ownership: shares the question with the printers that are asked the same.
class ReplayCache final
{
public:
    // An answer to the question beside the last one.
    struct Match
    {
        bool same = false;
        bool restarted = false;
    };

    // Whether the question may be asked again.
    bool isValid() const { return m_isValid; }
    // The request was answered so; it becomes the question. Not valid when it is none that can bear other
    // ids.
    void remember(std::string request, const ReplyDigest& answer, QuestionPool& pool);
    // The question was asked again, and answered so.
    void remember(const ReplyDigest& answer) { m_answer = answer; }
    Match matches(const ReplyDigest& answer) const
    {
        return {answer.saysTheSame(m_answer), isRestart(upTimeIn(m_answer), upTimeIn(answer))};
    }
    // The question stays, but whatever is answered to it next counts as new.
    void forgetAnswer() { m_answer.hash = kNoAnswer; }
    void invalidate() { m_isValid = false; }

    // The question under the id, into bytes, whose memory is used again. Only where one was remembered as
    // valid.
    void writeQuestion(std::int32_t id, std::string& bytes) const;
    // Whether the request, of the id kLeastRequestId, is the question.
    bool isQuestion(const std::string& request) const { return m_question && *m_question == request; }

private:
    static std::optional<std::int64_t> upTimeIn(const ReplyDigest& answer)
    {
        return answer.upTime < 0 ? std::nullopt : std::optional(answer.upTime);
    }

    QuestionPool::Question m_question; // with kLeastRequestId; null: none
    ReplyDigest m_answer;
    std::uint32_t m_requestIdPlace = 0; // in the question
    bool m_isValid = false;
};

} // namespace tarn::snmp
