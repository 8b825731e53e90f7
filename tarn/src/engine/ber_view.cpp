#include "tarn/src/engine/ber_view.h"

namespace tarn::engine {

std::optional<BerElement> takeElement(snmp::ByteView& view)
{
    if (view.size < 2) {
        return std::nullopt;
    }
    const std::uint8_t tag = view.data[0];
    std::size_t length = view.data[1];
    std::size_t head = 2;
    if (length >= 0x80) {
        const std::size_t octets = length & 0x7F;
        if (octets == 0 || octets > 4 || view.size < 2 + octets) {
            return std::nullopt;
        }
        length = 0;
        for (std::size_t i = 0; i < octets; ++i) {
            length = length << 8 | view.data[head++];
        }
    }
    if (length > view.size - head) {
        return std::nullopt;
    }
    const BerElement element{tag, {view.data + head, length}};
    view = {view.data + head + length, view.size - head - length};
    return element;
}

std::optional<std::int64_t> integerOf(const BerElement& element)
{
    const snmp::ByteView& body = element.body;
    if (body.size == 0 || body.size > 8) {
        return std::nullopt;
    }
    std::uint64_t value = (body.data[0] & 0x80) != 0 ? ~std::uint64_t{0} : 0;
    for (std::size_t i = 0; i < body.size; ++i) {
        value = value << 8 | body.data[i];
    }
    return static_cast<std::int64_t>(value);
}

} // namespace tarn::engine
