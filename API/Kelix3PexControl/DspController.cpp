#include "DspController.h"

#include <map>
#include <string>
#include <utility>

#include "TraceLogger.h"
#include "TraceScope.h"

namespace kelix {
namespace {

constexpr wchar_t kLogSourcePath[] = L"API\\Kelix3PexControl\\DspController.cpp";

constexpr int kNoModule = -10;

// Opened devices: device id -> (PEX module index, KRELO module index).
std::map<std::wstring, std::pair<int, int>>& OpenedDevices() {
    static std::map<std::wstring, std::pair<int, int>> devices;
    return devices;
}

}  // namespace

HRESULT DspController::Open(const wchar_t* deviceId) {
    constexpr wchar_t kFunction[] = L"DspController::Open";
    KELIX_TRACE_SCOPE(kFunction);
    if (OpenedDevices().contains(deviceId)) {
        KELIX_LOG(kLevelInformation, kFunction, L"DSP module for device[%s] is already opened.", deviceId);
        return S_OK;
    }
    // Module discovery on the DSP is not wired in yet: no module serves any
    // device, so no device enters the table and opening still succeeds.
    KELIX_LOG(kLevelWarning, kFunction, L"Could not find the dsp module for the device [%s]", deviceId);
    return S_OK;
}

HRESULT DspController::Close(const wchar_t* deviceId) {
    constexpr wchar_t kFunction[] = L"DspController::Close";
    KELIX_TRACE_SCOPE(kFunction);
    if (OpenedDevices().erase(deviceId) == 0) {
        KELIX_LOG(kLevelWarning, kFunction, L"DSP module for device[%s] is not opened.", deviceId);
    }
    return S_OK;
}

DspFamilies DspController::Families(const wchar_t* deviceId) {
    const auto device = OpenedDevices().find(deviceId);
    if (device == OpenedDevices().end()) return {};
    return {device->second.first != kNoModule, device->second.second != kNoModule};
}

HRESULT DspController::SelectModule(const wchar_t* deviceId, ParameterId) {
    constexpr wchar_t kFunction[] = L"DspController::SelectModule";
    KELIX_TRACE_SCOPE(kFunction);
    if (!OpenedDevices().contains(deviceId)) {
        KELIX_LOG(kLevelWarning, kFunction, L"DSP module for device[%s] is not opened.", deviceId);
        return E_FAIL;
    }
    return E_INVALIDARG;
}

HRESULT DspController::SetParameter(const wchar_t*, ParameterId id, const PROPVARIANT&, UINT) {
    constexpr wchar_t kFunction[] = L"DspController::SetParameter";
    KELIX_TRACE_SCOPE(kFunction);
    // The DSP route table is still empty: no id is served.
    KELIX_LOG(kLevelWarning, kFunction, L"DSP module does NOT support this parameter. ID: [%d]", id);
    return E_INVALIDARG;
}

HRESULT DspController::GetParameter(const wchar_t* deviceId, ParameterId id, void*, UINT32*) {
    constexpr wchar_t kFunction[] = L"DspController::GetParameter";
    KELIX_TRACE_SCOPE(kFunction);
    return SelectModule(deviceId, id);
}

}  // namespace kelix
