// Loads Kelix3PexControl.dll fresh for one test, so that its process-wide
// tables start empty, and calls it through its exports as a client would.
#pragma once

#include <windows.h>

#include <gtest/gtest.h>

#include <string>

#include "Kelix3PexControl.h"

namespace kelix::test {

class DllUnderTest {
public:
    DllUnderTest();
    ~DllUnderTest();
    DllUnderTest(const DllUnderTest&) = delete;
    DllUnderTest& operator=(const DllUnderTest&) = delete;

    bool Loaded() const { return module_ != nullptr; }

    decltype(&::OpenPexControl) Open = nullptr;
    decltype(&::ClosePexControl) Close = nullptr;
    decltype(&::SetPexParam) Set = nullptr;
    decltype(&::SetPexVariantParam) SetVariant = nullptr;
    decltype(&::GetPexParam) Get = nullptr;

private:
    HMODULE module_ = nullptr;
};

// "0x80070057" for failure messages of the tests.
std::string Hex(HRESULT hr);

// The system text of a code as the library prints it after "[0x%.8x]" (for codes outside the
// IDispatch range): _com_error's documented text, the system's message without its line end,
// else "Unknown error 0x%lX".
std::wstring SystemText(HRESULT hr);

}  // namespace kelix::test
