#include "tarn/src/snmp/poll/replay_cache.h"

#include <utility>

namespace tarn::snmp {

void ReplayCache::remember(std::string request, const ReplyDigest& answer, QuestionPool& pool)
{
    m_answer = answer;
    m_isValid = false;
    m_question = nullptr;
    m_requestIdPlace = placeOfRequestId(request);
    if (m_requestIdPlace != 0) {
        putRequestId(request, m_requestIdPlace, kLeastRequestId);
        m_question = pool.shared(std::move(request));
        m_isValid = true;
    }
}

void ReplayCache::writeQuestion(std::int32_t id, std::string& bytes) const
{
    bytes = *m_question;
    putRequestId(bytes, m_requestIdPlace, id);
}

} // namespace tarn::snmp
