#pragma once

#include <windows.h>

#include <string>
#include <vector>

#include "sim/Endpoint.h"

namespace sim {

// The endpoint's engine format (PKEY_AudioEngine_DeviceFormat), kept as a WAVEFORMATEXTENSIBLE
// with the usual speaker positions for its channel count. Default: 48 kHz stereo 32-bit float.
struct DeviceFormat {
    DWORD sampleRate = 48000;
    WORD channels = 2;
    WORD bits = 32;
    bool isFloat = true;  // KSDATAFORMAT_SUBTYPE_IEEE_FLOAT, otherwise PCM
};

// What Windows keeps for every endpoint in its property store, and the search for its DSP reads.
struct EndpointDescription {
    std::wstring guid;                                 // PKEY_AudioEndpoint_GUID, as registry text
    ULONG formFactor = 1;                              // PKEY_AudioEndpoint_FormFactor (1: speakers)
    std::wstring description = L"Speakers";            // DEVPKEY_Device_DeviceDesc
    std::wstring interfaceName = L"Kelix3 simulated";  // DEVPKEY_DeviceInterface_FriendlyName
    // PKEY_Device_FriendlyName; empty: "description (interfaceName)", as Windows builds it.
    std::wstring friendlyName;
    // The device interface path ({233164C8-...},1); empty: the endpoint's software-device path,
    // "\\?\SWD#MMDEVAPI#<id>#<render or capture interface class>".
    std::wstring interfacePath;
    DeviceFormat format;
};

// "Speakers (Realtek Audio)" from "Speakers" and "Realtek Audio".
std::wstring BuiltFriendlyName(const std::wstring& description, const std::wstring& interfaceName);
// The WAVEFORMATEXTENSIBLE bytes of a format.
std::vector<BYTE> FormatBytes(const DeviceFormat& format);

// Writes the description into the endpoint's store; returns the keys it wrote.
std::vector<PROPERTYKEY> DescribeEndpoint(Endpoint& endpoint, const EndpointDescription& description);
// The same with a friendly name that is also the device description.
void DescribeEndpoint(Endpoint& endpoint, const wchar_t* guid, ULONG formFactor, const wchar_t* friendlyName);

}  // namespace sim
