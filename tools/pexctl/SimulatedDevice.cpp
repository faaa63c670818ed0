#include "SimulatedDevice.h"


namespace pexctl {
namespace {

// PKEY_AudioEndpoint_FormFactor
constexpr PROPERTYKEY kFormFactorKey = {{0x1DA5D803, 0xD492, 0x4EDD, {0x8C, 0x23, 0xE0, 0xC0, 0xFF, 0xEE, 0x7F, 0x0E}}, 0};
// PKEY_Device_FriendlyName
constexpr PROPERTYKEY kFriendlyNameKey = {{0xA45C254E, 0xDF1C, 0x4EFD, {0x80, 0x20, 0x67, 0xD1, 0x46, 0xA8, 0x50, 0xE0}}, 14};

// The Windows audio FX keys that hold the effects' class ids.
PROPERTYKEY FxKey(DWORD pid) {
    return {{0xD04E05A6, 0x594B, 0x4FB6, {0xA8, 0x0D, 0x01, 0xAF, 0x5E, 0xED, 0x7D, 0x1D}}, pid};
}
constexpr DWORD kCompositeStreamEffect = 13;
constexpr DWORD kCompositeEndpointEffect = 15;

void RegisterEffect(sim::Endpoint& endpoint, DWORD pid, const wchar_t* classId) {
    PROPVARIANT value;
    value.vt = VT_LPWSTR;
    value.pwszVal = const_cast<wchar_t*>(classId);
    endpoint.SetFxValue(FxKey(pid), value);
}

void Describe(sim::Endpoint& endpoint, const wchar_t* name, ULONG formFactor) {
    PROPVARIANT value;
    value.vt = VT_LPWSTR;
    value.pwszVal = const_cast<wchar_t*>(name);
    endpoint.SetValue(kFriendlyNameKey, value);
    value.vt = VT_UI4;
    value.ulVal = formFactor;
    endpoint.SetValue(kFormFactorKey, value);
}

}  // namespace

SimulatedDevice::SimulatedDevice() {
    sim::Endpoint& speakers = platform_.AddEndpoint({L"{0.0.0.00000000}.{6b1d7c40-5c2e-4f0a-9d3e-0a1b2c3d4e01}"});
    Describe(speakers, L"Speakers (Kelix3 simulated)", 1);
    RegisterEffect(speakers, kCompositeStreamEffect, L"{EFC7A7B3-40A7-4601-ABC1-878CD5EAE544}");    // PEX 2.10
    RegisterEffect(speakers, kCompositeEndpointEffect, L"{97ACD2AB-83EC-494B-9FE4-922BCE1BD691}");  // KRELO 1.4
    Describe(platform_.AddEndpoint({L"{0.0.0.00000000}.{6b1d7c40-5c2e-4f0a-9d3e-0a1b2c3d4e02}"}),
             L"Headphones (Kelix3 simulated)", 3);
}

HRESULT SimulatedDevice::Install() {
    installation_ = std::make_unique<sim::Installation>(platform_);
    return installation_->Result();
}

}  // namespace pexctl
