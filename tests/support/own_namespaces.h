#pragma once

#include <sched.h>
#include <sys/types.h>
#include <unistd.h>

#include <fstream>

namespace kel_test {

// Moves this process into namespaces of its own (flags of unshare(2)); where that needs rights that it has
// not, into a user namespace as well, in which its user is known as inside: what an unknown user creates
// there is refused. Before the process has other threads.
inline bool unshareAs(uid_t inside, int flags)
{
    if (unshare(flags) == 0) {
        return true;
    }
    const uid_t user = getuid();
    const gid_t group = getgid();
    if (unshare(CLONE_NEWUSER | flags) != 0) {
        return false;
    }
    std::ofstream("/proc/self/setgroups") << "deny";
    std::ofstream("/proc/self/uid_map") << inside << " " << user << " 1";
    std::ofstream("/proc/self/gid_map") << (inside == 0 ? 0 : group) << " " << group << " 1";
    return true;
}

} // namespace kel_test
