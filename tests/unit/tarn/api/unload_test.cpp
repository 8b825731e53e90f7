// The library loaded, used and unloaded again, as a program does it that keeps no trace of it.
#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <dlfcn.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <new>
#include <stdexcept>
#include <string>

#include "tarn/tarn.h"
#include "tests/support/eventually.h"
#include "tests/support/own_threads.h"
#include "tests/unit/tarn/support/scratch_directory.h"

namespace {

// Objects that live, made by whomever in this process: the library's come from the operators below.
std::atomic<long> living{0};

void* make(std::size_t size)
{
    void* const place = std::malloc(size);
    if (place == nullptr) {
        throw std::bad_alloc();
    }
    ++living;
    return place;
}

void end(void* place)
{
    living -= place != nullptr ? 1 : 0;
    std::free(place);
}

} // namespace

void* operator new(std::size_t size)
{
    return make(size);
}
void* operator new[](std::size_t size)
{
    return make(size);
}
void operator delete(void* place) noexcept
{
    end(place);
}
void operator delete[](void* place) noexcept
{
    end(place);
}
void operator delete(void* place, std::size_t /*size*/) noexcept
{
    end(place);
}
void operator delete[](void* place, std::size_t /*size*/) noexcept
{
    end(place);
}

namespace {

using tarn::test::ScopedVariable;
using tarn::test::ScratchDirectory;

// A port of 127.0.0.1 where whoever comes is shown out again. Without a thread, which would own objects.
class Door final
{
public:
    Door() : m_fd(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0))
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        ::bind(m_fd, reinterpret_cast<sockaddr*>(&address), size);
        ::listen(m_fd, 16);
        ::getsockname(m_fd, reinterpret_cast<sockaddr*>(&address), &size);
        m_port = ntohs(address.sin_port);
    }
    ~Door() { ::close(m_fd); }
    Door(const Door&) = delete;
    Door& operator=(const Door&) = delete;

    std::uint16_t port() const { return m_port; }
    bool hasGuest() const
    {
        const int guest = ::accept(m_fd, nullptr, nullptr);
        return guest >= 0 && ::close(guest) == 0;
    }

private:
    const int m_fd;
    std::uint16_t m_port = 0;
};

// libtarn.so for as long as it is loaded; the functions that are used here.
class Loaded final
{
public:
    Loaded() : m_handle(dlopen(TARN_LIBRARY, RTLD_NOW | RTLD_LOCAL))
    {
        bind(init, "tarn_init");
        bind(destroy, "tarn_destroy");
        bind(setPrinterList, "tarn_setPrinterList");
        bind(openPrinter, "tarn_openPrinter");
        bind(closePrinter, "tarn_closePrinter");
        bind(getInfo, "tarn_getInfo");
        bind(freeStr, "tarn_freeStr");
    }
    ~Loaded()
    {
        if (m_handle != nullptr) {
            dlclose(m_handle);
        }
    }
    Loaded(const Loaded&) = delete;
    Loaded& operator=(const Loaded&) = delete;

    decltype(&tarn_init) init = nullptr;
    decltype(&tarn_destroy) destroy = nullptr;
    decltype(&tarn_setPrinterList) setPrinterList = nullptr;
    decltype(&tarn_openPrinter) openPrinter = nullptr;
    decltype(&tarn_closePrinter) closePrinter = nullptr;
    decltype(&tarn_getInfo) getInfo = nullptr;
    decltype(&tarn_freeStr) freeStr = nullptr;

private:
    template <typename Function>
    void bind(Function& function, const char* name)
    {
        if (m_handle == nullptr) {
            throw std::runtime_error(dlerror());
        }
        function = reinterpret_cast<Function>(dlsym(m_handle, name));
    }

    void* m_handle;
};

bool isLoaded(const char* soname)
{
    void* const handle = dlopen(soname, RTLD_NOW | RTLD_NOLOAD);
    if (handle != nullptr) {
        dlclose(handle);
    }
    return handle != nullptr;
}

std::ptrdiff_t ownDescriptors()
{
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

// One look at each of the printers "ipp" and "v3".
void look(const Loaded& library)
{
    for (const char* name : {"ipp", "v3"}) {
        void* printer = nullptr;
        ASSERT_EQ(library.openPrinter(name, &printer, 0, 0), TARN_OK);
        char* info = nullptr;
        EXPECT_EQ(library.getInfo(printer, &info), TARN_OK);
        library.freeStr(&info);
        library.closePrinter(&printer);
    }
}

// Loads the library, lets it ask a printer over IPP and another one by SNMPv3, and unloads it.
void liveOnce(const Door& door)
{
    const Loaded library;
    ASSERT_EQ(library.init(), TARN_OK);
    ASSERT_EQ(library.setPrinterList(R"([{"printerName":"ipp","ip":"127.0.0.1"},)"
                                     R"({"printerName":"v3","ip":"127.0.0.2"}])"),
              TARN_OK);
    EXPECT_TRUE(kel_test::eventually([&] {
        look(library);
        return isLoaded("libnetsnmp.so.40") && door.hasGuest();
    }));
    ASSERT_EQ(library.destroy(), TARN_OK);
}

TEST(Unloading, LeavesNothingBehindOfAnyWayToAPrinter)
{
    const Door door;
    const ScratchDirectory scratch;
    const ScopedVariable cache("XDG_CACHE_HOME", scratch.path("cache"));
    const ScopedVariable state("XDG_STATE_HOME", scratch.path("state"));
    const ScopedVariable config("TARN_CONFIG", scratch.path("tarn.json"));
    // Nobody listens on UDP's discard port: SNMP stays silent.
    scratch.write("tarn.json",
                  R"({"default": {"port": 9, "ipp": "ipp", "ippPort": )" + std::to_string(door.port()) + R"(},
                                    "addresses": {"127.0.0.2": {"version": "3", "user": "u", "ipp": "off"}},
                                    "users": {"u": {"auth": "SHA", "authPassword": "authpass12"}}})");
    ASSERT_EQ(chmod(scratch.path("tarn.json").c_str(), 0600), 0);

    liveOnce(door); // what the other libraries make once and keep is made now
    ASSERT_TRUE(isLoaded("libcups.so.2"));
    const long before = living;
    ASSERT_TRUE(kel_test::eventually([] { return kel_test::ownThreads("tarn-*") == 0; }));
    const long threads = kel_test::ownThreads();
    const std::ptrdiff_t descriptors = ownDescriptors();
    liveOnce(door);
    EXPECT_FALSE(isLoaded(TARN_LIBRARY));
    EXPECT_EQ(living, before);
    EXPECT_TRUE(kel_test::eventually([threads] { return kel_test::ownThreads() == threads; }));
    EXPECT_EQ(ownDescriptors(), descriptors);
}

} // namespace
