// The DSP route: per endpoint, the effect modules that serve it on the audio
// DSP, and parameter reads and writes by catalogue id through them.
#pragma once

#include <windows.h>
#include <propidl.h>

#include "core/ParameterCatalogue.h"

namespace kelix {

class DspController {
public:
    // Discovers the modules and remembers which serve the device; a device without one still opens.
    static HRESULT Open(const wchar_t* deviceId);
    static HRESULT Close(const wchar_t* deviceId);
    // Clears the module list, releasing every module's IKsControl: for when no endpoint is open.
    static void ReleaseModules();
    // value: VT_I4 or VT_BLOB; formFactor goes to the module before every PEX write.
    static HRESULT SetParameter(const wchar_t* deviceId, ParameterId id, const PROPVARIANT& value, UINT formFactor);
    // *size: the caller's buffer size on entry, the needed or returned size on exit.
    static HRESULT GetParameter(const wchar_t* deviceId, ParameterId id, void* buffer, UINT32* size);
    // Selects the device's module of the id's family on the module access object, found in the
    // list as it is now by what it is, not where it was; E_INVALIDARG when it is not there.
    static HRESULT SelectModule(const wchar_t* deviceId, ParameterId id);
    // Whether the id is of a family (PEX, KRELO) whose module the device did not have when it
    // was opened, or that the list no longer holds (logged).
    static bool FamilyMissing(const wchar_t* deviceId, ParameterId id);
};

}  // namespace kelix
