// Owns one open registry key and closes it on destruction.
#pragma once

#include <windows.h>

#include <cassert>

namespace kelix {

class RegKeyOwner {
public:
    RegKeyOwner() = default;
    ~RegKeyOwner() {
        if (key_ != nullptr) RegCloseKey(key_);
    }
    RegKeyOwner(const RegKeyOwner&) = delete;
    RegKeyOwner& operator=(const RegKeyOwner&) = delete;

    HKEY Get() const { return key_; }
    HKEY* Receive() {
        assert(key_ == nullptr);
        return &key_;
    }
    // Gives up the key without closing it.
    void Abandon() { key_ = nullptr; }

private:
    HKEY key_ = nullptr;
};

}  // namespace kelix
