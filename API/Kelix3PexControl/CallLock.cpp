#include "CallLock.h"

#include "ProcessExit.h"

namespace kelix {

CallLock& CallLock::Instance() {
    static CallLock lock;  // made once, by whichever thread calls first
    return lock;
}

CallLock::CallLock() { InitializeCriticalSection(&section_); }

CallLock::~CallLock() {
    // At process exit a thread that was ended inside an export may still own it.
    if (!ProcessIsExiting()) DeleteCriticalSection(&section_);
}

}  // namespace kelix
