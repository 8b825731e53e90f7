#include "app/instance_lock.h"

#include <boost/filesystem.hpp>
#include <boost/filesystem/fstream.hpp>

namespace fs = boost::filesystem;

namespace {

constexpr const char* kContent = "kel lock file";

// The path, once the file is there.
const char* createWhereMissing(const std::string& path)
{
    boost::system::error_code unreadable;
    // A status that cannot be read counts as missing; what follows then fails and says why.
    if (!fs::exists(fs::status(path, unreadable))) {
        fs::ofstream(path, std::ios::trunc) << kContent;
        // Other users' instances have to open it for writing, too.
        fs::permissions(path, fs::all_all);
    }
    return path.c_str();
}

} // namespace

InstanceLock::InstanceLock(const std::string& path) : m_lock(createWhereMissing(path)) {}

bool InstanceLock::tryLock()
{
    return m_lock.try_lock();
}

void InstanceLock::unlock()
{
    m_lock.unlock();
}
