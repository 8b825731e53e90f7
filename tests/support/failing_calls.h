#pragma once

#include <cstdint>
#include <vector>

namespace kel_test {

// Calls of one shared library that fail as if the system had run out: allocations by operator new and, but
// under sanitizers, calls that make a descriptor or a thread. Calls are told apart by their stacks, as far as
// these lie in the library.
//
// Whoever links this has the program's operators new and delete replaced, and exports functions of the C
// library's names, which the libraries loaded by it find first. One at a time; any thread may be asking.
class FailingCalls final
{
public:
    using Stack = std::uint64_t; // a digest

    // To be called once, with the library loaded: addresses between these are its code.
    static void watch(const void* anythingInside);

    // Notes the stacks of all such calls until end().
    static void record();
    // Lets the first call with that stack fail, or the one behind so many; with fromThenOn every other one
    // behind it, too.
    static void fail(Stack stack, bool fromThenOn, int behind = 0);
    // Lets one in so many of the allocations of threads of that name fail.
    static void failSome(const char* thread, unsigned oneIn);
    static void end();

    static std::vector<Stack> recorded();
    static unsigned long failures(); // since the last fail() or failSome()
};

} // namespace kel_test
