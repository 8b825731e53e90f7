#include "tarn/src/api/model_texts.h"

#include "tarn/src/api/abi_string.h"
#include "tarn/src/base/json_append.h"

namespace tarn::api {

namespace {

constexpr const char kDetectModel[] = "自动识别";

} // namespace

ModelTexts::~ModelTexts()
{
    for (char* text : m_texts) {
        deleteInterned(text);
    }
}

char* ModelTexts::document(const std::vector<std::string>& models, std::uint64_t revision)
{
    if (!m_texts.empty() && (m_revision == revision || m_retired + m_size > kMostRetired)) {
        return m_texts.back();
    }
    std::string out = "[{";
    appendJsonMember(out, "model", kDetectModel);
    for (const std::string& model : models) {
        out += "},{";
        appendJsonMember(out, "model", model);
    }
    out += "}]";
    m_texts.reserve(m_texts.size() + 1);
    char* const text = newInternedText(out);
    if (text != nullptr) {
        m_texts.push_back(text);
        m_retired += m_size;
        m_size = out.size();
        m_revision = revision;
    }
    return text;
}

} // namespace tarn::api
