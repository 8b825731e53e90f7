#pragma once

#include <string>
#include <vector>

namespace tarn::api {

// ModelTexts are the documents of tarn_getModels: the one text that stays the library's.
//
// Invariants
//  (1) A text that was handed out neither moves nor changes until the object ends.
//  (2) The same models are the same text.
// Threading: guarded by its owner.
class ModelTexts final
{
public:
    ModelTexts() = default;
    ~ModelTexts();
    ModelTexts(const ModelTexts&) = delete;
    ModelTexts& operator=(const ModelTexts&) = delete;

    // The entry that stands for detection, then the models, which only ever grow in number. Null without
    // memory.
    char* document(const std::vector<std::string>& models);

private:
    std::vector<char*> m_texts; // the last is the present one
    std::size_t m_count = 0;    // of the models in that
};

} // namespace tarn::api
