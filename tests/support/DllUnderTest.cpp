#include "DllUnderTest.h"

#include <comdef.h>

#include <cstdio>

namespace kelix::test {
namespace {

template <typename Function>
void Resolve(HMODULE module, const char* name, Function& function) {
    // GetProcAddress gives a generic function pointer; go through void* to the real type.
    function = reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}

}  // namespace

DllUnderTest::DllUnderTest() {
    module_ = LoadLibraryW(L"Kelix3PexControl.dll");
    if (module_ == nullptr) {
        ADD_FAILURE() << "LoadLibrary(Kelix3PexControl.dll) failed: " << GetLastError();
        return;
    }
    Resolve(module_, "OpenPexControl", Open);
    Resolve(module_, "ClosePexControl", Close);
    Resolve(module_, "SetPexParam", Set);
    Resolve(module_, "SetPexVariantParam", SetVariant);
    Resolve(module_, "GetPexParam", Get);
    if (!Open || !Close || !Set || !SetVariant || !Get) ADD_FAILURE() << "an export is missing";
}

DllUnderTest::~DllUnderTest() {
    if (module_ != nullptr) FreeLibrary(module_);
}

std::string Hex(HRESULT hr) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%08lX", static_cast<unsigned long>(hr));
    return text;
}

std::wstring SystemText(HRESULT hr) { return _com_error(hr).ErrorMessage(); }

}  // namespace kelix::test
