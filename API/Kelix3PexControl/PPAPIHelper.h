// The way to the audio DSP: walks the active render endpoints and their device
// topology to the KS filter that carries the offload pin, probes its pins with
// the PP API and keeps one module entry per known effect module found.
#pragma once

#include <windows.h>
#include <devicetopology.h>
#include <mmdeviceapi.h>

#include <memory>
#include <vector>

#include "ModuleEntry.h"
#include "core/ModuleList.h"
#include "core/PpApiRequests.h"

namespace kelix {

struct EndpointValues;  // what the walk reads of one endpoint for its entries

// Base of the DSP module access class; no virtual operations.
class CPPAPIHelper {
public:
    CPPAPIHelper();
    ~CPPAPIHelper();
    CPPAPIHelper(const CPPAPIHelper&) = delete;
    CPPAPIHelper& operator=(const CPPAPIHelper&) = delete;

    // Walks every active render endpoint (GUID_NULL) or the one whose endpoint GUID is given, and
    // appends an entry for each known module found. The first failing platform call outside a
    // device's connector loop ends the walk with its HRESULT; entries found so far stay.
    HRESULT PPInitialize(const GUID& endpointGuid);
    // ClearModuleList, then PPInitialize(GUID_NULL).
    HRESULT RefreshModuleList();
    // Releases each entry's control, then drops the entries (the storage is kept).
    void ClearModuleList();

    // The first known module of the PP API module list behind pin: its descriptor, with the
    // library's version text in the version field. E_FAIL when there is none.
    HRESULT LookForSonavelModuleInfo(IKsControl* control, UINT32 pinId, ModuleDescriptor* info);
    // The first AMD module row that reports itself instantiated, as an entry holding one new
    // reference on control (only the AMD fields are filled). E_FAIL when no row answers.
    HRESULT LookForPPModuleConnectorId_AMD(IKsControl* control, ModuleEntry* entry);
    // S_OK when the module behind connector `connectorIndex` of device `deviceIndex` of the
    // collection (an IMMDeviceCollection) is instantiated; E_FAIL when it is not, or when the
    // question fails. A failing step on the way to the question returns its own HRESULT.
    HRESULT SonavelModuleExist(IUnknown* collection, UINT32 deviceIndex, UINT32 connectorIndex);

    const std::vector<ModuleEntry>& Modules() const { return modules_; }

protected:
    std::vector<ModuleEntry> modules_;  // in discovery order; the module index is the position
    int selectedIndex_ = -1;            // -1: all modules for writes, the first for reads
    // Reply buffer of the largest PP API reply, zero-filled at construction.
    std::unique_ptr<BYTE[]> replyBuffer_;

private:
    HRESULT WalkDevice(IMMDeviceEnumerator* enumerator, IMMDeviceCollection* devices, UINT index,
                       const GUID& endpointGuid);
    // The PP probe of one candidate pin: an entry per known module. The number of entries made.
    size_t ProbePin(IKsControl* control, UINT32 pinId, const EndpointValues& endpoint);
    // Completes the entry with the endpoint's values and appends it; the entry holds its control reference.
    void AppendEntry(ModuleEntry&& entry, const EndpointValues& endpoint);
};

}  // namespace kelix
