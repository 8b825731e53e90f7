#include "printer/process_objects.h"

#include <QtGlobal>

#include <boost/filesystem.hpp>

#include <cstdlib>
#include <stdexcept>

#include "twheel/task_scheduler.h"

#ifdef KEL_TEST_WITH_RESOURCES
static void registerResources()
{
    Q_INIT_RESOURCE(kel);
}
#else
static void registerResources() {}
#endif

namespace morvik::kel {

namespace {

// A private folder for this test program. It outlives the objects below.
struct PrivateFolder
{
    PrivateFolder()
    {
        registerResources();
        std::string pattern = (boost::filesystem::temp_directory_path() / "kel-test-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr) {
            throw std::runtime_error("cannot create a private folder");
        }
        path = pattern;
        ::setenv("TARN_DIR", SCRIPTED_TARN_DIR, 1);
    }
    ~PrivateFolder()
    {
        boost::system::error_code ignored;
        boost::filesystem::remove_all(path, ignored);
    }
    PrivateFolder(const PrivateFolder&) = delete;
    PrivateFolder& operator=(const PrivateFolder&) = delete;
    boost::filesystem::path path;
};

const PrivateFolder privateFolder;

} // namespace

// The order is the program's own: the registry is younger than both and dies before them.
twheel::TaskScheduler g_scheduler(10);
std::string g_printersPath = (privateFolder.path / "Morvik/kel/printers.json").string();

} // namespace morvik::kel
