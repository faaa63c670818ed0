#include "DllUnderTest.h"

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

std::wstring SystemText(HRESULT hr) {
    wchar_t* text = nullptr;
    const DWORD length = FormatMessageW(
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
        static_cast<DWORD>(hr), MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT), reinterpret_cast<wchar_t*>(&text), 0,
        nullptr);
    if (length == 0) {
        // Codes the system has no text for (many, under Wine) show the library's fallback.
        wchar_t fallback[32];
        _snwprintf(fallback, 32, L"Unknown error 0x%lX", static_cast<unsigned long>(hr));
        return fallback;
    }
    std::wstring message(text, length);
    LocalFree(text);
    if (!message.empty() && message.back() == L'\n') message.pop_back();
    if (!message.empty() && message.back() == L'\r') message.pop_back();
    return message;
}

}  // namespace kelix::test
