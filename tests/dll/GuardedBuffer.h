// Caller memory against a no-access page, with a note of the call under way for
// the one report a fault leaves behind.
#pragma once

#include <windows.h>

#include <string>

namespace kelix::test {

// A caller buffer of up to kRoom bytes that ends exactly where a PAGE_NOACCESS
// page begins: the library touching one byte past the size it was given
// faults at once instead of going unnoticed. While the latest buffer made is
// alive, an access violation first prints its `scene` (the case being run) to
// stderr; the process then dies as it would.
class GuardedBuffer {
public:
    static constexpr UINT32 kRoom = 65536;

    GuardedBuffer();
    ~GuardedBuffer();
    GuardedBuffer(const GuardedBuffer&) = delete;
    GuardedBuffer& operator=(const GuardedBuffer&) = delete;

    bool Ready() const { return base_ != nullptr; }
    // The `size` bytes right in front of the guard page (size 0: the guard page itself).
    BYTE* End(UINT32 size) const { return base_ + kRoom - size; }

    std::string scene;

private:
    BYTE* base_ = nullptr;
    void* handler_ = nullptr;
    GuardedBuffer* previous_ = nullptr;
};

}  // namespace kelix::test
