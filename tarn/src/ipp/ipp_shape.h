#pragma once

#include <cstddef>
#include <string_view>

namespace tarn::ipp {

// What a message may hold before libcups reads it: that calls itself for each level of collections and copies
// all values of an attribute for each few that come.
struct IppBounds
{
    static constexpr std::size_t kDeepestNesting = 8;
    static constexpr std::size_t kMostValues = 2048; // of one attribute, or of one member of one collection
    static constexpr std::size_t kMostAttributes = 50000; // of a message, members of collections included
};

// Whether octets are shaped like a message that libcups reads in bounded time and stack (RFC 8010 3.1). One
// that is cut off is as readable as what there is of it.
bool isReadableIpp(std::string_view octets);

} // namespace tarn::ipp
