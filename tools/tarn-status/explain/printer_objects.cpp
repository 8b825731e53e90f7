#include "tools/tarn-status/explain/printer_objects.h"

#include "tools/tarn-status/explain/snmp_message.h"

namespace tarnstatus {

using tarn::snmp::Oid;
using tarn::snmp::Pdu;

const Oid kSystemDescription = {1, 3, 6, 1, 2, 1, 1, 1};

namespace {

const Oid kHrPrinterStatus = {1, 3, 6, 1, 2, 1, 25, 3, 5, 1, 1};
const Oid kPrinterMib = {1, 3, 6, 1, 2, 1, 43};
const Oid kHrDeviceDescr = {1, 3, 6, 1, 2, 1, 25, 3, 2, 1, 3};

} // namespace

std::string textOf(const Pdu& answer)
{
    return answer.errorStatus == 0 && !answer.varbinds.empty() ? answer.varbinds.front().value.bytes
                                                               : std::string();
}

bool hasPrinterObjects(const AskNext& ask, std::string& detail)
{
    bool isPrinter = false;
    for (const Oid& name : {kPrinterMib, kHrPrinterStatus}) {
        const std::optional<Pdu> answer = isPrinter ? std::nullopt : ask(name);
        isPrinter = isPrinter || (answer && isBelow(*answer, name));
    }
    if (isPrinter) {
        const std::optional<Pdu> answer = ask(kHrDeviceDescr);
        if (answer && isBelow(*answer, kHrDeviceDescr) && !textOf(*answer).empty()) {
            detail = textOf(*answer);
        }
    }
    return isPrinter;
}

} // namespace tarnstatus
