// Owns a wide string allocated with CoTaskMemAlloc (IMMDevice::GetId and the like).
#pragma once

#include <windows.h>
#include <objbase.h>

#include <cassert>

namespace kelix {

class CoTaskMemString {
public:
    CoTaskMemString() = default;
    ~CoTaskMemString() { CoTaskMemFree(text_); }
    CoTaskMemString(const CoTaskMemString&) = delete;
    CoTaskMemString& operator=(const CoTaskMemString&) = delete;

    const wchar_t* Get() const { return text_; }
    wchar_t** Receive() {
        assert(text_ == nullptr);
        return &text_;
    }

private:
    wchar_t* text_ = nullptr;
};

}  // namespace kelix
