#include "tarn/src/ipp/cups_library.h"

#include "tarn/src/base/shared_object.h"
#include "tarn/src/base/system_library.h"

namespace tarn::ipp {

CupsLibrary::CupsLibrary(const char* soname)
{
    SharedObject object(soname);
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
}

const CupsLibrary* CupsLibrary::system()
{
    static SystemLibrary<CupsLibrary> library;
    return library.get({"libcups.so.2"}, "IPP");
}

} // namespace tarn::ipp
