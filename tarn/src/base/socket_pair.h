#pragma once

#include <functional>

namespace tarn {

// Runs make, in which a library that is not ours makes itself a pair of sockets, and marks the two
// close-on-exec, so that the host's children do not inherit them. Where other sockets of the kind come into
// being at the same time nothing is marked: they may be the host's.
void closePairOnExec(const std::function<void()>& make);

} // namespace tarn
