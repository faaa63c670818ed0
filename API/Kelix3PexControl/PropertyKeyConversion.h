// The portable property key as the Windows PROPERTYKEY it is laid out like.
#pragma once

#include <windows.h>
#include <wtypes.h>

#include <cstring>

#include "core/Guid.h"

namespace kelix {

inline PROPERTYKEY ToPropertyKey(const PropertyKey& key) {
    static_assert(sizeof(GUID) == sizeof(Guid));
    PROPERTYKEY out;
    std::memcpy(&out.fmtid, &key.fmtid, sizeof out.fmtid);
    out.pid = key.pid;
    return out;
}

}  // namespace kelix
