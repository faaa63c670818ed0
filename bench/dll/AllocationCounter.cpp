#include "AllocationCounter.h"

#include <oleauto.h>

#include <cstring>
#include <cwchar>

namespace bench {
namespace {

long gCount = 0;
size_t gLargest = 0;

void Note(size_t bytes) {
    ++gCount;
    if (bytes > gLargest) gLargest = bytes;
}

// The originals, read from the import table before it is patched.
void* (*gMalloc)(size_t);
void* (*gCalloc)(size_t, size_t);
void* (*gRealloc)(void*, size_t);
void* (*gAlignedMalloc)(size_t, size_t);
LPVOID(WINAPI* gCoTaskMemAlloc)(SIZE_T);
LPVOID(WINAPI* gCoTaskMemRealloc)(LPVOID, SIZE_T);
BSTR(WINAPI* gSysAllocString)(const OLECHAR*);
BSTR(WINAPI* gSysAllocStringLen)(const OLECHAR*, UINT);
BSTR(WINAPI* gSysAllocStringByteLen)(LPCSTR, UINT);
LPVOID(WINAPI* gHeapAlloc)(HANDLE, DWORD, SIZE_T);
HLOCAL(WINAPI* gLocalAlloc)(UINT, SIZE_T);

void* CountedMalloc(size_t bytes) {
    Note(bytes);
    return gMalloc(bytes);
}
void* CountedCalloc(size_t count, size_t bytes) {
    Note(count * bytes);
    return gCalloc(count, bytes);
}
void* CountedRealloc(void* block, size_t bytes) {
    Note(bytes);
    return gRealloc(block, bytes);
}
void* CountedAlignedMalloc(size_t bytes, size_t alignment) {
    Note(bytes);
    return gAlignedMalloc(bytes, alignment);
}
LPVOID WINAPI CountedCoTaskMemAlloc(SIZE_T bytes) {
    Note(bytes);
    return gCoTaskMemAlloc(bytes);
}
LPVOID WINAPI CountedCoTaskMemRealloc(LPVOID block, SIZE_T bytes) {
    Note(bytes);
    return gCoTaskMemRealloc(block, bytes);
}
BSTR WINAPI CountedSysAllocString(const OLECHAR* text) {
    Note(text != nullptr ? (wcslen(text) + 1) * sizeof(OLECHAR) : 0);
    return gSysAllocString(text);
}
BSTR WINAPI CountedSysAllocStringLen(const OLECHAR* text, UINT length) {
    Note((size_t{length} + 1) * sizeof(OLECHAR));
    return gSysAllocStringLen(text, length);
}
BSTR WINAPI CountedSysAllocStringByteLen(LPCSTR text, UINT length) {
    Note(length);
    return gSysAllocStringByteLen(text, length);
}
LPVOID WINAPI CountedHeapAlloc(HANDLE heap, DWORD flags, SIZE_T bytes) {
    Note(bytes);
    return gHeapAlloc(heap, flags, bytes);
}
HLOCAL WINAPI CountedLocalAlloc(UINT flags, SIZE_T bytes) {
    Note(bytes);
    return gLocalAlloc(flags, bytes);
}

struct Hook {
    const char* name;
    void** original;
    void* counted;
};
const Hook kHooks[] = {
    {"malloc", reinterpret_cast<void**>(&gMalloc), reinterpret_cast<void*>(&CountedMalloc)},
    {"calloc", reinterpret_cast<void**>(&gCalloc), reinterpret_cast<void*>(&CountedCalloc)},
    {"realloc", reinterpret_cast<void**>(&gRealloc), reinterpret_cast<void*>(&CountedRealloc)},
    {"_aligned_malloc", reinterpret_cast<void**>(&gAlignedMalloc), reinterpret_cast<void*>(&CountedAlignedMalloc)},
    {"CoTaskMemAlloc", reinterpret_cast<void**>(&gCoTaskMemAlloc), reinterpret_cast<void*>(&CountedCoTaskMemAlloc)},
    {"CoTaskMemRealloc", reinterpret_cast<void**>(&gCoTaskMemRealloc),
     reinterpret_cast<void*>(&CountedCoTaskMemRealloc)},
    {"SysAllocString", reinterpret_cast<void**>(&gSysAllocString), reinterpret_cast<void*>(&CountedSysAllocString)},
    {"SysAllocStringLen", reinterpret_cast<void**>(&gSysAllocStringLen),
     reinterpret_cast<void*>(&CountedSysAllocStringLen)},
    {"SysAllocStringByteLen", reinterpret_cast<void**>(&gSysAllocStringByteLen),
     reinterpret_cast<void*>(&CountedSysAllocStringByteLen)},
    {"HeapAlloc", reinterpret_cast<void**>(&gHeapAlloc), reinterpret_cast<void*>(&CountedHeapAlloc)},
    {"LocalAlloc", reinterpret_cast<void**>(&gLocalAlloc), reinterpret_cast<void*>(&CountedLocalAlloc)},
};

void WriteEntry(void** entry, void* value) {
    DWORD protection = 0;
    VirtualProtect(entry, sizeof *entry, PAGE_READWRITE, &protection);
    *entry = value;
    VirtualProtect(entry, sizeof *entry, protection, &protection);
}

}  // namespace

AllocationCounter::AllocationCounter(HMODULE module) {
    auto* base = reinterpret_cast<BYTE*>(module);
    const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
    const auto* nt = reinterpret_cast<const IMAGE_NT_HEADERS*>(base + dos->e_lfanew);
    const IMAGE_DATA_DIRECTORY& directory = nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    if (directory.VirtualAddress == 0) return;
    for (auto* import = reinterpret_cast<IMAGE_IMPORT_DESCRIPTOR*>(base + directory.VirtualAddress);
         import->Name != 0; ++import) {
        if (import->OriginalFirstThunk == 0) continue;  // names are needed to tell the entries apart
        auto* names = reinterpret_cast<IMAGE_THUNK_DATA*>(base + import->OriginalFirstThunk);
        auto* entries = reinterpret_cast<IMAGE_THUNK_DATA*>(base + import->FirstThunk);
        for (; names->u1.AddressOfData != 0; ++names, ++entries) {
            if (IMAGE_SNAP_BY_ORDINAL(names->u1.Ordinal)) continue;
            const auto* byName = reinterpret_cast<const IMAGE_IMPORT_BY_NAME*>(base + names->u1.AddressOfData);
            const char* name = reinterpret_cast<const char*>(byName->Name);
            for (const Hook& hook : kHooks) {
                if (std::strcmp(name, hook.name) != 0) continue;
                auto** entry = reinterpret_cast<void**>(&entries->u1.Function);
                *hook.original = *entry;
                slots_.push_back({entry, *entry, hook.name});
                WriteEntry(entry, hook.counted);
            }
        }
    }
}

AllocationCounter::~AllocationCounter() {
    for (const Slot& slot : slots_) WriteEntry(slot.entry, slot.original);
}

void AllocationCounter::Reset() {
    gCount = 0;
    gLargest = 0;
}

long AllocationCounter::Count() const { return gCount; }

size_t AllocationCounter::Largest() const { return gLargest; }

std::string AllocationCounter::Patched() const {
    std::string names;
    for (const Slot& slot : slots_) names += (names.empty() ? "" : ", ") + slot.name;
    return names;
}

}  // namespace bench
