// Counts the heap allocations one loaded DLL makes: its import table entries of
// the allocators (the C runtime's malloc family, the COM task allocator, BSTRs,
// the process heap) are pointed at counting wrappers, and put back afterwards.
// Only that DLL's calls are counted; the rest of the process allocates as usual.
// One counter at a time, on one thread.
#pragma once

#include <windows.h>

#include <cstddef>
#include <string>
#include <vector>

namespace bench {

class AllocationCounter {
public:
    explicit AllocationCounter(HMODULE module);
    ~AllocationCounter();
    AllocationCounter(const AllocationCounter&) = delete;
    AllocationCounter& operator=(const AllocationCounter&) = delete;

    void Reset();
    long Count() const;
    size_t Largest() const;  // bytes of the largest allocation since Reset
    // The allocator imports found and patched, e.g. "malloc, calloc, realloc".
    std::string Patched() const;

private:
    struct Slot {
        void** entry;
        void* original;
        std::string name;
    };
    std::vector<Slot> slots_;
};

}  // namespace bench
