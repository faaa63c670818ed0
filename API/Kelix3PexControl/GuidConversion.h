// The portable GUID and property key as the Windows types they are laid out like.
#pragma once

#include <windows.h>
#include <wtypes.h>

#include <cstring>

#include "core/Guid.h"

namespace kelix {

static_assert(sizeof(GUID) == sizeof(Guid));

inline GUID ToGuid(const Guid& guid) {
    GUID out;
    std::memcpy(&out, &guid, sizeof out);
    return out;
}

inline Guid ToPortableGuid(const GUID& guid) {
    Guid out;
    std::memcpy(&out, &guid, sizeof out);
    return out;
}

inline PROPERTYKEY ToPropertyKey(const PropertyKey& key) { return {ToGuid(key.fmtid), key.pid}; }

}  // namespace kelix
