#pragma once

#include <windows.h>
#include <propidl.h>

namespace sim {

// Owner of one PROPVARIANT. Copies are deep (ole32's PropVariantCopy: vectors, blobs and
// strings get their own memory); the held value is cleared with PropVariantClear.
class PropVariant {
public:
    PropVariant() noexcept;
    ~PropVariant();
    PropVariant(PropVariant&& other) noexcept;
    PropVariant& operator=(PropVariant&& other) noexcept;
    PropVariant(const PropVariant&) = delete;
    PropVariant& operator=(const PropVariant&) = delete;

    // Replaces the held value by a deep copy of source; on failure the held value is unchanged.
    HRESULT Assign(const PROPVARIANT& source) noexcept;
    // Writes a deep copy into *out, which the caller owns and must clear. *out is initialised
    // (VT_EMPTY) before copying, so it is never left half written. A string vector's array
    // holds one more element behind its end, a known effect's class id that no reader may see.
    HRESULT CopyTo(PROPVARIANT* out) const noexcept;

    const PROPVARIANT& Get() const noexcept { return value_; }

private:
    PROPVARIANT value_;
};

}  // namespace sim
