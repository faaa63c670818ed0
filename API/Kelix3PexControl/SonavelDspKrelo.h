// The one object through which the DSP route talks to the effect modules on
// the audio DSP: selects a module of the list its base keeps, enables and
// disables it, and sets and reads its parameters by DSP parameter index.
#pragma once

#include <windows.h>
#include <oleauto.h>

#include <string>

#include "PPAPIHelper.h"
#include "core/DspParameterTables.h"

namespace kelix {

// Largest module reply: a u32 length and 64000 value bytes.
inline constexpr UINT32 kModuleReplySize = 64004;

class CSonavelDspKrelo : public CPPAPIHelper {
public:
    static CSonavelDspKrelo& Instance();

    // Clears the module list and discovers the modules anew; S_OK whatever was found.
    virtual HRESULT RefreshModules();
    virtual HRESULT GetModuleCount(UINT32* count);
    // Fresh copies of the entry's strings, which the caller frees; E_FAIL past the list.
    virtual HRESULT GetModuleInfo(UINT32 index, BSTR* deviceId, GUID* endpointGuid, UINT32* formFactor,
                                  BSTR* friendlyName, UINT32* moduleType, BSTR* moduleVersion);
    // -1: every module for writes, the first for reads. E_FAIL for an empty list or another index.
    virtual HRESULT SelectModule(INT32 index);
    virtual HRESULT SonavelModuleExist(IUnknown* collection, UINT32 deviceIndex, UINT32 connectorIndex);
    // S_FALSE on an AMD module, which takes no enable request.
    virtual HRESULT SetModuleEnable(UINT32 enable);
    virtual HRESULT GetModuleEnable(UINT32* enabled);
    // Parameter 127 with the endpoint form factor.
    virtual HRESULT SetFormFactor(UINT32 formFactor);

    HRESULT SetModuleParam(UINT32 index, const BYTE* data, UINT32 size);
    // buffer: kModuleReplySize bytes, receiving the u32 value length and the value: only what
    // the driver returned this time (the rest zero), the length within the bytes it returned.
    HRESULT GetModuleParam(BYTE* buffer, UINT32 index);

    // The selected module (the first with -1), or null for an empty list or a bad selection.
    const ModuleEntry* SelectedModule() const;
    ModuleEntry* SelectedModule();
    // The selected module's version is exactly "1.0.0".
    bool SelectedIsVersion100() const;
    INT32 SelectedIndex() const { return selectedIndex_; }
    // The reply buffer of parameter reads (kModuleReplySize bytes), reused by every read.
    BYTE* ReplyBuffer() { return replyBuffer_.get(); }

private:
    template <typename Operation>
    HRESULT ForEachSelected(Operation operation);
    HRESULT SetModuleParam(ModuleEntry& module, UINT32 index, const BYTE* data, UINT32 size);
    HRESULT SetModuleEnable(ModuleEntry& module, UINT32 enable);

    KeptValueBuffer valueBuffer_;  // the value buffer of every parameter write
};

// Validates a DSP parameter index against a module version's short-name list,
// logging the outcome under the module's friendly name.
bool IsValidParameter(UINT32 index, const VersionList& list, const wchar_t* friendlyName);

}  // namespace kelix
