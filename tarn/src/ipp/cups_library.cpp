#include "tarn/src/ipp/cups_library.h"

#include "tarn/src/base/system_library.h"

namespace tarn::ipp {

const CupsLibrary* CupsLibrary::system()
{
    static SystemLibrary<CupsLibrary> library;
    return library.get({"libcups.so.2"}, "IPP");
}

} // namespace tarn::ipp
