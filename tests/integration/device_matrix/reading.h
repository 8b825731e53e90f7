#pragma once

#include <json/json.h>

#include <map>
#include <string>
#include <vector>

namespace matrix {

// What one way of reading says of one device.
struct Reading
{
    bool online = false;
    int state = 0;
    std::string serial;
    std::string message;
    Json::Value info;   // the status document
    Json::Value detail; // its "detail", parsed
};

// Where a recording is served: the address that the library is to ask, and the community.
struct Served
{
    std::string device; // the recording's name without its ending
    std::string address;
    std::string community;
    int ippPort = 0; // where it answers IPP; 0: nowhere
};

// Reads all of them through a libtarn.so, as a program would. Waits until every one is online, at most so
// long; throws std::runtime_error when the library cannot be used.
std::map<std::string, Reading> readThroughLibrary(const std::string& library,
                                                  const std::vector<Served>& served, int port,
                                                  const std::string& workDir, int timeoutMs);

// Reads the recordings without a network, through an agent in this process.
std::map<std::string, Reading> readInProcess(const std::string& directory,
                                             const std::vector<std::string>& devices);

// The same of recorded IPP answers, as if each were a printer's to a request for what the library wants.
std::map<std::string, Reading> readIppInProcess(const std::string& directory,
                                                const std::vector<std::string>& devices);

} // namespace matrix
