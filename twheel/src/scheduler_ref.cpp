#include "twheel/src/scheduler_ref.h"

namespace twheel {

namespace {

// Constant-initialised and without destructors: schedulers live before and after everything else.
Mutex s_poolMutex;
SchedulerRef* s_free TWHEEL_GUARDED_BY(s_poolMutex) = nullptr;

} // namespace

SchedulerRef& SchedulerRef::obtain()
{
    MutexLock lock(s_poolMutex);
    if (s_free == nullptr) {
        return *new SchedulerRef;
    }
    SchedulerRef& ref = *s_free;
    s_free = ref.m_nextFree;
    ref.m_nextFree = nullptr;
    return ref;
}

void SchedulerRef::giveBack(SchedulerRef& ref)
{
    MutexLock lock(s_poolMutex);
    ref.m_nextFree = s_free;
    s_free = &ref;
}

} // namespace twheel
