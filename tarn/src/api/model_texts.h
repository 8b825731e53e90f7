#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace tarn::api {

// ModelTexts are the documents of tarn_getModels: the one text that stays the library's.
//
// Invariants
//  (1) A text that was handed out neither moves nor changes until the object ends.
//  (2) The same revision is the same text.
//  (3) Texts that are no longer the present one have at most kMostRetired octets together. Where another one
//      would have more, the present one stays: a printer that keeps changing its name must not fill the
//      memory.
// Threading: guarded by its owner.
class ModelTexts final
{
public:
    static constexpr std::size_t kMostRetired = 16u << 20;

    ModelTexts() = default;
    ~ModelTexts();
    ModelTexts(const ModelTexts&) = delete;
    ModelTexts& operator=(const ModelTexts&) = delete;

    // The entry that stands for detection, then the models, which are others after another revision. Null
    // without memory.
    char* document(const std::vector<std::string>& models, std::uint64_t revision);

private:
    std::vector<char*> m_texts; // the last is the present one
    std::uint64_t m_revision = 0;
    std::size_t m_size = 0;    // of the present one
    std::size_t m_retired = 0; // of the others
};

} // namespace tarn::api
