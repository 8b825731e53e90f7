#include "tarn/src/ipp/cups_library.h"

#include <csignal>
#include <cstdio>
#include <new>

#include "tarn/src/base/shared_object.h"

namespace tarn::ipp {

CupsLibrary::CupsLibrary(const char* soname)
{
    SharedObject object(soname);
    object.bind(initialize, "httpInitialize");
    object.bind(connect, "httpConnect2");
    object.bind(close, "httpClose");
    object.bind(peerAddress, "httpGetAddress");
    object.bind(setTimeout, "httpSetTimeout");
    object.bind(clearFields, "httpClearFields");
    object.bind(setField, "httpSetField");
    object.bind(setLength, "httpSetLength");
    object.bind(post, "httpPost");
    object.bind(write, "httpWrite2");
    object.bind(flushWrite, "httpFlushWrite");
    object.bind(update, "httpUpdate");
    object.bind(read, "httpRead2");
    object.bind(newMessage, "ippNew");
    object.bind(newRequest, "ippNewRequest");
    object.bind(deleteMessage, "ippDelete");
    object.bind(setVersion, "ippSetVersion");
    object.bind(addString, "ippAddString");
    object.bind(addStrings, "ippAddStrings");
    object.bind(length, "ippLength");
    object.bind(readMessage, "ippReadIO");
    object.bind(writeMessage, "ippWriteIO");
    object.bind(statusCode, "ippGetStatusCode");
    object.bind(firstAttribute, "ippFirstAttribute");
    object.bind(nextAttribute, "ippNextAttribute");
    object.bind(attributeName, "ippGetName");
    object.bind(groupTag, "ippGetGroupTag");
    object.bind(valueTag, "ippGetValueTag");
    object.bind(valueCount, "ippGetCount");
    object.bind(integerValue, "ippGetInteger");
    object.bind(booleanValue, "ippGetBoolean");
    object.bind(stringValue, "ippGetString");
    object.bind(octetsValue, "ippGetOctetString");
    object.bind(schedulerName, "cupsServer");
    object.bind(schedulerPort, "ippPort");
    complaint = object.complaint();
    if (object.isUsable()) {
        // It sets SIGPIPE to be ignored, for the whole process. What the program makes of that signal is the
        // program's affair, and our threads have it blocked.
        struct sigaction before
        {
        };
        ::sigaction(SIGPIPE, nullptr, &before);
        initialize();
        ::sigaction(SIGPIPE, &before, nullptr);
    }
}

const CupsLibrary* CupsLibrary::system()
{
    // In this library's own storage and without an end: threads that end late may still be inside when the
    // process exits, and nothing is left behind when this library is unloaded.
    alignas(CupsLibrary) static unsigned char storage[sizeof(CupsLibrary)];
    static const CupsLibrary* const library = []() -> const CupsLibrary* {
        auto* const made = new (storage) CupsLibrary("libcups.so.2");
        if (made->complaint.empty()) {
            return made;
        }
        std::fprintf(stderr, "tarn: no IPP: %s\n", made->complaint.c_str());
        made->~CupsLibrary();
        return nullptr;
    }();
    return library;
}

} // namespace tarn::ipp
