#include "printer/printer_context.h"

#include "printer/queued_order.h"

namespace morvik::kel {

namespace {

// The characters up to the first NUL, in a buffer of their own.
std::string freshCopy(const std::string& text)
{
    return std::string(text.c_str()); // NOLINT(readability-redundant-string-cstr): up to the NUL
}

const PrinterContext& taken(const PrinterContext& context)
{
    markTaken(&context);
    return context;
}

} // namespace

PrinterContext::PrinterContext(bool usb)
    : state(0), spareCode(0), cToner(-1), mToner(-1), yToner(-1), kToner(-1), rToner(-1), totalPrint(-1),
      lessPaper(false), lackPaper(false), lessToner(false), lackToner(false), isUsbPrinter(usb)
{
}

PrinterContext::PrinterContext(const PrinterContext& other)
    : uuid(freshCopy(taken(other).uuid)), printerName(freshCopy(other.printerName)),
      manufacturer(freshCopy(other.manufacturer)), model(freshCopy(other.model)),
      description(freshCopy(other.description)), spareText(freshCopy(other.spareText)),
      serialNumber(freshCopy(other.serialNumber)), ip(freshCopy(other.ip)), state(other.state),
      spareCode(other.spareCode), stateMessage(freshCopy(other.stateMessage)), cToner(other.cToner),
      mToner(other.mToner), yToner(other.yToner), kToner(other.kToner), rToner(other.rToner),
      totalPrint(other.totalPrint), lessPaper(other.lessPaper), lackPaper(other.lackPaper),
      lessToner(other.lessToner), lackToner(other.lackToner), isUsbPrinter(other.isUsbPrinter)
{
    markMade(this);
}

PrinterContext& PrinterContext::operator=(const PrinterContext& other)
{
    if (this == &other) {
        return *this;
    }
    uuid = freshCopy(other.uuid);
    printerName = freshCopy(other.printerName);
    manufacturer = freshCopy(other.manufacturer);
    model = freshCopy(other.model);
    description = freshCopy(other.description);
    spareText = freshCopy(other.spareText);
    serialNumber = freshCopy(other.serialNumber);
    ip = freshCopy(other.ip);
    state = other.state;
    spareCode = other.spareCode;
    stateMessage = freshCopy(other.stateMessage);
    cToner = other.cToner;
    mToner = other.mToner;
    yToner = other.yToner;
    kToner = other.kToner;
    rToner = other.rToner;
    totalPrint = other.totalPrint;
    lessPaper = other.lessPaper;
    lackPaper = other.lackPaper;
    lessToner = other.lessToner;
    lackToner = other.lackToner;
    isUsbPrinter = other.isUsbPrinter;
    return *this;
}

PrinterContext::~PrinterContext()
{
    markTaken(this);
}

} // namespace morvik::kel
