#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tarn::device {

// DeviceId is what a printer says of itself in the way of IEEE 1284: "MFG:...;MDL:...;", the answer to
// GET_DEVICE_ID of the USB printer class and the value of printer-device-id in IPP.
//
// Invariants
//  (1) All texts are valid UTF-8 without control characters and blanks at their ends.
//  (2) No field is empty, none stands twice, and there are at most kMostFields.
struct DeviceId
{
    static constexpr std::size_t kMostFields = 64;
    static constexpr std::size_t kLargest = 4096; // octets that are looked at

    std::string manufacturer; // MFG, MANUFACTURER, MANUFACTURE
    std::string model;        // MDL, MODEL
    std::string description;  // DES, DESCRIPTION
    std::string commandSet;   // CMD, COMMAND SET
    std::string deviceClass;  // CLS, CLASS
    std::string serialNumber; // SN, SERN, SERIALNUMBER ..., as serialNumberFrom makes it
    std::string uuid;
    // Everything that was said, in its order, keys in upper case: those above, status, and what a vendor
    // adds.
    std::vector<std::pair<std::string, std::string>> fields;

    // The value of the key, which is in upper case; empty without one.
    std::string_view value(std::string_view key) const;
    // False when nothing tells one printer from another.
    bool namesDevice() const { return !manufacturer.empty() || !model.empty() || !description.empty(); }
};

// The text, with or without the two octets of length before it. The standard has them count everything, the
// more significant one first; devices send them the other way round, wrong, or not at all. They are therefore
// believed only where a field ends; failing that the text reaches to its first NUL. What is no
// "key:value" (or "key=value") is left out, a value may hold ':', of two equal keys the first that has a value
// counts; quotes and line breaks end fields, too. Never fails.
DeviceId parseDeviceId(std::string_view octets);

} // namespace tarn::device
