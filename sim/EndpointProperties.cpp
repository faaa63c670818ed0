#include "sim/EndpointProperties.h"

namespace sim {

void DescribeEndpoint(Endpoint& endpoint, const wchar_t* guid, ULONG formFactor, const wchar_t* friendlyName) {
    constexpr GUID kAudioEndpoint = {0x1DA5D803, 0xD492, 0x4EDD, {0x8C, 0x23, 0xE0, 0xC0, 0xFF, 0xEE, 0x7F, 0x0E}};
    constexpr PROPERTYKEY kFriendlyName = {{0xA45C254E, 0xDF1C, 0x4EFD, {0x80, 0x20, 0x67, 0xD1, 0x46, 0xA8, 0x50, 0xE0}}, 14};
    PROPVARIANT value;
    value.vt = VT_LPWSTR;
    value.pwszVal = const_cast<wchar_t*>(guid);
    endpoint.SetValue({kAudioEndpoint, 4}, value);
    value.pwszVal = const_cast<wchar_t*>(friendlyName);
    endpoint.SetValue(kFriendlyName, value);
    value.vt = VT_UI4;
    value.ulVal = formFactor;
    endpoint.SetValue({kAudioEndpoint, 0}, value);
}

}  // namespace sim
