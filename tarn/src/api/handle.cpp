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
    // Rendered when it is asked for: the program that polls every second never does, and a picture kept twice
    // for each of ten thousand printers would cost more than this.
    std::string out = snapshot().info;
    if (out.empty() || out.back() != '}') {
        return out;
    }
    out.pop_back();
    appendJsonMember(out, "online", snapshot().online ? "1" : "0");
    appendJsonMember(out, "age", std::to_string(m_opened.ageMs));
    appendJsonMember(out, "source", snapshot().source);
    appendJsonMember(out, "detail", device::detailDocument(snapshot().picture.unpacked()));
    out += '}';
    return out;
}

} // namespace tarn::api
