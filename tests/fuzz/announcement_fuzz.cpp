#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "tarn/src/device/utf8.h"
#include "tools/tarn-status/find/announcement.h"

namespace {

// One string behind its length in an octet, as in a TXT record.
std::string next(const std::uint8_t*& data, std::size_t& size)
{
    if (size == 0) {
        return {};
    }
    const std::size_t length = data[0] < size ? data[0] : size - 1;
    std::string text(reinterpret_cast<const char*>(data + 1), length);
    data += length + 1;
    size -= length + 1;
    return text;
}

void demandClean(const std::string& text)
{
    if (text.size() > tarnstatus::kLongestName || !tarn::device::isValidUtf8(text) ||
        tarn::device::tidyText(text) != text) {
        std::abort();
    }
}

} // namespace

// Whatever a service is called and says, what is shown of it is clean, and it is one printer however often it
// is told of.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string name = next(data, size);
    std::vector<std::string> texts;
    while (size != 0) {
        texts.push_back(next(data, size));
    }
    const tarnstatus::Announcement one = tarnstatus::announcementOf(name, "10.0.0.1", texts);
    for (const std::string& text : {one.name, one.model, one.location, one.uuid}) {
        demandClean(text);
    }
    std::vector<tarnstatus::Announcement> printers;
    addAnnouncement(printers, one);
    addAnnouncement(printers, one);
    if (printers.size() != (one.isQueue ? 0u : 1u)) {
        std::abort();
    }
    return 0;
}
