#include "tarn/src/ipp/ipp_attributes.h"

#include <algorithm>
#include <cstring>
#include <memory>

#include "tarn/src/base/immortal.h"
#include "tarn/src/device/utf8.h"
#include "tarn/src/ipp/cups_library.h"
#include "tarn/src/ipp/ipp_shape.h"
#include "tarn/src/ipp/keyed_text.h"

namespace tarn::ipp {

const std::array<const char*, 27> kWantedAttributes{
    "device-uri",
    "marker-colors",
    "marker-high-levels",
    "marker-levels",
    "marker-low-levels",
    "marker-names",
    "marker-types",
    "printer-alert",
    "printer-alert-description",
    "printer-device-id",
    "printer-impressions-completed",
    "printer-info",
    "printer-input-tray",
    "printer-is-accepting-jobs",
    "printer-location",
    "printer-make-and-model",
    "printer-media-sheets-completed",
    "printer-name",
    "printer-pages-completed",
    "printer-serial-number",
    "printer-state",
    "printer-state-message",
    "printer-state-reasons",
    "printer-supply",
    "printer-supply-description",
    "printer-type",
    "printer-uuid",
};

namespace {

constexpr std::size_t kMostPrinters = 2000;

struct Cursor
{
    std::string_view octets;
    std::size_t at = 0;
};

ssize_t readSome(void* source, ipp_uchar_t* buffer, std::size_t size)
{
    auto& cursor = *static_cast<Cursor*>(source);
    const std::size_t count = std::min(size, cursor.octets.size() - cursor.at);
    std::memcpy(buffer, cursor.octets.data() + cursor.at, count);
    cursor.at += count;
    return static_cast<ssize_t>(count);
}

ssize_t writeSome(void* sink, ipp_uchar_t* buffer, std::size_t size)
{
    static_cast<std::string*>(sink)->append(reinterpret_cast<const char*>(buffer), size);
    return static_cast<ssize_t>(size);
}

bool isWanted(const char* name)
{
    return name != nullptr &&
           std::binary_search(kWantedAttributes.begin(), kWantedAttributes.end(), name,
                              [](const char* a, const char* b) { return std::strcmp(a, b) < 0; });
}

std::string boundedText(const char* text, std::size_t length)
{
    std::size_t end = std::min(length, IppAttributes::kLongestText);
    while (end > 0 && end < length && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) {
        --end; // not in the middle of a character
    }
    return std::string(text, end);
}

std::optional<IppValue> valueOf(const CupsLibrary& cups, ipp_attribute_t* attribute, ipp_tag_t tag, int index)
{
    IppValue value;
    switch (tag) {
    case IPP_TAG_INTEGER:
    case IPP_TAG_ENUM:
        value.number = cups.integerValue(attribute, index);
        return value;
    case IPP_TAG_BOOLEAN:
        value.number = cups.booleanValue(attribute, index) != 0 ? 1 : 0;
        return value;
    case IPP_TAG_STRING: {
        int length = 0;
        const void* const octets = cups.octetsValue(attribute, index, &length);
        if (octets != nullptr && length > 0) {
            value.text = boundedText(static_cast<const char*>(octets), static_cast<std::size_t>(length));
        }
        return value;
    }
    case IPP_TAG_TEXT:
    case IPP_TAG_NAME:
    case IPP_TAG_TEXTLANG:
    case IPP_TAG_NAMELANG:
    case IPP_TAG_KEYWORD:
    case IPP_TAG_URI:
    case IPP_TAG_URISCHEME: {
        const char* const text = cups.stringValue(attribute, index, nullptr);
        if (text != nullptr) {
            value.text = boundedText(text, std::strlen(text));
        }
        return value;
    }
    default:
        return std::nullopt;
    }
}

void take(const CupsLibrary& cups, ipp_attribute_t* attribute, IppAttributes& out)
{
    const char* const name = cups.attributeName(attribute);
    const ipp_tag_t tag = cups.valueTag(attribute);
    const int count = std::min(cups.valueCount(attribute), static_cast<int>(IppAttributes::kMostValues));
    for (int i = 0; i < count; ++i) {
        if (std::optional<IppValue> value = valueOf(cups, attribute, tag, i)) {
            out.add(name, std::move(*value));
        }
    }
}

using Message = std::unique_ptr<ipp_t, decltype(::ippDelete)*>;

} // namespace

void IppAttributes::add(std::string_view name, IppValue value)
{
    auto found = m_values.find(name);
    if (found == m_values.end()) {
        found = m_values.emplace(std::string(name), std::vector<IppValue>()).first;
    }
    if (found->second.size() < kMostValues) {
        value.text = withoutOwnName(name, value.text);
        value.text.resize(std::min(value.text.size(), kLongestText));
        found->second.push_back(std::move(value));
    }
}

const std::vector<IppValue>& IppAttributes::values(const char* name) const
{
    static const Immortal<std::vector<IppValue>> none;
    const auto found = m_values.find(name);
    return found == m_values.end() ? *none : found->second;
}

std::optional<std::int64_t> IppAttributes::number(const char* name) const
{
    return numberAt(name, 0);
}

std::string IppAttributes::text(const char* name) const
{
    return textAt(name, 0);
}

std::string IppAttributes::textAt(const char* name, std::size_t index) const
{
    const std::vector<IppValue>& all = values(name);
    return index < all.size() ? device::tidyText(all[index].text) : std::string();
}

std::optional<std::int64_t> IppAttributes::numberAt(const char* name, std::size_t index) const
{
    const std::vector<IppValue>& all = values(name);
    return index < all.size() ? all[index].number : std::nullopt;
}

std::string encodeIpp(const CupsLibrary& cups, IppOperation operation, const std::string& printerUri,
                      bool version11)
{
    const bool queues = operation == IppOperation::Queues;
    const Message message(cups.newRequest(queues ? IPP_OP_CUPS_GET_PRINTERS : IPP_OP_GET_PRINTER_ATTRIBUTES),
                          cups.deleteMessage);
    if (!message) {
        return std::string();
    }
    cups.setVersion(message.get(), version11 ? 1 : 2, version11 ? 1 : 0);
    if (!queues) {
        cups.addString(message.get(), IPP_TAG_OPERATION, IPP_TAG_URI, "printer-uri", nullptr,
                       printerUri.c_str());
    }
    cups.addStrings(message.get(), IPP_TAG_OPERATION, IPP_TAG_KEYWORD, "requested-attributes",
                    static_cast<int>(kWantedAttributes.size()), nullptr, kWantedAttributes.data());
    std::string octets;
    if (cups.writeMessage(&octets, writeSome, 1, nullptr, message.get()) != IPP_STATE_DATA) {
        octets.clear();
    }
    return octets;
}

std::optional<IppReply> decodeIpp(const CupsLibrary& cups, std::string_view octets)
{
    if (!isReadableIpp(octets)) {
        return std::nullopt;
    }
    const Message message(cups.newMessage(), cups.deleteMessage);
    Cursor cursor{octets};
    if (!message || cups.readMessage(&cursor, readSome, 1, nullptr, message.get()) != IPP_STATE_DATA) {
        return std::nullopt;
    }
    IppReply reply;
    reply.statusCode = cups.statusCode(message.get());
    bool within = false; // a printer's group, which ends at a separator or another group
    for (ipp_attribute_t* attribute = cups.firstAttribute(message.get()); attribute != nullptr;
         attribute = cups.nextAttribute(message.get())) {
        const bool printers = cups.groupTag(attribute) == IPP_TAG_PRINTER;
        if (printers && !within) {
            if (reply.printers.size() == kMostPrinters) {
                break;
            }
            reply.printers.emplace_back();
        }
        within = printers;
        if (printers && isWanted(cups.attributeName(attribute))) {
            take(cups, attribute, reply.printers.back());
        }
    }
    return reply;
}

} // namespace tarn::ipp
