#include "tarn/src/base/socket_pair.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>

namespace tarn {
namespace {

using Pair = std::array<int, 2>;

Pair makePair()
{
    Pair pair{};
    EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, pair.data()), 0);
    return pair;
}

bool isClosedOnExec(const Pair& pair)
{
    const bool first = (::fcntl(pair[0], F_GETFD) & FD_CLOEXEC) != 0;
    EXPECT_EQ(first, (::fcntl(pair[1], F_GETFD) & FD_CLOEXEC) != 0);
    return first;
}

void close(const Pair& pair)
{
    ::close(pair[0]);
    ::close(pair[1]);
}

TEST(SocketPair, MadeInTheCallIsClosedOnExecAndNoOther)
{
    const Pair earlier = makePair();
    Pair pair{};
    closePairOnExec([&] {
        pair = makePair();
        ::close(::socket(AF_INET, SOCK_DGRAM, 0));
    });
    EXPECT_TRUE(isClosedOnExec(pair));
    EXPECT_FALSE(isClosedOnExec(earlier));
    close(pair);
    close(earlier);
}

TEST(SocketPair, IsToldFromSocketsOfOtherKindsThatAreMadeBesideIt)
{
    Pair pair{};
    Pair datagrams{};
    int inet = -1;
    closePairOnExec([&] {
        pair = makePair();
        inet = ::socket(AF_INET, SOCK_STREAM, 0);
        EXPECT_EQ(::socketpair(AF_UNIX, SOCK_DGRAM, 0, datagrams.data()), 0);
    });
    EXPECT_TRUE(isClosedOnExec(pair));
    EXPECT_FALSE(isClosedOnExec(datagrams));
    EXPECT_EQ(::fcntl(inet, F_GETFD) & FD_CLOEXEC, 0);
    close(pair);
    close(datagrams);
    ::close(inet);
}

TEST(SocketPair, IsLeftAloneWhereItCannotBeToldFromAnother)
{
    Pair one{};
    Pair other{};
    closePairOnExec([&] {
        one = makePair();
        other = makePair();
    });
    EXPECT_FALSE(isClosedOnExec(one));
    EXPECT_FALSE(isClosedOnExec(other));
    close(one);
    close(other);
}

} // namespace
} // namespace tarn
