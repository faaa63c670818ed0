// CPPAPIHelper on the simulated platform: the walk over the render endpoints and their device
// topology, the PP API probe of every candidate pin, the AMD lookup, the module entries and the
// references the walk takes and gives back; the module lookup and the instantiation question.
#include <windows.h>
#include <mmdeviceapi.h>
#include <wrl/client.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "DllUnderTest.h"
#include "KsScenario.h"
#include "PPAPIHelper.h"
#include "core/ModuleList.h"
#include "core/PpApiRequests.h"
#include "sim/Platform.h"

using Microsoft::WRL::ComPtr;

namespace kelix::test {
namespace {

constexpr wchar_t kWalk[] = L"CPPAPIHelper::PPInitialize";
constexpr wchar_t kLookFor[] = L"CPPAPIHelper::LookForSonavelModuleInfo";
constexpr wchar_t kExist[] = L"CPPAPIHelper::SonavelModuleExist";
constexpr wchar_t kPartWalk[] = L"PPFindConnectorPart";

constexpr wchar_t kHeadphones[] = L"{0.0.0.00000000}.{5a0c0002-0000-4000-8000-000000000002}";
constexpr wchar_t kHeadphonesGuid[] = L"{5A0C0002-0000-4000-8000-000000000002}";
constexpr wchar_t kHeadset[] = L"{0.0.0.00000000}.{5a0c0003-0000-4000-8000-000000000003}";
constexpr wchar_t kHeadsetGuid[] = L"{5A0C0003-0000-4000-8000-000000000003}";
constexpr GUID kHeadsetEndpoint = {0x5A0C0003, 0x0000, 0x4000, {0x80, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x03}};

std::wstring Text(BSTR text) { return text != nullptr ? std::wstring(text, SysStringLen(text)) : L"(null)"; }

std::wstring GuidString(const GUID& guid) {
    wchar_t text[64] = {};
    StringFromGUID2(guid, text, 64);
    return text;
}

// Every field of an entry, the control and working word as their only possible values.
std::wstring Summary(const ModuleEntry& entry) {
    wchar_t numbers[96];
    _snwprintf(numbers, 96, L" %u %s: pin %u, ", entry.FormFactor, Text(entry.FriendlyName).c_str(), entry.PinId);
    wchar_t kinds[32];
    _snwprintf(kinds, 32, L" type %u amd %u, ", entry.ModuleType, entry.IsAmd);
    const bool plain = entry.KsControl != nullptr && entry.WorkingWord == 0;
    return Text(entry.DeviceID) + L" " + GuidString(entry.EndpointGuid) + numbers + GuidString(entry.ModuleId) +
           kinds + Text(entry.ModuleVersion) + L" " + Text(entry.ModuleName) + (plain ? L"" : L" (control or word)");
}

class PPAPIHelperTest : public testing::Test {
protected:
    void SetUp() override {
        installed.emplace(platform);
        ASSERT_EQ(installed->Result(), S_OK);
        Log().Clear();
    }

    void TearDown() override {
        helper.ClearModuleList();
        enumerator.Reset();
        EXPECT_EQ(platform.TotalReferences(), 0) << "references left on simulated objects";
    }

    sim::Dsp& Speakers(sim::DspConfig config, sim::TopologyConfig topology = {}) {
        return AttachDsp(platform, AddEndpoint(platform, {kSpeakers, kSpeakersGuid}), std::move(config),
                         std::move(topology));
    }

    std::vector<std::wstring> Versions() const {
        std::vector<std::wstring> versions;
        for (const ModuleEntry& entry : helper.Modules()) versions.push_back(Text(entry.ModuleVersion));
        return versions;
    }

    // Endpoint `index` of a case, with its DSP; connector 0 carries the high word 1.
    sim::Dsp& AddCase(int index, sim::DspConfig config) {
        ids.push_back(L"{0.0.0.00000000}.{case-" + std::to_wstring(index) + L"}");
        return AttachDsp(platform, AddEndpoint(platform, {ids.back().c_str(), kSpeakersGuid}), std::move(config),
                         {.localIdHighWord = 1});
    }
    IMMDeviceEnumerator* Enumerator() {
        if (!enumerator) {
            EXPECT_EQ(CoCreateInstance(__uuidof(MMDeviceEnumerator), nullptr, CLSCTX_ALL, IID_PPV_ARGS(&enumerator)), S_OK);
        }
        return enumerator.Get();
    }
    ComPtr<IKsControl> Control(int index) {
        ComPtr<IMMDevice> device;
        EXPECT_EQ(Enumerator()->GetDevice(ids.at(static_cast<size_t>(index)).c_str(), &device), S_OK);
        ComPtr<IKsControl> control;
        if (device) { EXPECT_EQ(device->Activate(__uuidof(IKsControl), CLSCTX_ALL, nullptr, &control), S_OK); }
        return control;
    }
    ComPtr<IMMDeviceCollection> Devices() {
        ComPtr<IMMDeviceCollection> devices;
        EXPECT_EQ(Enumerator()->EnumAudioEndpoints(eRender, DEVICE_STATE_ACTIVE, &devices), S_OK);
        return devices;
    }
    // Warning lines of a function since the last Clear.
    static std::vector<std::wstring> Warnings(const std::wstring& function) {
        std::vector<std::wstring> warnings;
        for (const LogLine& line : Log().Lines()) {
            if (line.level == 3 && line.function == function) warnings.push_back(line.message);
        }
        return warnings;
    }

