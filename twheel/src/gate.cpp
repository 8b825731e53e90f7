#include "twheel/src/gate.h"

namespace twheel {

namespace {

// Constant-initialised and without destructors: schedulers live before and after everything else.
Mutex s_poolMutex;
Gate* s_free TWHEEL_GUARDED_BY(s_poolMutex) = nullptr;

} // namespace

Gate& Gate::obtain()
{
    MutexLock lock(s_poolMutex);
    if (s_free == nullptr) {
        return *new Gate;
    }
    Gate& gate = *s_free;
    s_free = gate.m_nextFree;
    gate.m_nextFree = nullptr;
    return gate;
}

void Gate::giveBack(Gate& gate)
{
    MutexLock lock(s_poolMutex);
    gate.m_nextFree = s_free;
    s_free = &gate;
}

} // namespace twheel
