// Owns one PROPVARIANT and clears it on destruction.
#pragma once

#include <windows.h>
#include <propidl.h>

#include <cassert>

namespace kelix {

class PropVariantOwner {
public:
    PropVariantOwner() { PropVariantInit(&value_); }
    ~PropVariantOwner() { PropVariantClear(&value_); }
    PropVariantOwner(const PropVariantOwner&) = delete;
    PropVariantOwner& operator=(const PropVariantOwner&) = delete;

    const PROPVARIANT& Get() const { return value_; }
    PROPVARIANT& Get() { return value_; }
    // Out-parameter for a call that fills the variant; it must be empty.
    PROPVARIANT* Receive() {
        assert(value_.vt == VT_EMPTY);
        return &value_;
    }
    void Clear() { PropVariantClear(&value_); }

private:
    PROPVARIANT value_;
};

}  // namespace kelix
