// The property-store route: opens an endpoint's property store, keeps it open
// between calls under the endpoint's device id, and writes and reads single
// parameters by id as the property keys of the parameter catalogue.
#pragma once

#include <windows.h>
#include <propidl.h>

#include "core/ParameterCatalogue.h"

namespace kelix {

class ApoController {
public:
    // S_OK when opened read-write or already open, S_FALSE when opened for reading only.
    static HRESULT Open(const wchar_t* deviceId);
    // Releases the store without committing it. Always S_OK.
    static HRESULT Close(const wchar_t* deviceId);
    // Whether any endpoint is open.
    static bool AnyOpen();
    // Whether the device's open store answered AUDCLNT_E_DEVICE_INVALIDATED to a call: the
    // device was removed, and the store stays dead even when the device returns.
    static bool Invalidated(const wchar_t* deviceId);
    // IPropertyStore::SetValue's result, or E_FAIL for a device not opened or an id without a row.
    // A store call answered AUDCLNT_E_DEVICE_INVALIDATED marks the store invalidated.
    static HRESULT SetParameter(const wchar_t* deviceId, ParameterId id, const PROPVARIANT& value);
    // IPropertyStore::GetValue's result (VT_EMPTY when absent), or E_FAIL as above.
    static HRESULT GetParameter(const wchar_t* deviceId, ParameterId id, PROPVARIANT* value);
    // The endpoint's form factor with the library's rules; 10 (unknown) on any failure.
    static UINT GetFormFactor(const wchar_t* deviceId);
};

}  // namespace kelix
