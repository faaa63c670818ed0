#include "PPAPIHelper.h"

#include <mmdeviceapi.h>
#include <propsys.h>
#include <wrl/client.h>

#include <algorithm>
#include <utility>
#include <cstring>
#include <new>
#include <set>
#include <string>

#include "BstrOwner.h"
#include "ComError.h"
#include "CoTaskMemString.h"
#include "GuidConversion.h"
#include "KsProperty.h"
#include "ProcessExit.h"
#include "PropVariantOwner.h"
#include "TraceLogger.h"
#include "TraceScope.h"
#include "core/KnownModules.h"

using Microsoft::WRL::ComPtr;

namespace kelix {

struct EndpointValues {
    GUID endpointGuid{};
    BstrOwner deviceId;
    UINT32 formFactor = 0;
    BstrOwner friendlyName;
};

namespace {

constexpr wchar_t kLogSourcePath[] = L"API\\Kelix3PexControl\\PPAPIHelper.cpp";
constexpr wchar_t kPPInitialize[] = L"CPPAPIHelper::PPInitialize";
constexpr wchar_t kFindConnectorPart[] = L"PPFindConnectorPart";

// PKEY_AudioEndpoint_GUID, PKEY_AudioEndpoint_FormFactor, PKEY_Device_FriendlyName
constexpr PROPERTYKEY kEndpointGuidKey = {
    {0x1DA5D803, 0xD492, 0x4EDD, {0x8C, 0x23, 0xE0, 0xC0, 0xFF, 0xEE, 0x7F, 0x0E}}, 4};
constexpr PROPERTYKEY kFormFactorKey = {
    {0x1DA5D803, 0xD492, 0x4EDD, {0x8C, 0x23, 0xE0, 0xC0, 0xFF, 0xEE, 0x7F, 0x0E}}, 0};
constexpr PROPERTYKEY kFriendlyNameKey = {
    {0xA45C254E, 0xDF1C, 0x4EFD, {0x80, 0x20, 0x67, 0xD1, 0x46, 0xA8, 0x50, 0xE0}}, 14};

// The part walk's result when a part has no further parts.
constexpr HRESULT kNoFurtherParts = 1;
// Node ids and pin ids are the low word of a part's local id.
constexpr UINT kLocalIdNumberMask = 0xFFFF;

constexpr wchar_t kAmdModuleName[] = L"krelo-amd";

using PinSet = std::set<UINT32>;

// One step of a COM chain: a failure is logged with the step's own message and returned.
#define KELIX_RETURN_IF_FAILED(hr, function, message)                              \
    do {                                                                           \
        if (FAILED(hr)) {                                                          \
            KELIX_LOG(::kelix::kLevelWarning, (function), message, KELIX_HR(hr)); \
            return hr;                                                             \
        }                                                                          \
    } while (0)

// Registry text of a GUID, as StringFromGUID2 writes it.
std::wstring GuidString(const GUID& guid) {
    wchar_t text[64] = {};
    StringFromGUID2(guid, text, 64);
    return text;
}

BSTR TextBstr(std::string_view text) { return MakeBstr(WidenText(text).c_str()); }

// Texts of the two forms of the version and module list exchange.
struct ListTexts {
    const wchar_t* function;
    const wchar_t* versionFailed;
    const wchar_t* versionMismatch;
    const wchar_t* sizeFailed;
    const wchar_t* readFailed;
};
constexpr ListTexts kProbeTexts = {
    kPPInitialize,
    L"Failed to retrieve version! [0x%.8x]%s",
    L"Version mismatch! %d",
    L"Failed to retrieve modules list size! [0x%.8x]%s",
    L"Failed to read modules list! [0x%.8x]%s",
};
constexpr ListTexts kLookForTexts = {
    L"CPPAPIHelper::LookForSonavelModuleInfo",
    L"Failed to retrieve version: [0x%.8x]%s",
    L"Version mismatch: %d",
    L"Failed to retrieve modules list size: [0x%.8x]%s",
    L"Failed to read modules list: [0x%.8x]%s",
};

// Many kernel-streaming drivers answer a size query with a more-data result
// and the size in the byte count; that answer is a size like a success.
bool IsSizeAnswer(HRESULT hr, ULONG size) {
    constexpr HRESULT kBufferOverflow = static_cast<HRESULT>(0x80000005);  // STATUS_BUFFER_OVERFLOW as a warning
    const bool moreData = hr == HRESULT_FROM_WIN32(ERROR_MORE_DATA) ||
                          hr == HRESULT_FROM_WIN32(ERROR_INSUFFICIENT_BUFFER) || hr == kBufferOverflow;
    return moreData && size != 0;
}

// The version handshake and the module list of one pin: a size query, then a read into a buffer
// of that size. E_FAIL on a version other than the one spoken here.
HRESULT ReadModuleList(IKsControl* control, UINT32 pinId, const ListTexts& texts, ModuleList* list) {
    BYTE version[kPpVersionReplySize] = {};
    HRESULT hr = SendKsProperty(control, PpShortHeader(kPpVersion, kKsPropertyGet, pinId), version, sizeof version);
    KELIX_RETURN_IF_FAILED(hr, texts.function, texts.versionFailed);
    const std::uint32_t apiVersion = ReadU32(version, 0);
    if (apiVersion != kPpApiVersion) {
        KELIX_LOG(kLevelWarning, texts.function, texts.versionMismatch, apiVersion);
        return E_FAIL;
    }

    KELIX_LOG(kLevelVerbose, texts.function, L"Obtaining modules list...");
    const auto request = PpModuleHeader(kPpModuleList, kKsPropertyGet, pinId);
    ULONG size = 0;
    hr = SendKsProperty(control, request, nullptr, 0, &size);
    if (IsSizeAnswer(hr, size)) hr = S_OK;
    KELIX_RETURN_IF_FAILED(hr, texts.function, texts.sizeFailed);
    if (size > kPpParameterBufferSize) {  // no reply of the PP API is larger
        KELIX_LOG(kLevelWarning, texts.function,
                  L"Modules list size %lu is larger than any reply (%d bytes); the pin is left.",
                  static_cast<unsigned long>(size), static_cast<int>(kPpParameterBufferSize));
        return E_FAIL;
    }
    // The firmware's size is not trusted beyond the allocation: only the bytes it returns,
    // within the buffer, are parsed.
    std::unique_ptr<BYTE[]> reply(new (std::nothrow) BYTE[std::max<ULONG>(size, 1)]);
    ULONG received = 0;
    hr = reply ? SendKsProperty(control, request, reply.get(), size, &received) : E_OUTOFMEMORY;
    KELIX_RETURN_IF_FAILED(hr, texts.function, texts.readFailed);
    *list = ParseModuleList(std::span<const std::uint8_t>(reply.get(), std::min(received, size)));
    KELIX_LOG(kLevelInformation, texts.function, L"Modules count: %d, modules size: %d", list->count,
              list->totalSize);
    return S_OK;
}

// A property string (VT_LPWSTR) or nothing.
const wchar_t* StringValue(const PROPVARIANT& value) {
    return value.vt == VT_LPWSTR ? value.pwszVal : nullptr;
}

HRESULT ReadEndpointValues(IMMDevice* device, EndpointValues* values) {
    CoTaskMemString id;
    HRESULT hr = device->GetId(id.Receive());
    KELIX_RETURN_IF_FAILED(hr, kPPInitialize, L"Failed to get device id! [0x%.8x]%s");
    *values->deviceId.Receive() = MakeBstr(id.Get());

    ComPtr<IPropertyStore> store;
    hr = device->OpenPropertyStore(STGM_READ, &store);
    KELIX_RETURN_IF_FAILED(hr, kPPInitialize, L"Failed to open device property store! [0x%.8x]%s");
    PropVariantOwner guidText;
    hr = store->GetValue(kEndpointGuidKey, guidText.Receive());
    KELIX_RETURN_IF_FAILED(hr, kPPInitialize, L"Failed to read device GUID! [0x%.8x]%s");
    const wchar_t* text = StringValue(guidText.Get());
    hr = CLSIDFromString(text != nullptr ? text : L"", &values->endpointGuid);
    KELIX_RETURN_IF_FAILED(hr, kPPInitialize, L"Failed to convert device GUID! [0x%.8x]%s");
    KELIX_LOG(kLevelInformation, kPPInitialize, L"Device GUID: %s", GuidString(values->endpointGuid).c_str());

    PropVariantOwner formFactor;
    hr = store->GetValue(kFormFactorKey, formFactor.Receive());
    KELIX_RETURN_IF_FAILED(hr, kPPInitialize, L"Failed to read device Form Factor: [0x%.8x]%s");
    values->formFactor = formFactor.Get().vt == VT_UI4 ? formFactor.Get().ulVal : 0;
    PropVariantOwner name;
    hr = store->GetValue(kFriendlyNameKey, name.Receive());
    KELIX_RETURN_IF_FAILED(hr, kPPInitialize, L"Failed to read device friendly name: [0x%.8x]%s");
    *values->friendlyName.Receive() = MakeBstr(StringValue(name.Get()));
    return S_OK;
}

// Messages of the steps from a device topology to the IKsControl of its filter.
struct FilterTexts {
    const wchar_t* function;
    const wchar_t* deviceIdFailed;
    const wchar_t* deviceFailed;
    const wchar_t* activateFailed;
};

HRESULT OpenKsControl(IDeviceTopology* topology, IMMDeviceEnumerator* enumerator, const FilterTexts& texts,
                      ComPtr<IKsControl>& control) {
    CoTaskMemString filterId;
    HRESULT hr = topology->GetDeviceId(filterId.Receive());
    KELIX_RETURN_IF_FAILED(hr, texts.function, texts.deviceIdFailed);
    ComPtr<IMMDevice> filter;
    hr = enumerator->GetDevice(filterId.Get(), &filter);
    KELIX_RETURN_IF_FAILED(hr, texts.function, texts.deviceFailed);
    hr = filter->Activate(__uuidof(IKsControl), CLSCTX_ALL, nullptr,
                          reinterpret_cast<void**>(control.ReleaseAndGetAddressOf()));
    KELIX_RETURN_IF_FAILED(hr, texts.function, texts.activateFailed);
    return S_OK;
}

// Chooses the selector of a subunit on the path, if it has one: the subunit's own local id.
void SelectPath(IPart* part) {
    const auto select = [part](auto* selector, const wchar_t* activated, const wchar_t* failed) {
        UINT localId = 0;
        HRESULT hr = part->GetLocalId(&localId);
        if (FAILED(hr)) {
            KELIX_LOG(kLevelWarning, kFindConnectorPart, L"IPart interface GetLocalId failed! [0x%.8x]%s",
                      KELIX_HR(hr));
            return;
        }
        hr = selector->SetSelection(localId, nullptr);
        if (SUCCEEDED(hr)) {
            KELIX_LOG(kLevelInformation, kFindConnectorPart, activated);
        } else {
            KELIX_LOG(kLevelWarning, kFindConnectorPart, failed, KELIX_HR(hr));
        }
    };
    ComPtr<IAudioInputSelector> input;
    if (SUCCEEDED(part->Activate(CLSCTX_ALL, __uuidof(IAudioInputSelector), &input))) {
        select(input.Get(), L"Input selector activated.", L"Failed to select input selector! [0x%.8x]%s");
        return;
    }
    ComPtr<IAudioOutputSelector> output;
    if (SUCCEEDED(part->Activate(CLSCTX_ALL, __uuidof(IAudioOutputSelector), &output))) {
        select(output.Get(), L"Output selector activated.", L"Failed to select output selector! [0x%.8x]%s");
    }
}

// The end of a path: the connector part replaces the connector in hand. On the render path
// the audio-engine descriptor of the part's filter names the offload pin, a candidate pin.
HRESULT EndOfPath(EDataFlow flow, IPart* part, IMMDeviceEnumerator* enumerator, ComPtr<IConnector>& connector,
                  BOOL* found, PinSet* pins) {
    KELIX_LOG(kLevelVerbose, kFindConnectorPart, L"End of parts; replacing connector");
    ComPtr<IConnector> end;
    HRESULT hr = part->QueryInterface(IID_PPV_ARGS(&end));
    KELIX_RETURN_IF_FAILED(hr, kFindConnectorPart, L"Failed to query starting connector IPart interface! [0x%.8x]%s");
    connector = end;
    if (flow != eRender) {
        *found = TRUE;
        return S_OK;
    }
    KELIX_LOG(kLevelVerbose, kFindConnectorPart, L"Trying to read offload pin id...");
    ComPtr<IDeviceTopology> topology;
    hr = GetTopologyObject(part, &topology);
    KELIX_RETURN_IF_FAILED(hr, kFindConnectorPart, L"GetTopologyObject failed! [0x%.8x]%s");
    ComPtr<IKsControl> control;
    hr = OpenKsControl(topology.Get(), enumerator,
                       {kFindConnectorPart, L"GetDeviceId failed! [0x%.8x]%s", L"GetDevice failed! [0x%.8x]%s",
                        L"Failed to activate IKsControl interface! [0x%.8x]%s"},
                       control);
    if (FAILED(hr)) return hr;
    UINT nodeId = 0;
    hr = part->GetLocalId(&nodeId);
    KELIX_RETURN_IF_FAILED(hr, kFindConnectorPart, L"Failed to retrieve node id! [0x%.8x]%s");
    BYTE reply[kAudioEngineDescriptorSize] = {};
    ULONG received = 0;
    hr = SendKsProperty(control.Get(), AudioEngineDescriptorRequest(nodeId & kLocalIdNumberMask), reply,
                        sizeof reply, &received);
    const auto descriptor =
        ParseAudioEngineDescriptor(std::span<const std::uint8_t>(reply, std::min<ULONG>(received, sizeof reply)));
    if (FAILED(hr) || !descriptor) {
        // A filter without an audio engine (such as a topology filter in front of the wave
        // filter) ends its path all the same; the walk goes on.
        KELIX_LOG(kLevelWarning, kFindConnectorPart, L"Failed to retrieve pin id! [0x%.8x]%s", KELIX_HR(hr));
        return S_OK;
    }
    pins->insert(descriptor->offloadPinId);
    return S_OK;
}

// Walks from a part against the signal (render) or with it (capture) to the connector that ends
// the path. Negative on failure, 0 when a path end was handled, kNoFurtherParts when the last
// part looked at has no further parts.
HRESULT PPFindConnectorPart(EDataFlow flow, IPart* part, IMMDeviceEnumerator* enumerator,
                            ComPtr<IConnector>& connector, BOOL* found, PinSet* pins) {
    ComPtr<IPartsList> parts;
    HRESULT hr = flow == eRender ? part->EnumPartsIncoming(&parts) : part->EnumPartsOutgoing(&parts);
    KELIX_RETURN_IF_FAILED(hr, kFindConnectorPart, L"EnumParts failed. [0x%.8x]%s");
    UINT count = 0;
    hr = parts->GetCount(&count);
    if (FAILED(hr)) {
        KELIX_LOG(kLevelWarning, kFindConnectorPart,
                  L"Failed to retrieve count of the outgoing/incoming parts! [0x%.8x]%s", KELIX_HR(hr));
        return hr;
    }
    if (count == 0) {
        KELIX_LOG(kLevelVerbose, kFindConnectorPart, L"No parts were found!");
        return kNoFurtherParts;
    }
    for (UINT index = 0; index < count; ++index) {
        ComPtr<IPart> next;
        hr = parts->GetPart(index, &next);
        if (FAILED(hr)) {
            KELIX_LOG(kLevelWarning, kFindConnectorPart,
                      L"Failed to retrieve next part from incoming parts! [0x%.8x]%s", KELIX_HR(hr));
            return hr;
        }
        PartType type = Connector;
        hr = next->GetPartType(&type);
        KELIX_RETURN_IF_FAILED(hr, kFindConnectorPart, L"GetPartType failed! [0x%.8x]%s");
        if (type == Subunit) {
            SelectPath(next.Get());
            hr = PPFindConnectorPart(flow, next.Get(), enumerator, connector, found, pins);
            KELIX_RETURN_IF_FAILED(hr, kFindConnectorPart, L"PPFindConnectorPart failed! [0x%.8x]%s");
        } else {
            hr = EndOfPath(flow, next.Get(), enumerator, connector, found, pins);
            if (FAILED(hr)) return hr;
        }
    }
    return hr;
}

// Step by step from the endpoint's first connector across the filters: each connected
// connector leads to the far filter, whose path ends at the next connector in hand. Ends at an
// unconnected Software_IO connector, at a failure (the connector in hand stays), or with no
// connector left. The result is the last one in hand.
HRESULT WalkConnectors(EDataFlow flow, IMMDeviceEnumerator* enumerator, ComPtr<IConnector>& connector, PinSet* pins) {
    HRESULT hr = S_OK;
    BOOL found = FALSE;
    while (connector) {
        KELIX_LOG(kLevelVerbose, kPPInitialize, L"Next connector...");
        BOOL connected = FALSE;
        hr = connector->IsConnected(&connected);
        KELIX_RETURN_IF_FAILED(hr, kPPInitialize, L"Connector IsConnected failed! [0x%.8x]%s");
        if (!connected) {
            ConnectorType type = Unknown_Connector;
            hr = connector->GetType(&type);
            KELIX_RETURN_IF_FAILED(hr, kPPInitialize, L"Connector GetType failed! [0x%.8x]%s");
            if (type == Software_IO) return S_OK;
        }
        if (TraceLogger::Instance().IsEnabled(kLevelVerbose, kKeywordPexControl)) {
            CoTaskMemString connectedToId;
            CoTaskMemString connectedDeviceId;
            connector->GetConnectorIdConnectedTo(connectedToId.Receive());
            connector->GetDeviceIdConnectedTo(connectedDeviceId.Receive());
            KELIX_LOG(kLevelVerbose, kPPInitialize, L"----- Connector details! ConnectorIdConnectedTo: %s",
                      connectedToId.Get() != nullptr ? connectedToId.Get() : L"");
            KELIX_LOG(kLevelVerbose, kPPInitialize, L"----- Connector details! DeviceIdConnectedTo: %s",
                      connectedDeviceId.Get() != nullptr ? connectedDeviceId.Get() : L"");
        }
        ComPtr<IConnector> farConnector;
        hr = connector->GetConnectedTo(&farConnector);
        KELIX_RETURN_IF_FAILED(hr, kPPInitialize, L"Connector GetConnectedTo failed! [0x%.8x]%s");
        ComPtr<IPart> farPart;
        hr = farConnector.As(&farPart);
        KELIX_RETURN_IF_FAILED(hr, kPPInitialize, L"Failed to query next connector IPart interface! [0x%.8x]%s");
        // The part walk hands back the connector that ends the far filter's path.
        connector.Reset();
        hr = PPFindConnectorPart(flow, farPart.Get(), enumerator, connector, &found, pins);
        if (hr == kNoFurtherParts) continue;
        KELIX_RETURN_IF_FAILED(hr, kPPInitialize, L"Failed to find connector part! [0x%.8x]%s");
    }
    KELIX_LOG(kLevelVerbose, kPPInitialize, L"End of connectors.");
    return hr;
}

// The wave filter behind the Software_IO connector that ended the connector loop: its
// Software_IO connectors on a signal path from that connector become candidate pins (their
// local ids as they are), and its IKsControl carries the PP API.
HRESULT OpenWaveFilter(IConnector* connector, IMMDeviceEnumerator* enumerator, PinSet* pins,
                       ComPtr<IKsControl>& control) {
    ConnectorType type = Unknown_Connector;
    HRESULT hr = connector->GetType(&type);
    KELIX_RETURN_IF_FAILED(hr, kPPInitialize, L"IConnector GetType failed! [0x%.8x]%s");
    if (type != Software_IO) {
        KELIX_LOG(kLevelWarning, kPPInitialize, L"Unexpected connector type! %d", type);
        return E_FAIL;
    }
    ComPtr<IPart> endpointSide;
    hr = connector->QueryInterface(IID_PPV_ARGS(&endpointSide));
    KELIX_RETURN_IF_FAILED(hr, kPPInitialize, L"Connector QueryInterfacet failed! [0x%.8x]%s");
    ComPtr<IDeviceTopology> wave;
    hr = GetTopologyObject(endpointSide.Get(), &wave);
    KELIX_RETURN_IF_FAILED(hr, kPPInitialize, L"GetTopologyObject failed! [0x%.8x]%s");
    UINT count = 0;
    hr = wave->GetConnectorCount(&count);
    KELIX_RETURN_IF_FAILED(hr, kPPInitialize, L"GetConnectorCount failed! [0x%.8x]%s");
    for (UINT index = 0; index < count; ++index) {
        ComPtr<IConnector> candidate;
        hr = wave->GetConnector(index, &candidate);
        KELIX_RETURN_IF_FAILED(hr, kPPInitialize, L"GetConnector failed! [0x%.8x]%s");
        ConnectorType candidateType = Unknown_Connector;
        hr = candidate->GetType(&candidateType);
        KELIX_RETURN_IF_FAILED(hr, kPPInitialize, L"Wave filter Connector GetType failed! [0x%.8x]%s");
        if (candidateType != Software_IO) {
            KELIX_LOG(kLevelWarning, kPPInitialize, L"Unexpected wave filter connector type! %d", candidateType);
            continue;
        }
        ComPtr<IPart> candidatePart;
        hr = candidate.As(&candidatePart);
        KELIX_RETURN_IF_FAILED(hr, kPPInitialize, L"Software IO connector QueryInterfacet failed! [0x%.8x]%s");
        ComPtr<IPartsList> path;
        hr = wave->GetSignalPath(endpointSide.Get(), candidatePart.Get(), TRUE, &path);
        if (FAILED(hr)) {
            KELIX_LOG(kLevelWarning, kPPInitialize, L"GetSignalPath call failed! [0x%.8x]%s", KELIX_HR(hr));
            continue;
        }
        UINT localId = 0;
        hr = candidatePart->GetLocalId(&localId);
        KELIX_RETURN_IF_FAILED(hr, kPPInitialize, L"Failed to read connector local id! [0x%.8x]%s");
        pins->insert(localId);
    }
    return OpenKsControl(wave.Get(), enumerator,
                         {kPPInitialize, L"GetDeviceId failed! [0x%.8x]%s",
                          L"Failed to retrieve wave filer device! [0x%.8x]%s", L"Activate ks control failed! [0x%.8x]%s"},
                         control);
}

}  // namespace

CPPAPIHelper::CPPAPIHelper() : replyBuffer_(new BYTE[kPpParameterBufferSize]()) {
    KELIX_TRACE_SCOPE(L"CPPAPIHelper::CPPAPIHelper");
}

CPPAPIHelper::~CPPAPIHelper() {
    KELIX_TRACE_SCOPE(L"CPPAPIHelper::~CPPAPIHelper");
    if (ProcessIsExiting()) return;  // the filters' controls are left to the exit
    ClearModuleList();
}

void CPPAPIHelper::ClearModuleList() {
    for (ModuleEntry& entry : modules_) entry.ReleaseControl();
    modules_.clear();
}

HRESULT CPPAPIHelper::RefreshModuleList() {
    ClearModuleList();
    return PPInitialize(GUID_NULL);
}

HRESULT CPPAPIHelper::PPInitialize(const GUID& endpointGuid) {
    KELIX_TRACE_SCOPE(kPPInitialize);
    try {
        ComPtr<IMMDeviceEnumerator> enumerator;
        HRESULT hr =
            CoCreateInstance(__uuidof(MMDeviceEnumerator), nullptr, CLSCTX_ALL, IID_PPV_ARGS(&enumerator));
        KELIX_RETURN_IF_FAILED(hr, kPPInitialize, L"Failed to initialize COM instance MMDeviceEnumerator! [0x%.8x]%s");
        ComPtr<IMMDeviceCollection> devices;
        hr = enumerator->EnumAudioEndpoints(eRender, DEVICE_STATE_ACTIVE, &devices);
        KELIX_RETURN_IF_FAILED(hr, kPPInitialize, L"EnumAudioEndpoints failed! [0x%.8x]%s");
        UINT count = 0;
        hr = devices->GetCount(&count);
        KELIX_RETURN_IF_FAILED(hr, kPPInitialize, L"GetCount for devices list failed! [0x%.8x]%s");
        KELIX_LOG(kLevelInformation, kPPInitialize, L"Devices count: %d", count);
        for (UINT index = 0; index < count; ++index) {
            hr = WalkDevice(enumerator.Get(), devices.Get(), index, endpointGuid);
            if (FAILED(hr)) return hr;
        }
        return S_OK;
    } catch (const ComError&) {
        throw;
    } catch (const std::bad_alloc&) {
        throw;
    } catch (...) {
        KELIX_LOG(kLevelError, kPPInitialize, L"Unknown exception");
        return E_UNEXPECTED;
    }
}

HRESULT CPPAPIHelper::WalkDevice(IMMDeviceEnumerator* enumerator, IMMDeviceCollection* devices, UINT index,
                                 const GUID& endpointGuid) {
    KELIX_LOG(kLevelVerbose, kPPInitialize, L"Next device...");
    ComPtr<IMMDevice> device;
    HRESULT hr = devices->Item(index, &device);
    KELIX_RETURN_IF_FAILED(hr, kPPInitialize, L"Failed to get device from collection! [0x%.8x]%s");
    KELIX_LOG(kLevelInformation, kPPInitialize, L"Current device id: %d", index);
    EndpointValues endpoint;
    hr = ReadEndpointValues(device.Get(), &endpoint);
    if (FAILED(hr)) return hr;
    if (!IsEqualGUID(endpointGuid, GUID_NULL) && !IsEqualGUID(endpointGuid, endpoint.endpointGuid)) {
        KELIX_LOG(kLevelVerbose, kPPInitialize, L"Device does not match.");
        return S_OK;
    }

    ComPtr<IMMEndpoint> endpointInterface;
    hr = device.As(&endpointInterface);
    KELIX_RETURN_IF_FAILED(hr, kPPInitialize, L"Endpoint interface query failed! [0x%.8x]%s");
    EDataFlow flow = eRender;
    hr = endpointInterface->GetDataFlow(&flow);
    KELIX_RETURN_IF_FAILED(hr, kPPInitialize, L"GetDataFlow failed! [0x%.8x]%s");
    ComPtr<IDeviceTopology> topology;
    hr = device->Activate(__uuidof(IDeviceTopology), CLSCTX_ALL, nullptr, &topology);
    KELIX_RETURN_IF_FAILED(hr, kPPInitialize, L"Device activation failed! [0x%.8x]%s");
    ComPtr<IConnector> connector;
    hr = topology->GetConnector(0, &connector);
    KELIX_RETURN_IF_FAILED(hr, kPPInitialize, L"GetConnector failed! [0x%.8x]%s");

    PinSet pins;
    hr = WalkConnectors(flow, enumerator, connector, &pins);
    if (!connector) {
        KELIX_LOG(kLevelWarning, kPPInitialize, L"Software IO connector not found! [0x%.8x]%s", KELIX_HR(hr));
        // A path that ran out of parts ends with a success code and no wave filter to open.
        return FAILED(hr) ? hr : E_FAIL;
    }
    ComPtr<IKsControl> control;
    hr = OpenWaveFilter(connector.Get(), enumerator, &pins, control);
    if (FAILED(hr)) return hr;

    KELIX_LOG(kLevelVerbose, kPPInitialize, L"Begging to look for a connector that supports PP API...");
    size_t found = 0;
    for (UINT32 pinId : pins) {
        KELIX_LOG(kLevelInformation, kPPInitialize, L"Using pin id:  %d", pinId);
        found += ProbePin(control.Get(), pinId, endpoint);
    }
    if (found == 0) {
        ModuleEntry entry;
        if (SUCCEEDED(LookForPPModuleConnectorId_AMD(control.Get(), &entry))) AppendEntry(std::move(entry), endpoint);
    }
    return S_OK;
}

size_t CPPAPIHelper::ProbePin(IKsControl* control, UINT32 pinId, const EndpointValues& endpoint) {
    KELIX_LOG(kLevelVerbose, kPPInitialize, L"Testing PP API; comparing versions...");
    ModuleList list;
    if (FAILED(ReadModuleList(control, pinId, kProbeTexts, &list))) return 0;
    size_t found = 0;
    for (const ModuleDescriptor& descriptor : list.descriptors) {
        const GUID moduleId = ToGuid(descriptor.id);
        const std::wstring idText = GuidString(moduleId);
        KELIX_LOG(kLevelInformation, kPPInitialize, L"Module id: %s", idText.c_str());
        const std::wstring name = WidenText(DescriptorText(descriptor.name));
        KELIX_LOG(kLevelInformation, kPPInitialize, L"Module type: %s, version: %s, name: %s",
                  ModuleTypeName(descriptor.type), WidenText(DescriptorText(descriptor.version)).c_str(),
                  name.c_str());
        const auto version = KnownModuleVersion(descriptor.id);
        if (!version) {
            KELIX_LOG(kLevelWarning, kPPInitialize, L"Unspecific ModuleId: %s", idText.c_str());
            continue;
        }
        ModuleEntry entry;
        entry.PinId = pinId;
        entry.ModuleId = moduleId;
        entry.ModuleType = descriptor.type;
        entry.IsAmd = 0;
        entry.ModuleVersion = TextBstr(*version);
        entry.ModuleName = MakeBstr(name.c_str());
        control->AddRef();
        entry.KsControl = control;
        AppendEntry(std::move(entry), endpoint);
        ++found;
    }
    return found;
}

void CPPAPIHelper::AppendEntry(ModuleEntry&& entry, const EndpointValues& endpoint) {
    try {
        entry.EndpointGuid = endpoint.endpointGuid;
        entry.DeviceID = CopyBstr(endpoint.deviceId.Get());
        entry.FormFactor = endpoint.formFactor;
        entry.FriendlyName = CopyBstr(endpoint.friendlyName.Get());
        modules_.push_back(std::move(entry));
    } catch (...) {
        entry.ReleaseControl();
        throw;
    }
}

HRESULT CPPAPIHelper::LookForSonavelModuleInfo(IKsControl* control, UINT32 pinId, ModuleDescriptor* info) {
    if (control == nullptr || info == nullptr) return E_POINTER;
    ModuleList list;
    const HRESULT hr = ReadModuleList(control, pinId, kLookForTexts, &list);
    if (FAILED(hr)) return hr;
    if (list.count == 0) return E_FAIL;
    for (const ModuleDescriptor& descriptor : list.descriptors) {
        const auto version = KnownModuleVersion(descriptor.id);
        if (!version) {
            KELIX_LOG(kLevelWarning, kLookForTexts.function, L"Unspecific ModuleId: %s",
                      GuidString(ToGuid(descriptor.id)).c_str());
            continue;
        }
        *info = descriptor;
        SetDescriptorText(info->version, *version);
        KELIX_LOG(kLevelInformation, kLookForTexts.function, L"Found DSP module, name = %S, version = %s, type = %d",
                  std::string(DescriptorText(descriptor.name)).c_str(), WidenText(*version).c_str(), info->type);
        return S_OK;
    }
    return E_FAIL;
}

HRESULT CPPAPIHelper::LookForPPModuleConnectorId_AMD(IKsControl* control, ModuleEntry* entry) {
    constexpr wchar_t kFunction[] = L"CPPAPIHelper::LookForPPModuleConnectorId_AMD";
    if (control == nullptr || entry == nullptr) return E_POINTER;
    for (const KnownModule& row : AmdModules()) {
        BYTE reply[kAmdInstantiationReplySize] = {};
        const HRESULT hr = SendKsProperty(control, AmdInstantiationRequest(row.id), reply, sizeof reply);
        if (FAILED(hr) || reply[0] == 0) continue;
        BstrOwner version(TextBstr(row.version));
        BstrOwner name(MakeBstr(kAmdModuleName));
        entry->IsAmd = 1;
        entry->ModuleType = kAmdModuleType;
        entry->ModuleId = ToGuid(row.id);
        SysFreeString(std::exchange(entry->ModuleVersion, version.Release()));
        SysFreeString(std::exchange(entry->ModuleName, name.Release()));
        control->AddRef();
        entry->ReleaseControl();
        entry->KsControl = control;
        KELIX_LOG(kLevelInformation, kFunction, L"Sonavel AMD module info is found, version %s",
                  entry->ModuleVersion);
        return S_OK;
    }
    return E_FAIL;
}

HRESULT CPPAPIHelper::SonavelModuleExist(IUnknown* collection, UINT32 deviceIndex, UINT32 connectorIndex) {
    constexpr wchar_t kFunction[] = L"CPPAPIHelper::SonavelModuleExist";
    ComPtr<IMMDeviceCollection> devices;
    HRESULT hr = collection != nullptr ? collection->QueryInterface(IID_PPV_ARGS(&devices)) : E_POINTER;
    if (FAILED(hr)) {
        KELIX_LOG(kLevelWarning, kFunction, L"Query interface IMMDeviceCollection failed.");
        return hr;
    }
    ComPtr<IMMDevice> device;
    hr = devices->Item(deviceIndex, &device);
    KELIX_RETURN_IF_FAILED(hr, kFunction, L"Failed to get device: [0x%.8x]%s");
    ComPtr<IDeviceTopology> topology;
    hr = device->Activate(__uuidof(IDeviceTopology), CLSCTX_ALL, nullptr, &topology);
    KELIX_RETURN_IF_FAILED(hr, kFunction, L"Failed to active device IDeviceTopology: [0x%.8x]%s");
    ComPtr<IConnector> connector;
    hr = topology->GetConnector(connectorIndex, &connector);
    KELIX_RETURN_IF_FAILED(hr, kFunction, L"Failed to get connector: [0x%.8x]%s");
    ComPtr<IPart> part;
    hr = connector.As(&part);
    if (FAILED(hr)) {
        KELIX_LOG(kLevelWarning, kFunction, L"Query interface IPart failed.");
        return hr;
    }
    UINT localId = 0;
    hr = part->GetLocalId(&localId);
    KELIX_RETURN_IF_FAILED(hr, kFunction, L"Failed to get local id: [0x%.8x]%s");
    const UINT32 pinId = localId & kLocalIdNumberMask;
    ComPtr<IKsControl> control;
    hr = device->Activate(__uuidof(IKsControl), CLSCTX_ALL, nullptr, &control);
    KELIX_RETURN_IF_FAILED(hr, kFunction, L"Failed to active device IKsControl: [0x%.8x]%s");

    BYTE instantiated = 0;
    ModuleDescriptor info{};
    if (SUCCEEDED(LookForSonavelModuleInfo(control.Get(), pinId, &info))) {
        BYTE reply = 0;
        hr = SendKsProperty(control.Get(),
                            PpModuleRequest(kPpInstantiationState, kKsPropertyGet, {pinId, info.type, info.id}),
                            &reply, sizeof reply);
        if (FAILED(hr)) {
            KELIX_LOG(kLevelWarning, kFunction, L"Failed to GetInstantiationState: [0x%.8x]%s", KELIX_HR(hr));
        } else {
            instantiated = reply;
        }
    } else {
        // Only the first AMD row is asked here.
        BYTE reply[kAmdInstantiationReplySize] = {};
        hr = SendKsProperty(control.Get(), AmdInstantiationRequest(AmdModules()[0].id), reply, sizeof reply);
        if (FAILED(hr)) {
            KELIX_LOG(kLevelWarning, kFunction, L"Failed to GetInstantiationState_AMD: [0x%.8x]%s", KELIX_HR(hr));
        } else {
            instantiated = reply[0];
        }
    }
    if (instantiated != 0) return S_OK;
    KELIX_LOG(kLevelWarning, kFunction, L"fInstantiated is false.");
    return E_FAIL;
}

}  // namespace kelix
