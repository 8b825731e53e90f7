#pragma once

#include <boost/interprocess/sync/file_lock.hpp>

#include <string>

// InstanceLock lets one instance of the program run on a machine: an advisory write lock on a file that
// everybody may open and that nobody removes.
//
// Invariants
//  (1) The file is created and written only where there is none; an existing one is opened as it is.
//  (2) The lock goes with the process, however that ends. It also goes when anything in the process opens and
//      closes the file once more: nothing may.
// Threading: one thread.
class InstanceLock final
{
public:
    // Creates the file where it is missing (mode 0777) and opens it. Throws
    // boost::filesystem::filesystem_error when the permissions of a fresh file cannot be set,
    // boost::interprocess::interprocess_exception when the file cannot be opened for reading and writing.
    explicit InstanceLock(const std::string& path);

    // Without waiting. False when another process holds the lock; other failures throw
    // boost::interprocess::interprocess_exception.
    [[nodiscard]] bool tryLock();
    void unlock();

private:
    boost::interprocess::file_lock m_lock; // keeps the file open until it is destroyed
};