    sim::Platform platform;
    std::optional<sim::Installation> installed;
    std::vector<std::wstring> ids;
    ComPtr<IMMDeviceEnumerator> enumerator;
    CPPAPIHelper helper;
};

TEST_F(PPAPIHelperTest, KnownModulesOfEveryActiveRenderEndpointInDeviceOrder) {
    sim::Dsp& speakers = AttachDsp(platform, AddEndpoint(platform, {kSpeakers, kSpeakersGuid, 1, L"Speakers"}),
              {.modules = {{.id = kModulePex, .type = 1, .name = "pex", .version = "2.10.3"}, kKrelo},
               .amdModules = {{kAmdRow1, true}}});  // not asked: a pin yields modules
    AttachDsp(platform, AddEndpoint(platform, {kHeadphones, kHeadphonesGuid, 3, L"Headphones"}), {.ppApi = false});
    AddEndpoint(platform, {L"{0.0.1.00000000}.{mic}", L"{5A0C0004-0000-4000-8000-000000000004}", 4, L"Mic", eCapture});
    AddEndpoint(platform, {L"{0.0.0.00000000}.{hdmi}", L"{5A0C0005-0000-4000-8000-000000000005}", 1, L"HDMI", eRender,
                           DEVICE_STATE_DISABLED});
    AttachDsp(platform, AddEndpoint(platform, {kHeadset, kHeadsetGuid, 5, L"Headset"}),
              {.offloadPin = 2, .loopbackPin = 5, .modules = {{.id = kModule100b, .type = 0, .name = "sfx"}}});

    EXPECT_EQ(helper.PPInitialize(GUID_NULL), S_OK);
    std::vector<std::wstring> entries;
    for (const ModuleEntry& entry : helper.Modules()) entries.push_back(Summary(entry));
    EXPECT_EQ(entries, (std::vector<std::wstring>{
                           std::wstring(kSpeakers) + L" " + kSpeakersGuid +
                               L" 1 Speakers: pin 1, {D11B4F61-42FA-43BB-997C-8D2B026D11C8} type 1 amd 0, 2.10.0-lite pex",
                           std::wstring(kSpeakers) + L" " + kSpeakersGuid +
                               L" 1 Speakers: pin 1, {CBDD3DB0-85AE-4466-B18D-504FD8E7082B} type 2 amd 0, 1.4.2 krelo",
                           std::wstring(kHeadset) + L" " + kHeadsetGuid +
                               L" 5 Headset: pin 2, {F5151CC1-D8AA-4F79-8A05-7AB55D8B7A39} type 0 amd 0, 1.0.0 sfx",
                       }));
    for (const sim::KsRequest& request : speakers.Requests()) EXPECT_NE(request.property.at(0), 0xbd);
    // One reference per entry, nothing else held.
    EXPECT_EQ(platform.References("IKsControl"), 3);
    EXPECT_EQ(platform.TotalReferences(), 3);

    EXPECT_TRUE(Logged(4, kWalk, L"Devices count: 3"));
    EXPECT_TRUE(Logged(4, kWalk, L"Current device id: 2"));
    EXPECT_TRUE(Logged(4, kWalk, std::wstring(L"Device GUID: ") + kHeadsetGuid));
    EXPECT_TRUE(Logged(4, kWalk, L"Module id: {D11B4F61-42FA-43BB-997C-8D2B026D11C8}"));
    EXPECT_TRUE(Logged(4, kWalk, L"Module type: MFX, version: 2.10.3, name: pex"));
    EXPECT_TRUE(Logged(4, kWalk, L"Module type: SFX, version: , name: sfx"));
    // The endpoint without the PP API yields nothing and does not stop the walk.
    EXPECT_TRUE(Logged(3, kWalk, Failure(L"Failed to retrieve version! ", HRESULT_FROM_WIN32(ERROR_SET_NOT_FOUND))));

    helper.ClearModuleList();
    EXPECT_TRUE(helper.Modules().empty());
    EXPECT_EQ(platform.TotalReferences(), 0);

    // One endpoint asked for by its GUID.
    Log().Clear();
    EXPECT_EQ(helper.PPInitialize(kHeadsetEndpoint), S_OK);
    ASSERT_EQ(helper.Modules().size(), 1u);
    EXPECT_EQ(Text(helper.Modules()[0].DeviceID), kHeadset);
    const auto walk = Messages(kWalk);
    EXPECT_EQ(std::count(walk.begin(), walk.end(), L"Device does not match."), 2);
    EXPECT_EQ(std::count(walk.begin(), walk.end(), L"Using pin id:  2"), 1);
}

TEST_F(PPAPIHelperTest, RequestsOnTheWire) {
    sim::Dsp& dsp = Speakers({.modules = {kKrelo}});
    ASSERT_EQ(helper.PPInitialize(GUID_NULL), S_OK);
    ASSERT_EQ(helper.Modules().size(), 1u);

    // The records' bytes are the core's (PpApiRequestTest); here which request goes to which pin.
    const auto record = [](const auto& bytes) { return std::vector<BYTE>(bytes.begin(), bytes.end()); };
    const std::vector<BYTE> moduleList = record(PpModuleHeader(kPpModuleList, kKsPropertyGet, 1));
    struct Expected {
        const wchar_t* device;
        std::vector<BYTE> property;
        ULONG dataLength;
        HRESULT result;
    };
    // The path ends at the topology filter (no audio engine), then at the wave filter's host
    // and offload pins; the candidate pins are the offload pin and the loopback pin.
    const Expected expected[] = {
        {L"\\\\?\\sim#topology#1", record(AudioEngineDescriptorRequest(0)), 12,
         HRESULT_FROM_WIN32(ERROR_SET_NOT_FOUND)},
        {L"\\\\?\\sim#wave#1", record(AudioEngineDescriptorRequest(0)), 12, S_OK},
        {L"\\\\?\\sim#wave#1", record(AudioEngineDescriptorRequest(1)), 12, S_OK},
        {L"\\\\?\\sim#wave#1", record(PpShortHeader(kPpVersion, kKsPropertyGet, 1)), 5, S_OK},
        {L"\\\\?\\sim#wave#1", moduleList, 0, S_OK},
        {L"\\\\?\\sim#wave#1", moduleList, 156, S_OK},
        {L"\\\\?\\sim#wave#1", record(PpShortHeader(kPpVersion, kKsPropertyGet, 2)), 5, E_INVALIDARG},
    };
    const std::vector<sim::KsRequest> requests = dsp.Requests();
    ASSERT_EQ(requests.size(), std::size(expected));
    for (size_t i = 0; i < std::size(expected); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(requests[i].device, expected[i].device);
        EXPECT_EQ(requests[i].property, expected[i].property);
        EXPECT_EQ(requests[i].dataLength, expected[i].dataLength);
        EXPECT_EQ(requests[i].result, expected[i].result);
    }
    EXPECT_TRUE(requests[4].nullData);  // the size query
    EXPECT_TRUE(Logged(3, kPartWalk, Failure(L"Failed to retrieve pin id! ", HRESULT_FROM_WIN32(ERROR_SET_NOT_FOUND))));
    EXPECT_TRUE(Logged(3, kWalk, L"Unexpected wave filter connector type! 4"));
    EXPECT_TRUE(Logged(3, kWalk, Failure(L"GetSignalPath call failed! ", HRESULT_FROM_WIN32(ERROR_NOT_FOUND))));
    EXPECT_TRUE(Logged(3, kWalk, Failure(L"Failed to retrieve version! ", E_INVALIDARG)));
}

// Each case is an endpoint with a DSP of its own, walked alone by its endpoint GUID. Replies
// that lie about their count or texts are the parser's (ModuleListTest).
TEST_F(PPAPIHelperTest, ProbeOfAPin) {
    struct Case {
        const char* name;
        sim::DspConfig config;
        std::function<void(sim::Dsp&)> adjust;
        std::vector<std::wstring> modules;                // version, type and name of the entries made
        std::vector<std::pair<int, std::wstring>> lines;  // among the walk's lines
    };
    const auto none = [](sim::Dsp&) {};
    const Case cases[] = {
        {"version 2", {.apiVersion = 2, .modules = {kKrelo}}, none, {}, {{3, L"Version mismatch! 2"}}},
        {"unknown, then 1.2.0", {.modules = {{.id = kUnknownModule, .name = "other"}, {.id = kModule120, .name = "k"}}},
         none, {L"1.2.0 2 k"},
         {{3, L"Unspecific ModuleId: {0BAD0BAD-0001-4002-8003-000000000004}"}, {4, L"Modules count: 2, modules size: 304"}}},
        {"the second 1.0.0 id", {.modules = {{.id = kModule100b, .name = "b"}}}, none, {L"1.0.0 2 b"}, {}},
        {"type 7", {.modules = {{.id = kModule142, .type = 7, .name = "seven", .version = "v"}}}, none,
         {L"1.4.2 7 seven"}, {{4, L"Module type: Unknown module type, version: v, name: seven"}}},
        {"size query of 0", {.modules = {kKrelo}}, [](sim::Dsp& dsp) { dsp.SetModuleListSize(0); }, {},
         {{4, L"Modules count: 0, modules size: 0"}}},
        // No reply of the PP API is larger than 64,004 bytes: a larger size leaves the pin.
        {"size query of 64,005 bytes", {.modules = {kKrelo}}, [](sim::Dsp& dsp) { dsp.SetModuleListSize(64005); },
         {}, {{3, L"Modules list size 64005 is larger than any reply (64004 bytes); the pin is left."}}},
        {"size query of 64,004 bytes", {.modules = {kKrelo}}, [](sim::Dsp& dsp) { dsp.SetModuleListSize(64004); },
         {L"1.4.2 2 krelo"}, {{4, L"Modules count: 1, modules size: 156"}}},
        // Size answers of drivers that report "more data" with the size in the byte count.
        {"size as more data", {.modules = {kKrelo}},
         [](sim::Dsp& dsp) { dsp.SetModuleListSizeResult(HRESULT_FROM_WIN32(ERROR_MORE_DATA)); }, {L"1.4.2 2 krelo"}, {}},
        {"size as insufficient buffer", {.modules = {kKrelo}},
         [](sim::Dsp& dsp) { dsp.SetModuleListSizeResult(HRESULT_FROM_WIN32(ERROR_INSUFFICIENT_BUFFER)); },
         {L"1.4.2 2 krelo"}, {}},
        {"size as buffer overflow", {.modules = {kKrelo}},
         [](sim::Dsp& dsp) { dsp.SetModuleListSizeResult(static_cast<HRESULT>(0x80000005)); }, {L"1.4.2 2 krelo"}, {}},
        {"more data without a size", {.modules = {kKrelo}},
         [](sim::Dsp& dsp) {
             dsp.SetModuleListSizeResult(HRESULT_FROM_WIN32(ERROR_MORE_DATA));
             dsp.SetModuleListSize(0);
         },
         {}, {{3, L"Failed to retrieve modules list size! [0x800700ea]" + SystemText(HRESULT_FROM_WIN32(ERROR_MORE_DATA))}}},
    };
    std::vector<GUID> endpoints;
    for (unsigned i = 0; i < std::size(cases); ++i) {
        wchar_t id[40];
        wchar_t guid[40];
        _snwprintf(id, 40, L"{0.0.0.00000000}.{probe-%u}", i);
        _snwprintf(guid, 40, L"{5A0C1%03u-0000-4000-8000-000000000000}", i);
        cases[i].adjust(AttachDsp(platform, AddEndpoint(platform, {id, guid}), cases[i].config));
        endpoints.emplace_back();
        ASSERT_EQ(CLSIDFromString(guid, &endpoints.back()), S_OK);
    }
    for (unsigned i = 0; i < std::size(cases); ++i) {
        const Case& c = cases[i];
        SCOPED_TRACE(c.name);
        helper.ClearModuleList();
        Log().Clear();
        EXPECT_EQ(helper.PPInitialize(endpoints[i]), S_OK);
        std::vector<std::wstring> modules;
        for (const ModuleEntry& entry : helper.Modules()) {
            modules.push_back(Text(entry.ModuleVersion) + L" " + std::to_wstring(entry.ModuleType) + L" " +
                              Text(entry.ModuleName));
        }
        EXPECT_EQ(modules, c.modules);
        for (const auto& [level, message] : c.lines) EXPECT_TRUE(Logged(level, kWalk, message));
        const auto walk = Messages(kWalk);
        EXPECT_LE(std::count_if(walk.begin(), walk.end(),
                                [](const std::wstring& m) { return m.starts_with(L"Unspecific ModuleId"); }),
                  1);
    }
}

TEST_F(PPAPIHelperTest, EveryCandidatePinIsProbed) {
    // Speakers: connector local ids with a high word. The descriptor request names the node by
    // the low word; the wave filter's connectors are candidates with their ids as they are, and
    // no such pins exist. Headset: the offload pin 1 and the loopback pin 2 both carry the PP
    // API, one entry per pin.
    sim::Dsp& dsp = Speakers({.offloadPin = 4, .modules = {kKrelo}}, {.localIdHighWord = 1});
    sim::Dsp& plain = AttachDsp(platform, AddEndpoint(platform, {kHeadset, kHeadsetGuid}),
                                {.ppPins = {1, 2}, .modules = {kKrelo}});
    ASSERT_EQ(helper.PPInitialize(GUID_NULL), S_OK);
    std::vector<UINT32> pins;
    for (const ModuleEntry& entry : helper.Modules()) pins.push_back(entry.PinId);
    EXPECT_EQ(pins, (std::vector<UINT32>{4, 1, 2}));
    EXPECT_EQ(platform.References("IKsControl"), 3);
    std::vector<ULONG> nodes;
    for (const sim::KsRequest& request : dsp.Requests()) {
        if (request.Flags() == 0x10000001) nodes.push_back(request.Word(24));
    }
    EXPECT_EQ(nodes, (std::vector<ULONG>{0, 0, 4}));
    const auto walk = Messages(kWalk);
    for (const wchar_t* pin : {L"Using pin id:  65540", L"Using pin id:  65538", L"Using pin id:  4"}) {
        EXPECT_EQ(std::count(walk.begin(), walk.end(), pin), 1) << std::string(pin, pin + wcslen(pin));
    }
    EXPECT_FALSE(plain.Requests().empty());
}

TEST_F(PPAPIHelperTest, AmdLookupWhenNoPinYieldsAModule) {
    sim::Dsp& dsp = Speakers({.ppApi = false, .amdModules = {{kAmdRow1, false}, {kAmdRow4, true}}});
    ASSERT_EQ(helper.PPInitialize(GUID_NULL), S_OK);
    ASSERT_EQ(helper.Modules().size(), 1u);
    EXPECT_EQ(Summary(helper.Modules()[0]), std::wstring(kSpeakers) + L" " + kSpeakersGuid + L" 1 Speakers: pin 0, " +
                                                GuidString(kAmdRow4) + L" type 2 amd 1, 1.4.1 krelo-amd");
    EXPECT_EQ(platform.References("IKsControl"), 1);
    EXPECT_TRUE(Logged(4, L"CPPAPIHelper::LookForPPModuleConnectorId_AMD", L"Sonavel AMD module info is found, version 1.4.1"));

    // Rows in order until the first that reports itself instantiated.
    std::vector<sim::KsRequest> amd;
    for (const sim::KsRequest& request : dsp.Requests()) {
        if (request.property.size() == 48 && request.property[0] == 0xbd) amd.push_back(request);
    }
    ASSERT_EQ(amd.size(), 4u);
    // The record's bytes are the core's (PpApiRequestTest); here the row each request names.
    EXPECT_EQ(std::memcmp(amd[0].property.data() + 24, &kAmdRow1, 16), 0);
    EXPECT_EQ(std::memcmp(amd[3].property.data() + 24, &kAmdRow4, 16), 0);
    EXPECT_EQ(amd[0].dataLength, 8u);
}

TEST_F(PPAPIHelperTest, TopologyShapes) {
    struct Case {
        const char* name;
        sim::TopologyConfig topology;
        std::function<void(sim::Platform&)> adjust;
        HRESULT result;
        size_t entries;
        std::vector<std::tuple<int, const wchar_t*, std::wstring>> lines;
    };
    const auto none = [](sim::Platform&) {};
    const Case cases[] = {
        {"first connector unconnected Software_IO", {.shape = sim::TopologyShape::Direct}, none, S_OK, 1,
         {{5, kWalk, L"Next connector..."}}},
        {"input selector, no topology filter", {.topologyFilter = false, .subunits = {sim::Selector::Input}}, none,
         S_OK, 1, {{4, kPartWalk, L"Input selector activated."}}},
        {"output selector refuses", {},
         [](sim::Platform& p) { p.FailMethod("IAudioOutputSelector::SetSelection", E_ACCESSDENIED); }, S_OK, 1,
         {{3, kPartWalk, Failure(L"Failed to select output selector! ", E_ACCESSDENIED)}}},
        {"the loop ends at the endpoint's own connector", {},
         [](sim::Platform& p) { p.FailMethod("IConnector::IsConnected", E_ABORT, 1); }, E_FAIL, 0,
         {{3, kWalk, Failure(L"Connector IsConnected failed! ", E_ABORT)}, {3, kWalk, L"Unexpected connector type! 4"}}},
        {"no parts behind the connector", {.shape = sim::TopologyShape::NoParts}, none, E_FAIL, 0,
         {{5, kPartWalk, L"No parts were found!"},
          {5, kWalk, L"End of connectors."},
          {3, kWalk, Failure(L"Software IO connector not found! ", S_FALSE)}}},
    };
    installed.reset();  // each case installs a platform of its own
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        sim::Platform scenario;
        sim::Installation installation(scenario);
        AttachDsp(scenario, AddEndpoint(scenario, {kSpeakers, kSpeakersGuid}), {.modules = {kKrelo}}, c.topology);
        // A second endpoint: reached only when the first ends well.
        AttachDsp(scenario, AddEndpoint(scenario, {kHeadset, kHeadsetGuid}), {.modules = {kKrelo}});
        c.adjust(scenario);
        Log().Clear();
        {
            CPPAPIHelper walk;
            EXPECT_EQ(walk.PPInitialize(GUID_NULL), c.result);
            EXPECT_EQ(walk.Modules().size(), c.entries == 0 ? 0 : c.entries + 1);
        }
        for (const auto& [level, function, message] : c.lines) EXPECT_TRUE(Logged(level, function, message));
        const auto walk = Messages(kWalk);
        const bool second = std::find(walk.begin(), walk.end(), L"Current device id: 1") != walk.end();
        EXPECT_EQ(second, SUCCEEDED(c.result));
        EXPECT_EQ(scenario.TotalReferences(), 0);
    }
}

// Each entry holds one reference: a refresh gives back those of the list before, copies of an
// entry take none, and an empty list holds nothing.
TEST_F(PPAPIHelperTest, RefreshRebuildsTheList) {
    sim::Dsp& dsp = Speakers({.modules = {kKrelo, {.id = kModule120}}});
    ASSERT_EQ(helper.RefreshModuleList(), S_OK);
    ASSERT_EQ(helper.RefreshModuleList(), S_OK);
    EXPECT_EQ(Versions(), (std::vector<std::wstring>{L"1.4.2", L"1.2.0"}));
    EXPECT_EQ(platform.References("IKsControl"), 2);
    {
        const ModuleEntry& entry = helper.Modules().at(0);
        ModuleEntry copy(entry);
        EXPECT_NE(copy.DeviceID, entry.DeviceID);
        EXPECT_EQ(Summary(copy), Summary(entry));
        ModuleEntry moved(std::move(copy));
        EXPECT_EQ(Summary(moved), Summary(entry));
    }
    EXPECT_EQ(platform.References("IKsControl"), 2);
    dsp.Fail(sim::DspRequest::Version, E_ABORT);
    EXPECT_EQ(helper.RefreshModuleList(), S_OK);
    EXPECT_TRUE(helper.Modules().empty());
    EXPECT_EQ(platform.TotalReferences(), 0);
}

TEST_F(PPAPIHelperTest, EndpointGuidThatIsNoGuid) {
    AddEndpoint(platform, {kSpeakers, L"speakers"});
    EXPECT_EQ(helper.PPInitialize(GUID_NULL), CO_E_CLASSSTRING);
    EXPECT_TRUE(Logged(3, kWalk, Failure(L"Failed to convert device GUID! ", CO_E_CLASSSTRING)));
}

// Each call of the platform that the walk makes fails in turn: every failure is logged with its
// own message, every reference taken is given back, and each entry made holds one reference.
TEST_F(PPAPIHelperTest, EachPlatformCallFailingInTurn) {
    const auto scenario = [](sim::Platform& p) {
        AttachDsp(p, AddEndpoint(p, {kSpeakers, kSpeakersGuid}), {.modules = {kKrelo}},
                  {.subunits = {sim::Selector::Output, sim::Selector::Input}});
    };
    scenario(platform);
    ASSERT_EQ(helper.PPInitialize(GUID_NULL), S_OK);
    helper.ClearModuleList();
    std::map<std::string, int> calls;
    for (const std::string& method : platform.CalledMethods()) calls[method] = platform.Calls(method);

    std::set<std::pair<std::wstring, std::wstring>> failures;  // function, message
    installed.reset();  // each run installs a platform of its own
    int runs = 0;
    for (const auto& [method, count] : calls) {
        for (int call = 1; call <= count; ++call, ++runs) {
            SCOPED_TRACE(method + " call " + std::to_string(call));
            sim::Platform failing;
            sim::Installation installation(failing);
            scenario(failing);
            failing.FailMethodCall(method, call, E_ABORT);
            Log().Clear();
            {
                CPPAPIHelper walk;
                walk.PPInitialize(GUID_NULL);
                EXPECT_EQ(failing.References("IKsControl"), static_cast<long>(walk.Modules().size()));
                EXPECT_EQ(failing.TotalReferences(), static_cast<long>(walk.Modules().size()));
            }
            EXPECT_EQ(failing.TotalReferences(), 0);
            for (const LogLine& line : Log().Lines()) {
                if (line.message.find(L"[0x80004004]") != std::wstring::npos) {
                    EXPECT_EQ(line.level, 3);
                    failures.emplace(line.function, line.message);
                }
            }
        }
    }
    EXPECT_GT(runs, 80);  // the walk of this scenario makes some 90 calls
    const std::vector<const wchar_t*> walkFailures = {
        L"Failed to initialize COM instance MMDeviceEnumerator! ", L"EnumAudioEndpoints failed! ",
        L"GetCount for devices list failed! ", L"Failed to get device from collection! ", L"Failed to get device id! ",
        L"Failed to open device property store! ", L"Failed to read device GUID! ",
        L"Failed to read device Form Factor: ", L"Failed to read device friendly name: ", L"GetDataFlow failed! ",
        L"Device activation failed! ", L"GetConnector failed! ", L"Connector IsConnected failed! ",
        L"Connector GetType failed! ", L"Connector GetConnectedTo failed! ", L"Failed to find connector part! ",
        L"Software IO connector not found! ", L"IConnector GetType failed! ", L"GetTopologyObject failed! ",
        L"GetConnectorCount failed! ", L"Wave filter Connector GetType failed! ", L"GetSignalPath call failed! ",
        L"Failed to read connector local id! ", L"GetDeviceId failed! ", L"Failed to retrieve wave filer device! ",
        L"Activate ks control failed! ", L"Failed to retrieve version! ", L"Failed to retrieve modules list size! ",
        L"Failed to read modules list! "
    };
    const std::vector<const wchar_t*> partFailures = {
        L"EnumParts failed. ", L"Failed to retrieve count of the outgoing/incoming parts! ",
        L"Failed to retrieve next part from incoming parts! ", L"GetPartType failed! ",
        L"IPart interface GetLocalId failed! ", L"Failed to select input selector! ",
        L"Failed to select output selector! ", L"PPFindConnectorPart failed! ", L"GetTopologyObject failed! ",
        L"GetDeviceId failed! ", L"GetDevice failed! ", L"Failed to activate IKsControl interface! ",
        L"Failed to retrieve node id! ", L"Failed to retrieve pin id! "
    };
    std::set<std::pair<std::wstring, std::wstring>> wanted;
    for (const wchar_t* message : walkFailures) wanted.emplace(kWalk, Failure(message, E_ABORT));
    for (const wchar_t* message : partFailures) wanted.emplace(kPartWalk, Failure(message, E_ABORT));
    for (const auto& line : wanted) {
        EXPECT_TRUE(failures.contains(line)) << "never logged: " << std::string(line.second.begin(), line.second.end());
    }
    for (const auto& line : failures) {
        EXPECT_TRUE(wanted.contains(line)) << "unexpected: " << std::string(line.second.begin(), line.second.end());
    }
}

// LookForSonavelModuleInfo and SonavelModuleExist: one endpoint with a DSP of its own per case.
TEST_F(PPAPIHelperTest, FirstKnownModuleOfTheList) {
    struct Case {
        const char* name;
        sim::DspConfig config;
        UINT32 pin;
        HRESULT result;
        std::vector<std::wstring> warnings;
    };
    const Case cases[] = {
        {"unknown, then known", {.modules = {{.id = kUnknownModule}, kKrelo, {.id = kModule120}}}, 1, S_OK,
         {L"Unspecific ModuleId: {0BAD0BAD-0001-4002-8003-000000000004}"}},
        {"only unknown", {.modules = {{.id = kUnknownModule}}}, 1, E_FAIL,
         {L"Unspecific ModuleId: {0BAD0BAD-0001-4002-8003-000000000004}"}},
        {"empty list", {}, 1, E_FAIL, {}},
        {"version 2", {.apiVersion = 2, .modules = {kKrelo}}, 1, E_FAIL, {L"Version mismatch: 2"}},
        {"pin without the API", {.modules = {kKrelo}}, 2, E_INVALIDARG,
         {Failure(L"Failed to retrieve version: ", E_INVALIDARG)}},
    };
    for (int i = 0; i < static_cast<int>(std::size(cases)); ++i) AddCase(i, cases[i].config);
    for (int i = 0; i < static_cast<int>(std::size(cases)); ++i) {
        const Case& c = cases[i];
        SCOPED_TRACE(c.name);
        Log().Clear();
        ModuleDescriptor info{};
        EXPECT_EQ(helper.LookForSonavelModuleInfo(Control(i).Get(), c.pin, &info), c.result);
        EXPECT_EQ(Warnings(kLookFor), c.warnings);
        if (c.result != S_OK) continue;
        EXPECT_TRUE(Logged(4, kLookFor, L"Found DSP module, name = krelo, version = 1.4.2, type = 2"));
        EXPECT_EQ(info.type, 2u);
        EXPECT_EQ(std::memcmp(&info.id, &kModule142, 16), 0);
        EXPECT_EQ(DescriptorText(info.name), "krelo");
        EXPECT_EQ(DescriptorText(info.version), "1.4.2");  // the library's text, not the firmware's
    }
    // The colon forms of the list failures; null arguments, before anything is asked.
    sim::Dsp& dsp = AddCase(5, {.modules = {kKrelo}});
    ComPtr<IKsControl> control = Control(5);
    ModuleDescriptor info{};
    ModuleEntry entry;
    for (const HRESULT hr : {helper.LookForSonavelModuleInfo(nullptr, 1, &info),
                             helper.LookForSonavelModuleInfo(control.Get(), 1, nullptr),
                             helper.LookForPPModuleConnectorId_AMD(nullptr, &entry),
                             helper.LookForPPModuleConnectorId_AMD(control.Get(), nullptr)}) {
        EXPECT_EQ(hr, E_POINTER) << Hex(hr);
    }
    EXPECT_TRUE(dsp.Requests().empty());
    for (const auto& [request, text] : {
             std::pair{sim::DspRequest::ModuleListSize, L"Failed to retrieve modules list size: "},
             std::pair{sim::DspRequest::ModuleList, L"Failed to read modules list: "}}) {
        dsp.Fail(request, E_ABORT, 1);
        EXPECT_EQ(helper.LookForSonavelModuleInfo(control.Get(), 1, &info), E_ABORT);
        EXPECT_TRUE(Logged(3, kLookFor, Failure(text, E_ABORT)));
    }
}

TEST_F(PPAPIHelperTest, ModuleExistAsksTheInstantiationState) {
    struct Case {
        const char* name;
        sim::DspConfig config;
        HRESULT result;
        std::vector<std::wstring> warnings;
        size_t amdRequests;
    };
    const Case cases[] = {
        {"instantiated", {.modules = {kKrelo}}, S_OK, {}, 0},
        {"not instantiated", {.modules = {{.id = kModule142, .type = 2, .instantiated = false}}}, E_FAIL,
         {L"fInstantiated is false."}, 0},
        {"AMD first row", {.ppApi = false, .amdModules = {{kAmdRow1, true}, {kAmdRow4, true}}}, S_OK, {}, 1},
        {"AMD without the first row", {.ppApi = false, .amdModules = {{kAmdRow4, true}}}, E_FAIL,
         {Failure(L"Failed to GetInstantiationState_AMD: ", HRESULT_FROM_WIN32(ERROR_NOT_FOUND)),
          L"fInstantiated is false."},
         1},
        {"state request fails", {.modules = {kKrelo}}, E_FAIL,
         {Failure(L"Failed to GetInstantiationState: ", E_ABORT), L"fInstantiated is false."}, 0},
    };
    std::vector<sim::Dsp*> dsps;
    for (int i = 0; i < static_cast<int>(std::size(cases)); ++i) dsps.push_back(&AddCase(i, cases[i].config));
    dsps.back()->Fail(sim::DspRequest::InstantiationState, E_ABORT);
    ComPtr<IMMDeviceCollection> devices = Devices();
    for (UINT i = 0; i < std::size(cases); ++i) {
        const Case& c = cases[i];
        SCOPED_TRACE(c.name);
        Log().Clear();
        EXPECT_EQ(helper.SonavelModuleExist(devices.Get(), i, 0), c.result);
        EXPECT_EQ(Warnings(kExist), c.warnings);
        const std::vector<sim::KsRequest> requests = dsps[i]->Requests();
        size_t amd = 0;
        for (const sim::KsRequest& request : requests) amd += request.property.at(0) == 0xbd ? 1 : 0;
        EXPECT_EQ(amd, c.amdRequests);
        if (i == 0) {
            // The pin is the low word of connector 0's local id; the module as the list names it.
            PpModuleAddress module{1, 2, {}};
            std::memcpy(&module.moduleId, &kModule142, sizeof module.moduleId);
            const auto record = PpModuleRequest(6, 1, module);
            EXPECT_EQ(requests.back().property, std::vector<BYTE>(record.begin(), record.end()));
            EXPECT_EQ(requests.back().dataLength, 1u);
        }
    }
}

TEST_F(PPAPIHelperTest, ModuleExistStepsThatFail) {
    AddCase(0, {.modules = {kKrelo}});
    EXPECT_EQ(helper.SonavelModuleExist(Enumerator(), 0, 0), E_NOINTERFACE);
    EXPECT_TRUE(Logged(3, kExist, L"Query interface IMMDeviceCollection failed."));

    struct Case {
        const char* method;  // failing once, or null
        int call;
        UINT32 device;
        UINT32 connector;
        HRESULT result;
        std::wstring line;
    };
    const Case cases[] = {
        {nullptr, 0, 1, 0, E_INVALIDARG, Failure(L"Failed to get device: ", E_INVALIDARG)},
        {nullptr, 0, 0, 3, E_INVALIDARG, Failure(L"Failed to get connector: ", E_INVALIDARG)},
        {"IMMDevice::Activate", 1, 0, 0, E_ABORT, Failure(L"Failed to active device IDeviceTopology: ", E_ABORT)},
        {"IPart::GetLocalId", 1, 0, 0, E_ABORT, Failure(L"Failed to get local id: ", E_ABORT)},
        {"IMMDevice::Activate", 2, 0, 0, E_ABORT, Failure(L"Failed to active device IKsControl: ", E_ABORT)},
    };
    ComPtr<IMMDeviceCollection> devices = Devices();
    for (const Case& c : cases) {
        SCOPED_TRACE(c.line);
        if (c.method != nullptr) platform.FailMethodCall(c.method, c.call, E_ABORT);
        Log().Clear();
        EXPECT_EQ(helper.SonavelModuleExist(devices.Get(), c.device, c.connector), c.result);
        EXPECT_EQ(Warnings(kExist), std::vector<std::wstring>{c.line});
    }
    EXPECT_EQ(helper.SonavelModuleExist(devices.Get(), 0, 0), S_OK);
}

}  // namespace
}  // namespace kelix::test
