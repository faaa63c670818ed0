#include "SimulatedDevice.h"


namespace pexctl {
namespace {

// PKEY_AudioEndpoint_FormFactor
constexpr PROPERTYKEY kFormFactorKey = {{0x1DA5D803, 0xD492, 0x4EDD, {0x8C, 0x23, 0xE0, 0xC0, 0xFF, 0xEE, 0x7F, 0x0E}}, 0};
// PKEY_Device_FriendlyName
constexpr PROPERTYKEY kFriendlyNameKey = {{0xA45C254E, 0xDF1C, 0x4EFD, {0x80, 0x20, 0x67, 0xD1, 0x46, 0xA8, 0x50, 0xE0}}, 14};

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
    Describe(platform_.AddEndpoint({L"{0.0.0.00000000}.{6b1d7c40-5c2e-4f0a-9d3e-0a1b2c3d4e01}"}),
             L"Speakers (Kelix3 simulated)", 1);
    Describe(platform_.AddEndpoint({L"{0.0.0.00000000}.{6b1d7c40-5c2e-4f0a-9d3e-0a1b2c3d4e02}"}),
             L"Headphones (Kelix3 simulated)", 3);
}

HRESULT SimulatedDevice::Install() {
    installation_ = std::make_unique<sim::Installation>(platform_);
    return installation_->Result();
}

}  // namespace pexctl
