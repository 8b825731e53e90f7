#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "printer/printer_context.h"

namespace morvik::kel {

class StoreFile;

// PrinterStore keeps the user's network printers in printers.json.
//
// printers.json is written in place, by truncation: same inode, same mode, links followed. A journal beside
// it (printers.json.journal) makes that safe: it holds the new text, synced to disk, from before the
// truncation until the file is whole again.
//
// Invariants
//  (1) At every moment either printers.json is whole, or the journal is, and is what printers.json would be.
//  (2) The journal exists only during a save. One that is met at another time is what a killed save left: it
//      completes printers.json when, and only when, that is not whole; then it goes.
//  (3) Outside of a save printers.json is touched only to create it and to complete an interrupted save.
//  (4) printers.json.previous holds the last list that had printers and was replaced by another one, whole.
// Threading: one thread at a time. Other processes are kept out by flock() on printers.json.lock, which
// nobody but the user can open: printers.json itself is open to everybody (mode 0777, kept on purpose), and
// whoever held a lock on that could keep the user from saving. Where no such file can be made, the lock is on
// printers.json.
class PrinterStore final
{
public:
    // path: UTF-8, of printers.json.
    explicit PrinterStore(std::string path);

    // The stored list; empty when the file cannot be read or holds no JSON array. Creates what is missing.
    // Throws boost::filesystem::filesystem_error when the directory cannot be created, or the permissions of
    // a fresh file cannot be set.
    const std::vector<PrinterContext>& load();

    // Grows whenever load() brings another list; never 0 after a load().
    std::uint64_t revision() const { return m_revision; }

    // Writes the network printers of the list. Throws boost::filesystem::filesystem_error when they could not
    // be written; the file then holds the old list, or the journal the new one.
    void save(const std::vector<PrinterContext>& list);

private:
    enum class Journal
    {
        Written,
        NotPossible,
        Failed
    };

    enum class Purpose
    {
        Load,
        Save
    };

    StoreFile openLock(Purpose purpose) const;
    void ensureFileExists() const;
    bool readStored(std::string& text) const;
    bool completeInterruptedSave(std::string& text) const;
    void resolveJournal(const StoreFile& file, std::string& text) const;
    Journal writeJournal(const std::string& text) const;
    void keepPrevious(const StoreFile& file, const std::string& old, const std::string& text) const;
    void writeInPlace(const StoreFile& file, const std::string& text, const std::string* old,
                      bool journalled) const;
    void remember(const std::string& text);

    const std::string m_path;
    const std::string m_journalPath;
    // What the last load() read and made of it: an unchanged file needs no parsing.
    bool m_hasLoaded = false;
    std::uint64_t m_revision = 0;
    std::string m_text;
    std::vector<PrinterContext> m_printers;
};

} // namespace morvik::kel
