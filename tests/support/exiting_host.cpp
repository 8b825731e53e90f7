// A program that has the access library in a static object, as Kel does: made before main, so that its
// destructor stops and unloads the library at the very end of the exit, behind the exit handlers of everybody
// who came later.
//
//   exiting_host LIBRARY PRINTERS OPTIONS PAUSE-MS [openssl-first]
//
// PRINTERS and OPTIONS are JSON texts for tarn_setPrinterList and tarn_setOptions. Prints the names of the
// printers that can be reached, as a JSON array, whenever they change; ends when its standard input does.
// PAUSE-MS pass in the static destructor before the library is stopped; printers are read meanwhile.
#include <dlfcn.h>
#include <poll.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>

#include <json/json.h>

#include "tarn/tarn.h"

namespace {

using namespace std::chrono_literals;

class Library final
{
public:
    ~Library()
    {
        if (m_object == nullptr) {
            return;
        }
        const auto until = std::chrono::steady_clock::now() + pause;
        do {
            reachable();
            std::this_thread::sleep_for(10ms);
        } while (std::chrono::steady_clock::now() < until);
        call<decltype(&tarn_destroy)>("tarn_destroy")();
        ::dlclose(m_object);
        std::puts("unloaded");
        std::fflush(stdout);
    }

    void load(const char* path)
    {
        m_object = ::dlopen(path, RTLD_LAZY | RTLD_GLOBAL);
        if (m_object == nullptr) {
            throw std::runtime_error(::dlerror());
        }
        if (call<decltype(&tarn_init)>("tarn_init")() != TARN_OK) {
            throw std::runtime_error("tarn_init");
        }
    }

    template <typename Function>
    Function call(const char* name) const
    {
        return reinterpret_cast<Function>(::dlsym(m_object, name));
    }

    // Of the printers in the library's own list.
    std::set<std::string> reachable() const
    {
        char* list = nullptr;
        Json::Value printers;
        if (call<decltype(&tarn_getPrinterList)>("tarn_getPrinterList")(&list) == TARN_OK) {
            Json::Reader().parse(list, printers);
        }
        call<decltype(&tarn_freePrinterList)>("tarn_freePrinterList")(&list);
        std::set<std::string> names;
        for (const Json::Value& printer : printers) {
            const std::string name = printer["printerName"].asString();
            void* handle = nullptr;
            int state = 2;
            if (call<decltype(&tarn_openPrinter)>("tarn_openPrinter")(name.c_str(), &handle, 0, 0) ==
                TARN_OK) {
                call<decltype(&tarn_getState)>("tarn_getState")(handle, &state);
                call<decltype(&tarn_closePrinter)>("tarn_closePrinter")(&handle);
            }
            if (state != 2) {
                names.insert(name);
            }
        }
        return names;
    }

    std::chrono::milliseconds pause{0};

private:
    void* m_object = nullptr;
};

Library library;

bool inputEnded()
{
    pollfd input{STDIN_FILENO, POLLIN, 0};
    return ::poll(&input, 1, 20) == 1;
}

void useOpenSsl()
{
    void* const object = ::dlopen("libcrypto.so.3", RTLD_NOW | RTLD_GLOBAL);
    using Sha = unsigned char*(const unsigned char*, std::size_t, unsigned char*);
    auto* const sha = object != nullptr ? reinterpret_cast<Sha*>(::dlsym(object, "SHA256")) : nullptr;
    unsigned char digest[32];
    if (sha == nullptr || sha(digest, 0, digest) == nullptr) {
        throw std::runtime_error("no OpenSSL");
    }
}

void live(const std::string& printers, const std::string& options)
{
    if (library.call<decltype(&tarn_setOptions)>("tarn_setOptions")(options.c_str()) != TARN_OK ||
        library.call<decltype(&tarn_setPrinterList)>("tarn_setPrinterList")(printers.c_str()) != TARN_OK) {
        throw std::runtime_error("a text was refused");
    }
    std::set<std::string> before;
    while (!inputEnded()) {
        std::set<std::string> now = library.reachable();
        if (now != before) {
            Json::Value names(Json::arrayValue);
            for (const std::string& name : now) {
                names.append(name);
            }
            Json::StreamWriterBuilder writer;
            writer["indentation"] = "";
            std::puts(Json::writeString(writer, names).c_str());
            std::fflush(stdout);
            before.swap(now);
        }
    }
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 5) {
        return 2;
    }
    try {
        if (argc > 5) {
            useOpenSsl();
        }
        library.load(argv[1]);
        library.pause = std::chrono::milliseconds(std::atoi(argv[4]));
        live(argv[2], argv[3]);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "exiting_host: %s\n", error.what());
        return 1;
    }
    return 0;
}
