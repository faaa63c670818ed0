#include "SimulatedDevice.h"

#include "sim/EndpointProperties.h"

namespace pexctl {
namespace {

// The effect modules of the simulated DSP: PEX and KRELO as the module list names them.
constexpr GUID kPexModule = {0xD11B4F61, 0x42FA, 0x43BB, {0x99, 0x7C, 0x8D, 0x2B, 0x02, 0x6D, 0x11, 0xC8}};
constexpr GUID kKreloModule = {0xCBDD3DB0, 0x85AE, 0x4466, {0xB1, 0x8D, 0x50, 0x4F, 0xD8, 0xE7, 0x08, 0x2B}};

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

}  // namespace

SimulatedDevice::SimulatedDevice() {
    sim::Endpoint& speakers = platform_.AddEndpoint({L"{0.0.0.00000000}.{6b1d7c40-5c2e-4f0a-9d3e-0a1b2c3d4e01}"});
    sim::DescribeEndpoint(speakers, L"{6B1D7C40-5C2E-4F0A-9D3E-0A1B2C3D4E01}", 1, L"Speakers (Kelix3 simulated)");
    RegisterEffect(speakers, kCompositeStreamEffect, L"{EFC7A7B3-40A7-4601-ABC1-878CD5EAE544}");    // PEX 2.10
    RegisterEffect(speakers, kCompositeEndpointEffect, L"{97ACD2AB-83EC-494B-9FE4-922BCE1BD691}");  // KRELO 1.4
    platform_.AttachDsp(speakers, platform_.AddDsp({.modules = {{.id = kPexModule, .type = 1, .name = "pex-nelp",
                                                                  .version = "2.10.0"},
                                                                 {.id = kKreloModule, .type = 2, .name = "krelo",
                                                                  .version = "1.4.2"}}}));
    sim::DescribeEndpoint(platform_.AddEndpoint({L"{0.0.0.00000000}.{6b1d7c40-5c2e-4f0a-9d3e-0a1b2c3d4e02}"}),
                          L"{6B1D7C40-5C2E-4F0A-9D3E-0A1B2C3D4E02}", 3, L"Headphones (Kelix3 simulated)");
    // A name with a quote, a backslash and letters beyond ASCII, and a store a
    // standard user may only read.
    sim::DescribeEndpoint(platform_.AddEndpoint({.id = L"{0.0.0.00000000}.{6b1d7c40-5c2e-4f0a-9d3e-0a1b2c3d4e03}",
                                                 .access = sim::StoreAccess::ReadOnly}),
                          L"{6B1D7C40-5C2E-4F0A-9D3E-0A1B2C3D4E03}", 2,
                          L"Line \"Out\" \\ Ger\u00E4t\u20AC (Kelix3 simulated)");
    // Unplugged: listed, never the default.
    sim::DescribeEndpoint(platform_.AddEndpoint({.id = L"{0.0.0.00000000}.{6b1d7c40-5c2e-4f0a-9d3e-0a1b2c3d4e04}",
                                                 .state = DEVICE_STATE_UNPLUGGED}),
                          L"{6B1D7C40-5C2E-4F0A-9D3E-0A1B2C3D4E04}", 5, L"Headset (Kelix3 simulated)");
}

HRESULT SimulatedDevice::Install() {
    installation_ = std::make_unique<sim::Installation>(platform_);
    return installation_->Result();
}

}  // namespace pexctl
