// Owns one BSTR and frees it on destruction.
#pragma once

#include <windows.h>
#include <oleauto.h>

#include <cassert>

namespace kelix {

class BstrOwner {
public:
    BstrOwner() = default;
    explicit BstrOwner(BSTR text) : text_(text) {}
    ~BstrOwner() { SysFreeString(text_); }
    BstrOwner(const BstrOwner&) = delete;
    BstrOwner& operator=(const BstrOwner&) = delete;

    BSTR Get() const { return text_; }
    BSTR* Receive() {
        assert(text_ == nullptr);
        return &text_;
    }
    // Hands the string over to the caller, who frees it.
    BSTR Release() {
        BSTR text = text_;
        text_ = nullptr;
        return text;
    }

private:
    BSTR text_ = nullptr;
};

}  // namespace kelix
