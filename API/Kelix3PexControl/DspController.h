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
    // Discovers the modules and remembers which serve the device; a device without one still opens.
    static HRESULT Open(const wchar_t* deviceId);
    static HRESULT Close(const wchar_t* deviceId);
    // value: VT_I4 or VT_BLOB; formFactor goes to the module before every PEX write.
    static HRESULT SetParameter(const wchar_t* deviceId, ParameterId id, const PROPVARIANT& value, UINT formFactor);
    // *size: the caller's buffer size on entry, the needed or returned size on exit.
    static HRESULT GetParameter(const wchar_t* deviceId, ParameterId id, void* buffer, UINT32* size);
    // Selects the device's module of the id's family on the module access object.
    static HRESULT SelectModule(const wchar_t* deviceId, ParameterId id);
    static DspFamilies Families(const wchar_t* deviceId);
};

}  // namespace kelix
