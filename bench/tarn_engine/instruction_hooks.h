#pragma once

#include <string>

// Runs what callgrind is to count: it begins and ends with this function, by its name.
extern "C" void countedInstructions(void (*run)(void*), void* with);

namespace bench {

// Open, all getters and close of the printer of that name.
void openToClose(const char* name);
// As the library tells it; 2 when it does not.
int stateOf(const std::string& name);

} // namespace bench
