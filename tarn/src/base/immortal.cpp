#include "tarn/src/base/immortal.h"

#include "tarn/src/base/mutex.h"
#include "tarn/src/base/worker_thread.h"

namespace tarn {

namespace {

Mutex mutex;
ImmortalBase* last TARN_GUARDED_BY(mutex) = nullptr;

} // namespace

void ImmortalBase::enlist()
{
    const MutexLock lock(mutex);
    m_next = last;
    last = this;
}

void ImmortalBase::destroyAll()
{
    if (workersRunning() != 0) {
        return; // the program exits without having stopped the library
    }
    const MutexLock lock(mutex);
    for (ImmortalBase* each = last; each != nullptr; each = each->m_next) {
        each->m_destroy(*each);
    }
    last = nullptr;
}

} // namespace tarn
