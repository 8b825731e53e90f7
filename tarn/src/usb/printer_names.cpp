#include "tarn/src/usb/printer_names.h"

#include "tarn/src/device/make_and_model.h"

namespace tarn::usb {

namespace {

// Longer ones would not fit where they are shown, and nothing real has one.
constexpr std::size_t kLongestName = 240;
constexpr std::size_t kMostRemembered = 4096;

// Cut between two characters.
std::string cutTo(std::string text, std::size_t most)
{
    if (text.size() <= most) {
        return text;
    }
    while (most > 0 && (static_cast<unsigned char>(text[most]) & 0xC0) == 0x80) {
        --most;
    }
    text.resize(most);
    return text;
}

} // namespace

std::string PrinterNames::add(const PrinterIdentity& identity, const std::string& path)
{
    std::string plain = device::makeAndModel(identity.manufacturer, identity.model);
    if (!identity.serialNumber.empty()) {
        plain += ' ' + identity.serialNumber;
    }
    plain = cutTo(std::move(plain), kLongestName);
    if (m_remembered.size() >= kMostRemembered) {
        m_remembered.clear();
    }
    std::string& name = m_remembered[{plain, path}];
    if (name.empty() || m_taken.count(name) != 0) {
        name = plain;
        for (unsigned twin = 2; m_taken.count(name) != 0; ++twin) {
            name = plain + " #" + std::to_string(twin);
        }
    }
    m_taken.insert(name);
    return name;
}

} // namespace tarn::usb
