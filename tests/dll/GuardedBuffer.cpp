#include "GuardedBuffer.h"

#include <cstdio>
#include <utility>

namespace kelix::test {
namespace {

GuardedBuffer* current = nullptr;

LONG CALLBACK ReportFault(EXCEPTION_POINTERS* exception) {
    if (exception->ExceptionRecord->ExceptionCode == EXCEPTION_ACCESS_VIOLATION && current != nullptr) {
        std::fprintf(stderr, "access violation during: %s\n", current->scene.c_str());
        std::fflush(stderr);
    }
    return EXCEPTION_CONTINUE_SEARCH;
}

}  // namespace

GuardedBuffer::GuardedBuffer()
    : handler_(AddVectoredExceptionHandler(1, ReportFault)), previous_(std::exchange(current, this)) {
    auto* base = static_cast<BYTE*>(VirtualAlloc(nullptr, kRoom + 4096, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE));
    DWORD previous = 0;
    if (base == nullptr || !VirtualProtect(base + kRoom, 4096, PAGE_NOACCESS, &previous)) return;
    base_ = base;
}

GuardedBuffer::~GuardedBuffer() {
    current = previous_;
    if (handler_ != nullptr) RemoveVectoredExceptionHandler(handler_);
    if (base_ != nullptr) VirtualFree(base_, 0, MEM_RELEASE);
}

}  // namespace kelix::test
