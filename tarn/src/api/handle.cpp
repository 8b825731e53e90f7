#include "tarn/src/api/handle.h"

#include "tarn/src/base/json_append.h"
#include "tarn/src/device/rendering.h"

namespace tarn::api {

namespace {

// The way that each field came, of the fields that the status tells of: a JSON object of texts.
std::string sourcesDocument(const engine::Snapshot& snapshot)
{
    std::string out = "{";
    for (std::size_t i = 0; i < snapshot.fieldSources.size(); ++i) {
        if (snapshot.fieldSources[i] != engine::Source::None) {
            appendJsonMember(out, device::fieldName(static_cast<device::StatusField>(i)),
                             engine::sourceName(snapshot.fieldSources[i]));
        }
    }
    return out + '}';
}

} // namespace

PrinterHandle* PrinterHandle::from(void* handle)
{
    auto* const opened = static_cast<PrinterHandle*>(handle);
    return opened != nullptr && opened->m_magic == kMagic ? opened : nullptr;
}

std::string PrinterHandle::detailedInfo() const
{
    // Rendered when it is asked for: the program that polls every second never does, and a status kept twice
    // for each of ten thousand printers would cost more than this.
    std::string out = snapshot().info;
    if (out.empty() || out.back() != '}') {
        return out;
    }
    out.pop_back();
    appendJsonMember(out, "online", snapshot().online ? "1" : "0");
    appendJsonMember(out, "age", std::to_string(m_opened.ageMs));
    appendJsonMember(out, "remembered", m_opened.isOfEarlierRun ? "1" : "0");
    appendJsonMember(out, "source", engine::sourceName(snapshot().source));
    appendJsonMember(out, "sources", sourcesDocument(snapshot()));
    appendJsonMember(out, "detail", device::detailDocument(snapshot().status.unpacked()));
    out += '}';
    return out;
}

} // namespace tarn::api
