#pragma once

#include <string>
#include <vector>

#include "printer/printer_context.h"
#include "tests/support/scripted_tarn/scripted_tarn.h"

// What tests of the printer layer and of the windows need around the registry. A program that links
// kel_test_support has, before main runs: the scheduler, a path of printers.json in a private folder (removed
// at the end), TARN_DIR naming the scripted access library, and, where they are built, the program's
// resources. So PrinterManager::instance() works at once and meets nothing of the user's.
//
// Mind: the registry lives as long as the process, and a printer that was dropped from it is polled on, as in
// the program. Give the printers of each test names of their own.
namespace kel_test {

// The scripted library that TARN_DIR names, opened once and kept.
TarnControl& tarnControl();
// Its directory, and the directory of the one that lacks an entry point.
std::string scriptedTarnDir();
std::string scriptedTarnDirWithout(const std::string& entryPoint);

// From now on the library knows just these printers, in this order, USB ones as such, and answers for each
// with the state, message, serial number, toner levels, pages and flags of its context.
// PrinterManager::start() (or the next refresh of the list page) then shows them. An empty stateMessage is
// handed out as the empty text.
void setScriptedPrinters(const std::vector<morvik::kel::PrinterContext>& printers);
// The answers for one printer; the list stays. A state of 2 makes opening fail with code 404.
void setScriptedStatus(const morvik::kel::PrinterContext& context);
// What tarn_getModels answers.
void setScriptedModels(const std::vector<std::string>& models);
// A status document that holds every key as a JSON string.
std::string statusDocument(const morvik::kel::PrinterContext& context);

// printers.json of this test program; writing creates its folder.
std::string readPrintersFile();
void writePrintersFile(const std::string& text);

} // namespace kel_test
