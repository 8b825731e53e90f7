#include "tarn/src/api/handle.h"

#include "tarn/src/base/json_text.h"
#include "tarn/src/device/rendering.h"

namespace tarn::api {

PrinterHandle* PrinterHandle::from(void* handle)
{
    auto* const opened = static_cast<PrinterHandle*>(handle);
    return opened != nullptr && opened->m_magic == kMagic ? opened : nullptr;
}

std::string PrinterHandle::detailedInfo() const
{
    std::string out = snapshot().info;
    if (out.empty() || out.back() != '}') {
        return out;
    }
    out.pop_back();
    appendJsonMember(out, "online", snapshot().online ? "1" : "0");
    appendJsonMember(out, "age", std::to_string(m_opened.ageMs));
    appendJsonMember(out, "source", snapshot().source);
    out += '}';
    return out;
}

} // namespace tarn::api
