// The alerts in English, by their keywords.
#include <iterator>

#include "tools/tarn-status/words.h"

namespace tarnstatus {

namespace {

struct Words
{
    const char* keyword;
    const char* english;
};

const Words kAlerts[] = {
    // prtAlertCode, IANA-PRINTER-MIB
    {"coverOpen", "cover open"},
    {"coverClosed", "cover closed"},
    {"interlockOpen", "interlock open"},
    {"interlockClosed", "interlock closed"},
    {"configurationChange", "configuration changed"},
    {"jam", "paper jam"},
    {"subunitMissing", "part missing"},
    {"subunitLifeAlmostOver", "part almost worn out"},
    {"subunitLifeOver", "part worn out"},
    {"subunitAlmostEmpty", "almost empty"},
    {"subunitEmpty", "empty"},
    {"subunitAlmostFull", "almost full"},
    {"subunitFull", "full"},
    {"subunitNearLimit", "part near its limit"},
    {"subunitAtLimit", "part at its limit"},
    {"subunitOpened", "part opened"},
    {"subunitClosed", "part closed"},
    {"subunitTurnedOn", "part turned on"},
    {"subunitTurnedOff", "part turned off"},
    {"subunitOffline", "part off-line"},
    {"subunitPowerSaver", "power save"},
    {"subunitWarmingUp", "warming up"},
    {"subunitAdded", "part added"},
    {"subunitRemoved", "part removed"},
    {"subunitResourceAdded", "resource added"},
    {"subunitResourceRemoved", "resource removed"},
    {"subunitRecoverableFailure", "recoverable failure"},
    {"subunitUnrecoverableFailure", "failure, needs service"},
    {"subunitRecoverableStorageError", "recoverable storage error"},
    {"subunitUnrecoverableStorageError", "storage error, needs service"},
    {"subunitMotorFailure", "motor failure"},
    {"subunitMemoryExhausted", "out of memory"},
    {"subunitUnderTemperature", "too cold"},
    {"subunitOverTemperature", "too hot"},
    {"subunitTimingFailure", "timing failure"},
    {"subunitThermistorFailure", "thermistor failure"},
    {"doorOpen", "door open"},
    {"doorClosed", "door closed"},
    {"powerUp", "powered up"},
    {"powerDown", "powered down"},
    {"printerNMSReset", "reset over the network"},
    {"printerManualReset", "reset by hand"},
    {"printerReadyToPrint", "ready to print"},
    {"inputMediaTrayMissing", "input tray missing"},
    {"inputMediaSizeChange", "paper size changed"},
    {"inputMediaWeightChange", "paper weight changed"},
    {"inputMediaTypeChange", "paper type changed"},
    {"inputMediaColorChange", "paper colour changed"},
    {"inputMediaFormPartsChange", "number of form parts changed"},
    {"inputMediaSupplyLow", "paper low"},
    {"inputMediaSupplyEmpty", "out of paper"},
    {"inputMediaChangeRequest", "change the paper"},
    {"inputManualInputRequest", "feed paper by hand"},
    {"inputTrayPositionFailure", "input tray not in its place"},
    {"inputTrayElevationFailure", "input tray does not lift"},
    {"inputCannotFeedSizeSelected", "cannot feed the chosen size"},
    {"outputMediaTrayMissing", "output tray missing"},
    {"outputMediaTrayAlmostFull", "output tray almost full"},
    {"outputMediaTrayFull", "output tray full"},
    {"outputMailboxSelectFailure", "output mailbox failure"},
    {"markerFuserUnderTemperature", "fuser too cold"},
    {"markerFuserOverTemperature", "fuser too hot"},
    {"markerFuserTimingFailure", "fuser timing failure"},
    {"markerFuserThermistorFailure", "fuser thermistor failure"},
    {"markerAdjustingPrintQuality", "adjusting print quality"},
    {"markerTonerEmpty", "toner empty"},
    {"markerInkEmpty", "ink empty"},
    {"markerPrintRibbonEmpty", "ribbon used up"},
    {"markerTonerAlmostEmpty", "toner low"},
    {"markerInkAlmostEmpty", "ink low"},
    {"markerPrintRibbonAlmostEmpty", "ribbon almost used up"},
    {"markerWasteTonerReceptacleAlmostFull", "waste toner almost full"},
    {"markerWasteInkReceptacleAlmostFull", "waste ink almost full"},
    {"markerWasteTonerReceptacleFull", "waste toner full"},
    {"markerWasteInkReceptacleFull", "waste ink full"},
    {"markerOpcLifeAlmostOver", "drum almost worn out"},
    {"markerOpcLifeOver", "drum worn out"},
    {"markerDeveloperAlmostEmpty", "developer low"},
    {"markerDeveloperEmpty", "developer empty"},
    {"markerTonerCartridgeMissing", "toner cartridge missing"},
    {"mediaPathMediaTrayMissing", "tray of the media path missing"},
    {"mediaPathMediaTrayAlmostFull", "tray of the media path almost full"},
    {"mediaPathMediaTrayFull", "tray of the media path full"},
    {"mediaPathCannotDuplexMediaSelected", "cannot print both sides of the chosen paper"},
    {"interpreterMemoryIncrease", "interpreter memory increased"},
    {"interpreterMemoryDecrease", "interpreter memory decreased"},
    {"interpreterCartridgeAdded", "font cartridge inserted"},
    {"interpreterCartridgeDeleted", "font cartridge removed"},
    {"interpreterResourceAdded", "interpreter resource added"},
    {"interpreterResourceDeleted", "interpreter resource deleted"},
    {"interpreterResourceUnavailable", "interpreter resource missing"},
    {"interpreterComplexPageEncountered", "page too complex"},
    {"alertRemovalOfBinaryChangeEntry", "alert cleared"},
    // hrPrinterDetectedErrorState, RFC 2790
    {"lowPaper", "paper low"},
    {"noPaper", "out of paper"},
    {"lowToner", "toner low"},
    {"noToner", "toner empty"},
    {"jammed", "paper jam"},
    {"offline", "off-line"},
    {"serviceRequested", "service requested"},
    {"inputTrayMissing", "input tray missing"},
    {"outputTrayMissing", "output tray missing"},
    {"markerSupplyMissing", "supply missing"},
    {"outputNearFull", "output tray almost full"},
    {"outputFull", "output tray full"},
    {"inputTrayEmpty", "an input tray is empty"},
    {"overduePreventMaint", "maintenance overdue"},
    // what only IPP or USB says
    {"deactivated", "deactivated"},
    {"notAcceptingJobs", "not accepting jobs"},
    {"paused", "paused"},
    {"portError", "printer reports an error"},
    {"shutdown", "shut down"},
    {"spoolAreaFull", "spool area full"},
    {"stoppedPartly", "partly stopped"},
    {"timedOut", "device does not answer"},
};

} // namespace

const char* englishAlert(const std::string& keyword)
{
    for (const Words& words : kAlerts) {
        if (keyword == words.keyword) {
            return words.english;
        }
    }
    return nullptr;
}

} // namespace tarnstatus
