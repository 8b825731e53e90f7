#pragma once

#include <cups/cups.h>

#include "tarn/src/base/shared_object.h"

namespace tarn::ipp {

// CupsLibrary is what is used of libcups: the encoding of IPP, and where the scheduler is. It is opened when
// it is first needed, see docs/decisions/0001.
//
// Threading: immutable once made; the functions may be called from any thread.
struct CupsLibrary final : SharedObject
{
    using SharedObject::SharedObject;

    // The system's. Null, with one line on stderr by the first call, where it is missing.
    static const CupsLibrary* system();

    SharedFunction<decltype(::ippNew)> newMessage{*this, "ippNew"};
    SharedFunction<decltype(::ippNewRequest)> newRequest{*this, "ippNewRequest"};
    SharedFunction<decltype(::ippDelete)> deleteMessage{*this, "ippDelete"};
    SharedFunction<decltype(::ippSetVersion)> setVersion{*this, "ippSetVersion"};
    SharedFunction<decltype(::ippAddString)> addString{*this, "ippAddString"};
    SharedFunction<decltype(::ippAddStrings)> addStrings{*this, "ippAddStrings"};
    SharedFunction<decltype(::ippLength)> length{*this, "ippLength"};
    SharedFunction<decltype(::ippReadIO)> readMessage{*this, "ippReadIO"};
    SharedFunction<decltype(::ippWriteIO)> writeMessage{*this, "ippWriteIO"};
    SharedFunction<decltype(::ippGetStatusCode)> statusCode{*this, "ippGetStatusCode"};
    SharedFunction<decltype(::ippFirstAttribute)> firstAttribute{*this, "ippFirstAttribute"};
    SharedFunction<decltype(::ippNextAttribute)> nextAttribute{*this, "ippNextAttribute"};
    SharedFunction<decltype(::ippGetName)> attributeName{*this, "ippGetName"};
    SharedFunction<decltype(::ippGetGroupTag)> groupTag{*this, "ippGetGroupTag"};
    SharedFunction<decltype(::ippGetValueTag)> valueTag{*this, "ippGetValueTag"};
    SharedFunction<decltype(::ippGetCount)> valueCount{*this, "ippGetCount"};
    SharedFunction<decltype(::ippGetInteger)> integerValue{*this, "ippGetInteger"};
    SharedFunction<decltype(::ippGetBoolean)> booleanValue{*this, "ippGetBoolean"};
    SharedFunction<decltype(::ippGetString)> stringValue{*this, "ippGetString"};
    SharedFunction<decltype(::ippGetOctetString)> octetsValue{*this, "ippGetOctetString"};
    SharedFunction<decltype(::cupsServer)> schedulerName{*this, "cupsServer"};
    SharedFunction<decltype(::ippPort)> schedulerPort{*this, "ippPort"};
};

} // namespace tarn::ipp
