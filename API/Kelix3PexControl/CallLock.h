// The library's one lock: every export holds it for the whole call, so that
// the exports may be called from any thread and each caller sees the tables,
// the module list and the shared buffers as one thread alone would.
#pragma once

#include <windows.h>

namespace kelix {

// A critical section, which lets the thread that holds it in again: a client in a
// single-threaded apartment may re-enter an export from a window message that COM
// pumps while a platform call of the first export waits, and must not deadlock there.
class CallLock {
public:
    static CallLock& Instance();

    CallLock(const CallLock&) = delete;
    CallLock& operator=(const CallLock&) = delete;

    // Holds the lock from construction to destruction.
    class Scope {
    public:
        Scope() : lock_(Instance()) { EnterCriticalSection(&lock_.section_); }
        ~Scope() { LeaveCriticalSection(&lock_.section_); }
        Scope(const Scope&) = delete;
        Scope& operator=(const Scope&) = delete;

    private:
        CallLock& lock_;
    };

private:
    CallLock();
    ~CallLock();

    CRITICAL_SECTION section_;
};

}  // namespace kelix
