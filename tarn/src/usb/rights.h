#pragma once

#include <string>

namespace tarn::usb {

// What helps somebody who may not open the device node: one line, which names the group that may.
std::string rightsComplaint(const std::string& node);

// The group whose members may read and write the node; the usual one when it has none of its own.
std::string groupWithRights(const std::string& node);

// The node of a device, such as "/dev/bus/usb/001/004".
std::string nodeOf(unsigned bus, unsigned address);

} // namespace tarn::usb
