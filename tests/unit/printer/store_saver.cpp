// Saves one list after the other until it is killed, or COUNT times: the program that store_crash_test kills.
//   store_saver PATH SEED [COUNT]
// All printers of one list carry the list's number as manufacturer and its length as model, so that a mixture
// shows.
#include <boost/filesystem.hpp>

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <iostream>
#include <random>
#include <string>

#include "printer/printer_store.h"

int main(int argc, char** argv)
{
    if (argc < 3) {
        return 2;
    }
    morvik::kel::PrinterStore store(argv[1]);
    std::mt19937 random(static_cast<unsigned>(std::atol(argv[2])));
    const long count = argc > 3 ? std::atol(argv[3]) : -1;
    for (long number = 0; number != count; ++number) {
        const std::size_t length =
            1 + random() % (random() % 2 == 0 ? 4000 : 20); // never empty: half a file may read so
        std::vector<morvik::kel::PrinterContext> list(length);
        for (std::size_t i = 0; i < length; ++i) {
            list[i].printerName = "printer-" + std::to_string(i);
            list[i].manufacturer = std::string(argv[2]) + "." + std::to_string(number);
            list[i].model = std::to_string(length);
            list[i].ip = "10.0.0.1";
        }
        try {
            store.save(list);
        } catch (const boost::filesystem::filesystem_error& error) {
            if (error.code().value() ==
                EWOULDBLOCK) { // another had the lock for all of a starved machine's seconds
                --number;
                continue;
            }
            std::cerr << error.what() << '\n';
            return 1;
        }
        if (number == 0 && ::write(STDOUT_FILENO, "s", 1) != 1) { // the parent waits for the first save
            return 3;
        }
    }
    return 0;
}
