// The objects that exist before main runs, in the order of their construction. One translation unit, because
// the language gives no order between two. The registry is created later, so it is gone before any of them.
#include "printer/process_objects.h"

#include <QDir>
#include <QStandardPaths>
#include <QString>

#include "twheel/task_scheduler.h"

// The resource compiler's output is a unit of its own, with an initialiser of its own that might run later.
static void registerResources()
{
    Q_INIT_RESOURCE(kel);
}

static void unregisterResources()
{
    Q_CLEANUP_RESOURCE(kel);
}

namespace morvik::kel {

namespace {

struct Resources
{
    Resources() { registerResources(); }
    ~Resources() { unregisterResources(); }
    Resources(const Resources&) = delete;
    Resources& operator=(const Resources&) = delete;
};

constexpr int kWorkers = 10;

// Computed while there is no application object: afterwards the location would carry the program's name.
std::string printersPath()
{
    return QDir::cleanPath(QStandardPaths::writableLocation(QStandardPaths::AppDataLocation) +
                           QDir::separator() + QStringLiteral("Morvik/kel/printers.json"))
        .toUtf8()
        .toStdString();
}

const Resources resources;

} // namespace

twheel::TaskScheduler g_scheduler(kWorkers);
std::string g_printersPath = printersPath();

} // namespace morvik::kel
