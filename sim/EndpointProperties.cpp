#include "sim/EndpointProperties.h"

#include <mmreg.h>

#include <cstring>

namespace sim {

namespace {

constexpr GUID kAudioEndpoint = {0x1DA5D803, 0xD492, 0x4EDD, {0x8C, 0x23, 0xE0, 0xC0, 0xFF, 0xEE, 0x7F, 0x0E}};
constexpr GUID kDevice = {0xA45C254E, 0xDF1C, 0x4EFD, {0x80, 0x20, 0x67, 0xD1, 0x46, 0xA8, 0x50, 0xE0}};
constexpr PROPERTYKEY kGuid = {kAudioEndpoint, 4};
constexpr PROPERTYKEY kFormFactor = {kAudioEndpoint, 0};
constexpr PROPERTYKEY kFriendlyName = {kDevice, 14};
constexpr PROPERTYKEY kDeviceDesc = {kDevice, 2};
constexpr PROPERTYKEY kInterfaceFriendlyName = {{0x026E516E, 0xB814, 0x414B, {0x83, 0xCD, 0x85, 0x6D, 0x6F, 0xEF, 0x48, 0x22}}, 2};
constexpr PROPERTYKEY kInterfacePath = {{0x233164C8, 0x1B2C, 0x4C7D, {0xBC, 0x68, 0xB6, 0x71, 0x68, 0x7A, 0x25, 0x67}}, 1};
constexpr PROPERTYKEY kDeviceFormat = {{0xF19F064D, 0x082C, 0x4E27, {0xBC, 0x73, 0x68, 0x82, 0xA1, 0xBB, 0x8E, 0x4C}}, 0};

// The MMDevice API's interface classes of render and capture endpoints.
constexpr wchar_t kRenderInterface[] = L"{e6327cad-dcec-4949-ae8a-991e976a79d2}";
constexpr wchar_t kCaptureInterface[] = L"{2eef81be-33fa-4800-9670-1cd474972c3f}";

// Speaker positions by channel count: mono, stereo, 2.1, quad, 5.0, 5.1, 6.1, 7.1.
constexpr DWORD kChannelMasks[] = {0, 0x4, 0x3, 0xB, 0x33, 0x37, 0x3F, 0x13F, 0x63F};

void SetText(Endpoint& endpoint, const PROPERTYKEY& key, const std::wstring& text) {
    PROPVARIANT value{};
    value.vt = VT_LPWSTR;
    value.pwszVal = const_cast<wchar_t*>(text.c_str());
    endpoint.SetValue(key, value);  // a deep copy
}

}  // namespace

std::wstring BuiltFriendlyName(const std::wstring& description, const std::wstring& interfaceName) {
    return description + L" (" + interfaceName + L")";
}

std::vector<BYTE> FormatBytes(const DeviceFormat& format) {
    WAVEFORMATEXTENSIBLE wave{};
    wave.Format.wFormatTag = WAVE_FORMAT_EXTENSIBLE;
    wave.Format.nChannels = format.channels;
    wave.Format.nSamplesPerSec = format.sampleRate;
    wave.Format.wBitsPerSample = format.bits;
    wave.Format.nBlockAlign = static_cast<WORD>(format.channels * format.bits / 8);
    wave.Format.nAvgBytesPerSec = format.sampleRate * wave.Format.nBlockAlign;
    wave.Format.cbSize = sizeof(WAVEFORMATEXTENSIBLE) - sizeof(WAVEFORMATEX);
    wave.Samples.wValidBitsPerSample = format.bits;
    wave.dwChannelMask = format.channels < std::size(kChannelMasks) ? kChannelMasks[format.channels] : 0;
    // KSDATAFORMAT_SUBTYPE_IEEE_FLOAT and _PCM: the format tag in the first word of the base GUID.
    wave.SubFormat = {static_cast<unsigned long>(format.isFloat ? WAVE_FORMAT_IEEE_FLOAT : WAVE_FORMAT_PCM), 0x0000, 0x0010,
                      {0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71}};
    std::vector<BYTE> bytes(sizeof wave);
    std::memcpy(bytes.data(), &wave, sizeof wave);
    return bytes;
}

std::vector<PROPERTYKEY> DescribeEndpoint(Endpoint& endpoint, const EndpointDescription& description) {
    SetText(endpoint, kGuid, description.guid);
    PROPVARIANT value{};
    value.vt = VT_UI4;
    value.ulVal = description.formFactor;
    endpoint.SetValue(kFormFactor, value);
    SetText(endpoint, kDeviceDesc, description.description);
    SetText(endpoint, kInterfaceFriendlyName, description.interfaceName);
    SetText(endpoint, kFriendlyName, description.friendlyName.empty()
                                         ? BuiltFriendlyName(description.description, description.interfaceName)
                                         : description.friendlyName);
    SetText(endpoint, kInterfacePath,
            description.interfacePath.empty()
                ? L"\\\\?\\SWD#MMDEVAPI#" + endpoint.Id() + L"#" +
                      (endpoint.Flow() == eCapture ? kCaptureInterface : kRenderInterface)
                : description.interfacePath);
    std::vector<BYTE> format = FormatBytes(description.format);
    value.vt = VT_BLOB;
    value.blob.cbSize = static_cast<ULONG>(format.size());
    value.blob.pBlobData = format.data();
    endpoint.SetValue(kDeviceFormat, value);
    return {kGuid, kFormFactor, kDeviceDesc, kInterfaceFriendlyName, kFriendlyName, kInterfacePath, kDeviceFormat};
}

void DescribeEndpoint(Endpoint& endpoint, const wchar_t* guid, ULONG formFactor, const wchar_t* friendlyName) {
    EndpointDescription description;
    description.guid = guid;
    description.formFactor = formFactor;
    description.description = friendlyName;
    description.friendlyName = friendlyName;
    DescribeEndpoint(endpoint, description);
}

}  // namespace sim
