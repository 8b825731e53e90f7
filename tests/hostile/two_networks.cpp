#include "tests/hostile/two_networks.h"

#include <fcntl.h>
#include <sched.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <thread>

#include "tests/support/own_namespaces.h"

namespace hostile {

namespace {

bool run(const std::string& command)
{
    return std::system(("PATH=$PATH:/usr/sbin:/sbin " + command + " >/dev/null 2>&1").c_str()) == 0;
}

} // namespace

std::optional<std::string> TwoNetworks::make()
{
    if (!kel_test::unshareAs(0, CLONE_NEWNET)) {
        return std::string("no network namespace: ") + std::strerror(errno);
    }
    m_there = open("/proc/self/ns/net", O_RDONLY | O_CLOEXEC);
    if (m_there < 0 || unshare(CLONE_NEWNET) != 0) {
        return std::string("no second network namespace: ") + std::strerror(errno);
    }
    if (!run("ip -V")) {
        return "ip(8) is not there";
    }
    if (!ipHere("link set lo up") || !connect("10.44.0.1/24")) {
        return "no pair of virtual interfaces";
    }
    return std::nullopt;
}

TwoNetworks::~TwoNetworks()
{
    if (m_there >= 0) {
        close(m_there);
    }
}

bool TwoNetworks::ipHere(const std::string& arguments)
{
    return run("ip " + arguments);
}

bool TwoNetworks::ipThere(const std::string& arguments) const
{
    bool done = false;
    there([&] { done = run("ip " + arguments); });
    return done;
}

void TwoNetworks::there(const std::function<void()>& function) const
{
    std::thread([&] {
        if (setns(m_there, CLONE_NEWNET) == 0) {
            function();
        }
    }).join();
}

bool TwoNetworks::connect(const std::string& hereAddress) const
{
    ipHere("link del cable"); // there may be none
    const std::string here = std::to_string(getpid());
    return ipThere("link add plug type veth peer name cable netns " + here) &&
           ipThere("addr add 10.44.0.2/24 dev plug") && ipThere("addr add 10.44.0.3/24 dev plug") &&
           ipThere("link set plug up") && ipHere("addr add " + hereAddress + " dev cable") &&
           ipHere("link set cable up");
}

} // namespace hostile
