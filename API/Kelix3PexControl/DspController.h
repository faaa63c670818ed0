// The DSP route: per endpoint, the effect modules that serve it on the audio
// DSP, and parameter reads and writes by catalogue id through them.
#pragma once

#include <windows.h>
#include <propidl.h>

#include "core/ParameterCatalogue.h"

namespace kelix {

struct DspFamilies {
    bool pexAvailable = false;
    bool kreloAvailable = false;
};

class DspController {
public:
    static HRESULT Open(const wchar_t* deviceId);
    static HRESULT Close(const wchar_t* deviceId);
    static HRESULT SetParameter(const wchar_t* deviceId, ParameterId id, const PROPVARIANT& value, UINT formFactor);
    static HRESULT GetParameter(const wchar_t* deviceId, ParameterId id, void* buffer, UINT32* size);
    static HRESULT SelectModule(const wchar_t* deviceId, ParameterId id);
    static DspFamilies Families(const wchar_t* deviceId);
};

}  // namespace kelix
