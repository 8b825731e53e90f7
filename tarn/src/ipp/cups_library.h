#pragma once

#include <cups/cups.h>

#include <string>

namespace tarn::ipp {

// CupsLibrary is what is used of libcups: the encoding of IPP, and where the scheduler is. It is opened when
// it is first needed, see docs/decisions/0001.
//
// Threading: immutable once made; the functions may be called from any thread.
struct CupsLibrary
{
    // The library of that name. When it cannot be used, complaint says why and the functions are null.
    explicit CupsLibrary(const char* soname);

    // The system's. Null, with one line on stderr by the first call, where it is missing.
    static const CupsLibrary* system();

    std::string complaint;

    decltype(::ippNew)* newMessage = nullptr;
    decltype(::ippNewRequest)* newRequest = nullptr;
    decltype(::ippDelete)* deleteMessage = nullptr;
    decltype(::ippSetVersion)* setVersion = nullptr;
    decltype(::ippAddString)* addString = nullptr;
    decltype(::ippAddStrings)* addStrings = nullptr;
    decltype(::ippLength)* length = nullptr;
    decltype(::ippReadIO)* readMessage = nullptr;
    decltype(::ippWriteIO)* writeMessage = nullptr;
    decltype(::ippGetStatusCode)* statusCode = nullptr;
    decltype(::ippFirstAttribute)* firstAttribute = nullptr;
    decltype(::ippNextAttribute)* nextAttribute = nullptr;
    decltype(::ippGetName)* attributeName = nullptr;
    decltype(::ippGetGroupTag)* groupTag = nullptr;
    decltype(::ippGetValueTag)* valueTag = nullptr;
    decltype(::ippGetCount)* valueCount = nullptr;
    decltype(::ippGetInteger)* integerValue = nullptr;
    decltype(::ippGetBoolean)* booleanValue = nullptr;
    decltype(::ippGetString)* stringValue = nullptr;
    decltype(::ippGetOctetString)* octetsValue = nullptr;
    decltype(::cupsServer)* schedulerName = nullptr;
    decltype(::ippPort)* schedulerPort = nullptr;
};

} // namespace tarn::ipp
