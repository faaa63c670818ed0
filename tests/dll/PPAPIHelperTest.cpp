// The kernel-streaming access on the simulated platform: CPPAPIHelper's walk over the render
// endpoints and their device topology, the PP API probe of every candidate pin, the AMD lookup,
// the module entries and the references the walk takes and gives back, the module lookup and the
// instantiation question; then the DSP module access class and the DSP controller, for what the
// exports cannot reach.
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
#include "DspController.h"
#include "LogCapture.h"
#include "PPAPIHelper.h"
#include "SonavelDspKrelo.h"
#include "core/KnownModules.h"
#include "sim/EndpointProperties.h"
#include "sim/Platform.h"

using Microsoft::WRL::ComPtr;

namespace kelix::test {
namespace {

// The log of the whole process at level 5, captured from before the first line: the logger of a
// test process registers once.
LogCapture* capture = nullptr;
class CaptureEnvironment : public testing::Environment {
public:
    void SetUp() override { capture = new LogCapture(5); }
    void TearDown() override { delete capture; }
};
const testing::Environment* const kEnvironment = testing::AddGlobalTestEnvironment(new CaptureEnvironment);
LogCapture& Log() { return *capture; }

constexpr wchar_t kWalk[] = L"CPPAPIHelper::PPInitialize";
constexpr wchar_t kLookFor[] = L"CPPAPIHelper::LookForSonavelModuleInfo";
constexpr wchar_t kExist[] = L"CPPAPIHelper::SonavelModuleExist";
constexpr wchar_t kAmdLookup[] = L"CPPAPIHelper::LookForPPModuleConnectorId_AMD";
constexpr wchar_t kPartWalk[] = L"PPFindConnectorPart";
constexpr wchar_t kSetParam[] = L"CSonavelDspKrelo::SetModuleParam";

// Known module ids of the PP API module list and AMD rows, and one id nobody knows.
constexpr GUID kModule100 = {0x849F0D73, 0x1678, 0x4D57, {0x8C, 0x78, 0x61, 0xC5, 0x48, 0x25, 0x39, 0x93}};
constexpr GUID kModule100b = {0xF5151CC1, 0xD8AA, 0x4F79, {0x8A, 0x05, 0x7A, 0xB5, 0x5D, 0x8B, 0x7A, 0x39}};
constexpr GUID kModule120 = {0x2F20FF4C, 0x587D, 0x4EA5, {0xBD, 0x72, 0xF2, 0x46, 0x35, 0x1D, 0xEF, 0xE6}};
constexpr GUID kModulePex = {0xD11B4F61, 0x42FA, 0x43BB, {0x99, 0x7C, 0x8D, 0x2B, 0x02, 0x6D, 0x11, 0xC8}};
constexpr GUID kModule142 = {0xCBDD3DB0, 0x85AE, 0x4466, {0xB1, 0x8D, 0x50, 0x4F, 0xD8, 0xE7, 0x08, 0x2B}};
constexpr GUID kAmdRow1 = {0xCFE115BD, 0x8AEA, 0x40BC, {0xA7, 0x64, 0xAD, 0x9C, 0x18, 0xFE, 0xE7, 0x30}};
constexpr GUID kAmdRow4 = {0xB5FCC815, 0x1F49, 0x4F4E, {0xB0, 0x4C, 0x05, 0xF3, 0xA3, 0x83, 0xEF, 0xFF}};
constexpr GUID kUnknownModule = {0x0BAD0BAD, 0x0001, 0x4002, {0x80, 0x03, 0x00, 0x00, 0x00, 0x00, 0x00, 0x04}};
const sim::DspModule kKrelo{.id = kModule142, .type = 2, .name = "krelo", .version = "1.4.2.9"};

constexpr wchar_t kSpeakers[] = L"{0.0.0.00000000}.{5a0c0001-0000-4000-8000-000000000001}";
constexpr wchar_t kSpeakersGuid[] = L"{5A0C0001-0000-4000-8000-000000000001}";
constexpr wchar_t kHeadset[] = L"{0.0.0.00000000}.{5a0c0003-0000-4000-8000-000000000003}";
constexpr wchar_t kHeadsetGuid[] = L"{5A0C0003-0000-4000-8000-000000000003}";

// An endpoint (render and active unless said) whose store holds its endpoint GUID (text), form
// factor and friendly name.
sim::Endpoint& AddEndpoint(sim::Platform& platform, const wchar_t* id, const wchar_t* guid, UINT formFactor = 1,
                           const wchar_t* name = L"Speakers", EDataFlow flow = eRender, DWORD state = DEVICE_STATE_ACTIVE) {
    sim::Endpoint& endpoint = platform.AddEndpoint({id, flow, state});
    sim::DescribeEndpoint(endpoint, guid, formFactor, name);
    return endpoint;
}
// A DSP with modules, attached to the endpoint through a topology.
sim::Dsp& AttachDsp(sim::Platform& platform, sim::Endpoint& endpoint, sim::DspConfig config,
                    sim::TopologyConfig topology = {}) {
    sim::Dsp& dsp = platform.AddDsp(std::move(config));
    platform.AttachDsp(endpoint, dsp, std::move(topology));
    return dsp;
}

// A failure line as the library writes it: message, "[0x%.8x]" and the system text of hr.
std::wstring Failure(const std::wstring& message, HRESULT hr) {
    wchar_t code[16];
    _snwprintf(code, 16, L"[0x%.8x]", static_cast<unsigned>(hr));
    return message + code + SystemText(hr);
}
// The messages of the captured lines of that level from any of the functions, in order.
std::vector<std::wstring> Messages(int level, std::initializer_list<std::wstring_view> functions) {
    std::vector<std::wstring> messages;
    for (const LogLine& line : Log().Lines()) {
        if (line.level == level && std::ranges::find(functions, line.function) != functions.end()) {
            messages.push_back(line.message);
        }
    }
    return messages;
}
// Whether a line of that level, function and message was captured (any number of times).
testing::AssertionResult Logged(int level, const std::wstring& function, const std::wstring& message) {
    if (std::ranges::count(Messages(level, {function}), message) > 0) return testing::AssertionSuccess();
    std::string text;
    for (const LogLine& line : Log().Lines()) text += "\n  " + std::string(line.raw.begin(), line.raw.end());
    return testing::AssertionFailure() << "no line of level " << level << ": "
                                       << std::string(message.begin(), message.end()) << text;
}

// A case's adjustment: the call-th call of method from now fails with hr.
std::function<void(sim::Platform&, sim::Dsp&)> Failing(const char* method, HRESULT hr, int call = 1) {
    return [=](sim::Platform& p, sim::Dsp&) { p.FailMethodCall(method, call, hr); };
}

std::wstring Text(BSTR text) { return text != nullptr ? std::wstring(text, SysStringLen(text)) : L"(null)"; }

std::wstring GuidString(const GUID& guid) {
    wchar_t text[64] = {};
    StringFromGUID2(guid, text, 64);
    return text;
}

// The module part of an entry: pin, type, AMD flag, version and name.
std::wstring ModuleText(const ModuleEntry& entry) {
    wchar_t numbers[64];
    _snwprintf(numbers, 64, L"pin %u type %u amd %u, ", entry.PinId, entry.ModuleType, entry.IsAmd);
    return numbers + Text(entry.ModuleVersion) + L" " + Text(entry.ModuleName);
}
// Every field of an entry, the control and working word as their only possible values.
std::wstring Summary(const ModuleEntry& entry) {
    wchar_t numbers[96];
    _snwprintf(numbers, 96, L" %u %s: ", entry.FormFactor, Text(entry.FriendlyName).c_str());
    const bool plain = entry.KsControl != nullptr && entry.WorkingWord == 0;
    return Text(entry.DeviceID) + L" " + GuidString(entry.EndpointGuid) + numbers + GuidString(entry.ModuleId) + L" " +
           ModuleText(entry) + (plain ? L"" : L" (control or word)");
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
        CSonavelDspKrelo::Instance().ClearModuleList();
        EXPECT_EQ(platform.TotalReferences(), 0) << "references left on simulated objects";
    }

    // The endpoint of the next case, with an id and GUID of its own and its DSP.
    sim::Dsp& AddCase(sim::DspConfig config, sim::TopologyConfig topology) {
        guids.push_back({0x5A0C1000 + static_cast<unsigned long>(ids.size()), 0, 0x4000, {0x80}});
        ids.push_back(L"{0.0.0.00000000}.{case-" + std::to_wstring(ids.size()) + L"}");
        return AttachDsp(platform, AddEndpoint(platform, ids.back().c_str(), GuidString(guids.back()).c_str()),
                         std::move(config), std::move(topology));
    }
    // The text of each entry, in order: its module part unless another text is asked for.
    std::vector<std::wstring> Entries(std::wstring (*text)(const ModuleEntry&) = ModuleText) const {
        std::vector<std::wstring> entries;
        for (const ModuleEntry& entry : helper.Modules()) entries.push_back(text(entry));
        return entries;
    }

    sim::Platform platform;
    std::optional<sim::Installation> installed;
    std::vector<std::wstring> ids;
    std::vector<GUID> guids;
    CPPAPIHelper helper;
};

// The walk over every active render endpoint in device order. Each entry holds one reference: a
// refresh gives back those of the list before and copies of an entry take none (moves are the
// list's own as it grows). An endpoint GUID that is no GUID ends the walk. Then each call of the
// platform that the walk makes fails in turn: every failure is logged with its own message, every
// reference taken is given back, and each entry made holds one reference.
TEST_F(PPAPIHelperTest, WalkOfEveryActiveRenderEndpointWithEachCallFailingInTurn) {
    const auto machine = [](sim::Platform& p) {
        AttachDsp(p, AddEndpoint(p, kSpeakers, kSpeakersGuid),
                  {.modules = {{.id = kModulePex, .type = 1, .name = "pex", .version = "2.10.3"}, kKrelo}},
                  {.subunits = {sim::Selector::Output, sim::Selector::Input}});
        const wchar_t headphones[] = L"{0.0.0.00000000}.{5a0c0002-0000-4000-8000-000000000002}";
        AttachDsp(p, AddEndpoint(p, headphones, L"{5A0C0002-0000-4000-8000-000000000002}", 3, L"Headphones"),
                  {.ppApi = false});
        AddEndpoint(p, L"{0.0.1.00000000}.{mic}", L"{5A0C0004-0000-4000-8000-000000000004}", 4, L"Mic", eCapture);
        AddEndpoint(p, L"{0.0.0.00000000}.{hdmi}", L"{5A0C0005-0000-4000-8000-000000000005}", 1, L"HDMI", eRender,
                    DEVICE_STATE_DISABLED);
        AttachDsp(p, AddEndpoint(p, kHeadset, kHeadsetGuid, 5, L"Headset"),
                  {.offloadPin = 2, .loopbackPin = 5, .modules = {{.id = kModule100b, .type = 0, .name = "sfx"}}});
    };
    machine(platform);
    EXPECT_EQ(helper.RefreshModuleList(), S_OK);
    std::map<std::string, int> calls;  // of one walk
    for (const std::string& method : platform.CalledMethods()) calls[method] = platform.Calls(method);
    EXPECT_EQ(helper.RefreshModuleList(), S_OK);
    const std::wstring speakers = std::wstring(kSpeakers) + L" " + kSpeakersGuid + L" 1 Speakers: ";
    const std::wstring headset = std::wstring(kHeadset) + L" " + kHeadsetGuid +
                                 L" 5 Headset: {F5151CC1-D8AA-4F79-8A05-7AB55D8B7A39} pin 2 type 0 amd 0, 1.0.0 sfx";
    EXPECT_EQ(Entries(Summary), (std::vector<std::wstring>{
                           speakers + L"{D11B4F61-42FA-43BB-997C-8D2B026D11C8} pin 1 type 1 amd 0, 2.10.0-lite pex",
                           speakers + L"{CBDD3DB0-85AE-4466-B18D-504FD8E7082B} pin 1 type 2 amd 0, 1.4.2 krelo", headset}));
    {
        const ModuleEntry& entry = helper.Modules().at(0);
        ModuleEntry copy(entry);
        EXPECT_NE(copy.DeviceID, entry.DeviceID);
        EXPECT_EQ(Summary(copy), Summary(entry));
    }
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

    AddEndpoint(platform, L"{0.0.0.00000000}.{no-guid}", L"speakers");
    EXPECT_EQ(helper.PPInitialize(GUID_NULL), CO_E_CLASSSTRING);
    EXPECT_TRUE(Logged(3, kWalk, Failure(L"Failed to convert device GUID! ", CO_E_CLASSSTRING)));

    std::set<std::pair<std::wstring, std::wstring>> failures;  // function, message
    helper.ClearModuleList();
    installed.reset();  // each run installs a platform of its own
    int runs = 0;
    for (const auto& [method, count] : calls) {
        for (int call = 1; call <= count; ++call, ++runs) {
            SCOPED_TRACE(method + " call " + std::to_string(call));
            sim::Platform failing;
            sim::Installation installation(failing);
            machine(failing);
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
                if (line.message.find(L"[0x8000400") != std::wstring::npos) {
                    EXPECT_EQ(line.level, 3);
                    failures.emplace(line.function, line.message);
                }
            }
        }
    }
    EXPECT_GT(runs, 250);  // the walk of this machine makes some 300 calls
    // By function and code; a failed query of a connector's IPart or IConnector answers E_NOINTERFACE.
    const std::tuple<const wchar_t*, HRESULT, std::vector<const wchar_t*>> expected[] = {
        {kWalk, E_ABORT,
         {L"Failed to initialize COM instance MMDeviceEnumerator! ", L"EnumAudioEndpoints failed! ",
          L"GetCount for devices list failed! ", L"Failed to get device from collection! ", L"Failed to get device id! ",
          L"Failed to open device property store! ", L"Failed to read device GUID! ",
          L"Failed to read device Form Factor: ", L"Failed to read device friendly name: ", L"GetDataFlow failed! ",
          L"Device activation failed! ", L"GetConnector failed! ", L"Connector IsConnected failed! ",
          L"Connector GetType failed! ", L"Connector GetConnectedTo failed! ", L"Failed to find connector part! ",
          L"Software IO connector not found! ", L"IConnector GetType failed! ", L"GetTopologyObject failed! ",
          L"GetConnectorCount failed! ", L"Wave filter Connector GetType failed! ", L"GetSignalPath call failed! ",
          L"Failed to read connector local id! ", L"GetDeviceId failed! ", L"Failed to retrieve wave filer device! ",
          L"Activate ks control failed! ", L"Failed to retrieve version! ", L"Failed to retrieve modules list size! ",
          L"Failed to read modules list! "}},
        {kPartWalk, E_ABORT,
         {L"EnumParts failed. ", L"Failed to retrieve count of the outgoing/incoming parts! ",
          L"Failed to retrieve next part from incoming parts! ", L"GetPartType failed! ",
          L"IPart interface GetLocalId failed! ", L"Failed to select input selector! ",
          L"Failed to select output selector! ", L"PPFindConnectorPart failed! ", L"GetTopologyObject failed! ",
          L"GetDeviceId failed! ", L"GetDevice failed! ", L"Failed to activate IKsControl interface! ",
          L"Failed to retrieve node id! ", L"Failed to retrieve pin id! "}},
        {kWalk, E_NOINTERFACE,
         {L"Connector QueryInterfacet failed! ", L"Software IO connector QueryInterfacet failed! ",
          L"Failed to query next connector IPart interface! ", L"Failed to find connector part! ",
          L"Software IO connector not found! "}},
        {kPartWalk, E_NOINTERFACE, {L"Failed to query starting connector IPart interface! ", L"PPFindConnectorPart failed! "}},
    };
    std::set<std::pair<std::wstring, std::wstring>> wanted;
    for (const auto& [function, hr, messages] : expected) {
        for (const wchar_t* message : messages) wanted.emplace(function, Failure(message, hr));
    }
    for (const auto& line : wanted) {
        EXPECT_TRUE(failures.contains(line)) << "never logged: " << std::string(line.second.begin(), line.second.end());
    }
    for (const auto& line : failures) {
        EXPECT_TRUE(wanted.contains(line)) << "unexpected: " << std::string(line.second.begin(), line.second.end());
    }
}

// Each scenario is an endpoint with a DSP of its own, walked alone by its endpoint GUID: the
// entries it yields, lines among those logged, the AMD rows asked (the catalogue's, in order,
// until the first that reports itself instantiated), and every reference given back. Replies
// that lie about their count or texts are the parser's (ModuleListTest). Where a scenario says,
// SonavelModuleExist then asks the same device (by its place in the collection) whether its
// module is instantiated: the pin is the low word of the named connector's local id, the module
// the first known one the list names (LookForSonavelModuleInfo), the first AMD row alone without
// it; each step that fails is logged with its own message.
TEST_F(PPAPIHelperTest, ScenariosOfOneEndpoint) {
    using Adjust = std::function<void(sim::Platform&, sim::Dsp&)>;
    struct Exist {
        HRESULT result = S_OK;
        std::vector<std::wstring> warnings = {};  // of the lookup and of SonavelModuleExist, in order
        size_t amdRows = 0;
        Adjust adjust = {};
        UINT32 connector = 0;
        std::wstring found = {};  // the lookup's line of the module it found
    };
    struct Scenario {
        const char* name;
        sim::DspConfig config;
        std::vector<std::wstring> entries = {};
        std::vector<std::tuple<int, const wchar_t*, std::wstring>> lines = {};
        sim::TopologyConfig topology = {};
        Adjust adjust = {};
        HRESULT result = S_OK;
        size_t amdRows = 0;
        std::optional<Exist> exist = {};
    };
    const std::wstring krelo = L"pin 1 type 2 amd 0, 1.4.2 krelo";
    const std::wstring amdKrelo = L"pin 0 type 2 amd 1, 1.4.1 krelo-amd";
    const auto listSize = [](ULONG size, HRESULT hr = S_OK) {
        return [=](sim::Platform&, sim::Dsp& dsp) {
            dsp.SetModuleListSize(size);
            if (hr != S_OK) dsp.SetModuleListSizeResult(hr);
        };
    };
    const auto failingRequest = [](sim::DspRequest request) {
        return [=](sim::Platform&, sim::Dsp& dsp) { dsp.Fail(request, E_ABORT, 1); };
    };
    const HRESULT notFound = HRESULT_FROM_WIN32(ERROR_NOT_FOUND), setNotFound = HRESULT_FROM_WIN32(ERROR_SET_NOT_FOUND);
    const HRESULT moreData = HRESULT_FROM_WIN32(ERROR_MORE_DATA);
    const size_t all = AmdModules().size();  // no pin yielded a module and no row is instantiated
    const std::wstring unknown = L"Unspecific ModuleId: {0BAD0BAD-0001-4002-8003-000000000004}";
    const std::wstring noAmd = Failure(L"Failed to GetInstantiationState_AMD: ", setNotFound);
    const std::wstring noApi = Failure(L"Failed to retrieve version: ", setNotFound);
    const std::wstring notInstantiated = L"fInstantiated is false.";
    const auto noModule = [&](const std::wstring& why, Adjust adjust = {}) {
        return Exist{E_FAIL, {why, noAmd, notInstantiated}, 1, std::move(adjust)};
    };
    const Scenario scenarios[] = {
        // The path ends at the topology filter (no audio engine), then at the wave filter's host and
        // offload pins; the candidate pins are the offload pin and the loopback pin, which has no
        // PP API. A pin that yields modules leaves the AMD rows unasked.
        {"a known module", {.modules = {kKrelo}, .amdModules = {{kAmdRow1, true}}}, {krelo},
         {{3, kPartWalk, Failure(L"Failed to retrieve pin id! ", setNotFound)},
          {3, kWalk, L"Unexpected wave filter connector type! 4"},
          {3, kWalk, Failure(L"GetSignalPath call failed! ", notFound)},
          {3, kWalk, Failure(L"Failed to retrieve version! ", E_INVALIDARG)}},
         {}, {}, S_OK, 0, Exist{E_INVALIDARG, {Failure(L"Failed to get connector: ", E_INVALIDARG)}, 0, {}, 3}},
        {"version 2", {.apiVersion = 2, .modules = {kKrelo}}, {}, {{3, kWalk, L"Version mismatch! 2"}}, {}, {}, S_OK, all,
         noModule(L"Version mismatch: 2")},
        {"unknown, then 1.2.0", {.modules = {{.id = kUnknownModule, .name = "other"}, {.id = kModule120, .name = "k"}}},
         {L"pin 1 type 2 amd 0, 1.2.0 k"},
         {{3, kWalk, unknown}, {4, kWalk, L"Modules count: 2, modules size: 304"}}, {}, {}, S_OK, 0,
         Exist{S_OK, {unknown}, 0, {}, 0, L"Found DSP module, name = k, version = 1.2.0, type = 2"}},
        {"only unknown", {.modules = {{.id = kUnknownModule}}}, {}, {{3, kWalk, unknown}}, {}, {}, S_OK, all,
         Exist{E_FAIL, {unknown, noAmd, notInstantiated}, 1}},
        {"not instantiated", {.modules = {{.id = kModule142, .instantiated = false}}}, {L"pin 1 type 2 amd 0, 1.4.2 "}, {},
         {}, {}, S_OK, 0, Exist{E_FAIL, {notInstantiated}}},
        {"the second 1.0.0 id", {.modules = {{.id = kModule100b, .name = "b"}}}, {L"pin 1 type 2 amd 0, 1.0.0 b"}, {}, {},
         {}, S_OK, 0,
         noModule(Failure(L"Failed to retrieve modules list size: ", E_ABORT), failingRequest(sim::DspRequest::ModuleListSize))},
        {"type 7", {.modules = {{.id = kModule142, .type = 7, .name = "seven", .version = "v"}}},
         {L"pin 1 type 7 amd 0, 1.4.2 seven"}, {{4, kWalk, L"Module type: Unknown module type, version: v, name: seven"}},
         {}, {}, S_OK, 0,
         noModule(Failure(L"Failed to read modules list: ", E_ABORT), failingRequest(sim::DspRequest::ModuleList))},
        {"size query of 0", {.modules = {kKrelo}}, {}, {{4, kWalk, L"Modules count: 0, modules size: 0"}}, {},
         listSize(0), S_OK, all},
        // No reply of the PP API is larger than 64,004 bytes: a larger size leaves the pin.
        {"size query of 64,005 bytes", {.modules = {kKrelo}}, {},
         {{3, kWalk, L"Modules list size 64005 is larger than any reply (64004 bytes); the pin is left."}}, {},
         listSize(64005), S_OK, all},
        {"size query of 64,004 bytes", {.modules = {kKrelo}}, {krelo}, {{4, kWalk, L"Modules count: 1, modules size: 156"}},
         {}, listSize(64004)},
        // Size answers of drivers that report "more data" with the size in the byte count.
        {"size as more data", {.modules = {kKrelo}}, {krelo}, {}, {}, listSize(156, moreData)},
        {"size as insufficient buffer", {.modules = {kKrelo}}, {krelo}, {}, {},
         listSize(156, HRESULT_FROM_WIN32(ERROR_INSUFFICIENT_BUFFER))},
        {"size as buffer overflow", {.modules = {kKrelo}}, {krelo}, {}, {}, listSize(156, static_cast<HRESULT>(0x80000005))},
        {"more data without a size", {.modules = {kKrelo}}, {},
         {{3, kWalk, Failure(L"Failed to retrieve modules list size! ", moreData)}}, {}, listSize(0, moreData), S_OK,
         all},
        // Connector local ids with a high word: the descriptor request names the node by the low
        // word; the wave filter's connectors are candidates with their ids as they are, and no such
        // pins exist.
        {"local ids with a high word", {.offloadPin = 4, .modules = {kKrelo}}, {L"pin 4 type 2 amd 0, 1.4.2 krelo"},
         {{4, kWalk, L"Using pin id:  65540"}, {4, kWalk, L"Using pin id:  65538"}, {4, kWalk, L"Using pin id:  4"}},
         {.localIdHighWord = 1}, {}, S_OK, 0, Exist{}},
        {"offload and loopback pin with the PP API", {.ppPins = {1, 2}, .modules = {kKrelo}},
         {krelo, L"pin 2 type 2 amd 0, 1.4.2 krelo"}, {}, {}, {}, S_OK, 0,
         Exist{E_FAIL, {Failure(L"Failed to GetInstantiationState: ", E_ABORT), notInstantiated}, 0,
               failingRequest(sim::DspRequest::InstantiationState)}},
        {"the loopback pin alone with the PP API", {.ppPins = {2}, .modules = {kKrelo}}, {L"pin 2 type 2 amd 0, 1.4.2 krelo"},
         {}, {}, {}, S_OK, 0, noModule(Failure(L"Failed to retrieve version: ", E_INVALIDARG))},
        {"AMD rows when no pin yields a module", {.ppApi = false, .amdModules = {{kAmdRow1, false}, {kAmdRow4, true}}},
         {amdKrelo}, {{4, kAmdLookup, L"Sonavel AMD module info is found, version 1.4.1"}}, {}, {}, S_OK, 4,
         Exist{E_FAIL, {noApi, notInstantiated}, 1}},
        {"AMD without the first row", {.ppApi = false, .amdModules = {{kAmdRow4, true}}}, {amdKrelo}, {}, {}, {}, S_OK, 4,
         Exist{E_FAIL, {noApi, Failure(L"Failed to GetInstantiationState_AMD: ", notFound), notInstantiated}, 1}},
        {"AMD first row", {.ppApi = false, .amdModules = {{kAmdRow1, true}, {kAmdRow4, true}}},
         {L"pin 0 type 2 amd 1, 1.0.0 krelo-amd"}, {}, {}, {}, S_OK, 1,
         Exist{S_OK, {noApi}, 1}},
        {"first connector an unconnected Software_IO", {.modules = {kKrelo}}, {krelo}, {{5, kWalk, L"Next connector..."}},
         {.shape = sim::TopologyShape::Direct}, {}, S_OK, 0,
         Exist{E_ABORT, {Failure(L"Failed to active device IKsControl: ", E_ABORT)}, 0, Failing("IMMDevice::Activate", E_ABORT, 2)}},
        {"input selector, no topology filter", {.modules = {kKrelo}}, {krelo},
         {{4, kPartWalk, L"Input selector activated."}}, {.topologyFilter = false, .subunits = {sim::Selector::Input}}, {},
         S_OK, 0,
         Exist{E_ABORT, {Failure(L"Failed to active device IDeviceTopology: ", E_ABORT)}, 0, Failing("IMMDevice::Activate", E_ABORT)}},
        {"output selector refuses", {.modules = {kKrelo}}, {krelo},
         {{3, kPartWalk, Failure(L"Failed to select output selector! ", E_ACCESSDENIED)}}, {},
         Failing("IAudioOutputSelector::SetSelection", E_ACCESSDENIED), S_OK, 0,
         Exist{E_ABORT, {Failure(L"Failed to get local id: ", E_ABORT)}, 0, Failing("IPart::GetLocalId", E_ABORT)}},
        {"the loop ends at the endpoint's own connector", {.modules = {kKrelo}}, {},
         {{3, kWalk, Failure(L"Connector IsConnected failed! ", E_ABORT)}, {3, kWalk, L"Unexpected connector type! 4"}},
         {}, Failing("IConnector::IsConnected", E_ABORT), E_FAIL},
        {"no parts behind the connector", {.modules = {kKrelo}}, {},
         {{5, kPartWalk, L"No parts were found!"},
          {5, kWalk, L"End of connectors."},
          {3, kWalk, Failure(L"Software IO connector not found! ", S_FALSE)}},
         {.shape = sim::TopologyShape::NoParts}, {}, E_FAIL},
    };
    std::vector<sim::Dsp*> dsps;
    for (const Scenario& s : scenarios) dsps.push_back(&AddCase(s.config, s.topology));
    ComPtr<IMMDeviceEnumerator> enumerator;
    ASSERT_EQ(CoCreateInstance(__uuidof(MMDeviceEnumerator), nullptr, CLSCTX_ALL, IID_PPV_ARGS(&enumerator)), S_OK);
    ComPtr<IMMDeviceCollection> devices;
    ASSERT_EQ(enumerator->EnumAudioEndpoints(eRender, DEVICE_STATE_ACTIVE, &devices), S_OK);
    const long rest = platform.TotalReferences();  // the collection's and the enumerator's
    // The AMD rows a DSP was asked for: the catalogue's, in order, each with its 8-byte reply.
    const auto amdRowsAsked = [](const sim::Dsp& dsp) {
        size_t amd = 0;
        for (const sim::KsRequest& request : dsp.Requests()) {
            if (request.property.at(0) != 0xbd) continue;
            if (amd == AmdModules().size()) return amd + 1;
            EXPECT_EQ(std::memcmp(request.property.data() + 24, &AmdModules()[amd++].id, 16), 0) << amd;
            EXPECT_EQ(request.dataLength, 8u);
        }
        return amd;
    };
    for (unsigned i = 0; i < std::size(scenarios); ++i) {
        const Scenario& s = scenarios[i];
        SCOPED_TRACE(s.name);
        if (s.adjust) s.adjust(platform, *dsps[i]);
        Log().Clear();
        EXPECT_EQ(helper.PPInitialize(guids[i]), s.result);
        EXPECT_EQ(Entries(), s.entries);
        EXPECT_EQ(platform.References("IKsControl"), static_cast<long>(s.entries.size()));
        for (const auto& [level, function, message] : s.lines) EXPECT_TRUE(Logged(level, function, message));
        const auto isUnknown = [](const std::wstring& m) { return m.starts_with(L"Unspecific ModuleId"); };
        EXPECT_LE(std::ranges::count_if(Messages(3, {kWalk}), isUnknown), 1);
        EXPECT_EQ(amdRowsAsked(*dsps[i]), s.amdRows);
        platform.ClearFailures();
        helper.ClearModuleList();
        EXPECT_EQ(platform.TotalReferences(), rest);
        if (!s.exist) continue;
        SCOPED_TRACE("SonavelModuleExist");
        dsps[i]->ClearRequests();
        if (s.exist->adjust) s.exist->adjust(platform, *dsps[i]);
        Log().Clear();
        EXPECT_EQ(helper.SonavelModuleExist(devices.Get(), i, s.exist->connector), s.exist->result);
        EXPECT_EQ(Messages(3, {kLookFor, kExist}), s.exist->warnings);
        EXPECT_EQ(amdRowsAsked(*dsps[i]), s.exist->amdRows);
        if (!s.exist->found.empty()) { EXPECT_TRUE(Logged(4, kLookFor, s.exist->found)); }
        platform.ClearFailures();
        EXPECT_EQ(platform.TotalReferences(), rest);
    }
    Log().Clear();
    EXPECT_EQ(helper.SonavelModuleExist(devices.Get(), std::size(scenarios), 0), E_INVALIDARG);
    EXPECT_EQ(helper.SonavelModuleExist(enumerator.Get(), 0, 0), E_NOINTERFACE);
    EXPECT_EQ(Messages(3, {kExist}), (std::vector<std::wstring>{Failure(L"Failed to get device: ", E_INVALIDARG),
                                                                L"Query interface IMMDeviceCollection failed."}));
    // The lookups on the first scenario's control: null arguments before anything is asked, then
    // a list that cannot be read, whose failure the lookup answers.
    ASSERT_EQ(helper.PPInitialize(guids[0]), S_OK);
    IKsControl* control = helper.Modules().at(0).KsControl;
    dsps[0]->ClearRequests();
    ModuleDescriptor info{};
    ModuleEntry entry;
    for (const HRESULT hr : {helper.LookForSonavelModuleInfo(nullptr, 1, &info),
                             helper.LookForSonavelModuleInfo(control, 1, nullptr),
                             helper.LookForPPModuleConnectorId_AMD(nullptr, &entry),
                             helper.LookForPPModuleConnectorId_AMD(control, nullptr)}) {
        EXPECT_EQ(hr, E_POINTER) << Hex(hr);
    }
    EXPECT_TRUE(dsps[0]->Requests().empty());
    dsps[0]->Fail(sim::DspRequest::ModuleList, E_ABORT, 1);
    EXPECT_EQ(helper.LookForSonavelModuleInfo(control, 1, &info), E_ABORT);
}

// The DSP module access class: without modules every call is refused; with all modules selected
// (-1) a parameter goes to each in order until the first failure. Then the DSP controller on it.
TEST_F(PPAPIHelperTest, DspModuleAccessEmptyThenAllModulesInOrder) {
    CSonavelDspKrelo& dsp = CSonavelDspKrelo::Instance();
    dsp.ClearModuleList();
    UINT32 enabled = 0;
    BYTE reply[kModuleReplySize];
    const BYTE value[4] = {9, 0, 0, 0};
    int call = 0;  // in this order: select -1 and 0, set a parameter, set and get the enable, get a parameter
    for (HRESULT hr : {dsp.SelectModule(-1), dsp.SelectModule(0), dsp.SetModuleParam(20, value, 4),
                       dsp.SetModuleEnable(1), dsp.GetModuleEnable(&enabled), dsp.GetModuleParam(reply, 20)}) {
        EXPECT_EQ(hr, E_FAIL) << "call " << call++;
    }
    EXPECT_FALSE(dsp.SelectedIsVersion100());

    sim::Dsp& firmware = AttachDsp(platform, AddEndpoint(platform, kSpeakers, kSpeakersGuid),
                                   {.modules = {{.id = kModule142, .name = "full", .version = "1.4.2"},
                                                {.id = kModule100, .name = "early", .version = "1.0.0"}}});
    ASSERT_EQ(dsp.RefreshModules(), S_OK);
    firmware.ClearRequests();
    EXPECT_EQ(dsp.SelectModule(-2), E_FAIL);
    EXPECT_EQ(dsp.SelectModule(2), E_FAIL);
    ASSERT_EQ(dsp.SelectModule(-1), S_OK);
    EXPECT_FALSE(dsp.SelectedIsVersion100());  // the first module reads for -1

    // Writes to all modules: each row's result and the number of requests it sends.
    const HRESULT fault = HRESULT_FROM_WIN32(ERROR_GEN_FAILURE);
    std::vector<BYTE> large(64001, 1);
    const struct {
        UINT32 index;
        const BYTE* data;
        UINT32 size;
        HRESULT hr;
        size_t sent;
    } writes[] = {
        {40, value, 4, E_INVALIDARG, 1},  // valid for "1.4.2", not for "1.0.0": the first is set
        {5, value, 4, S_OK, 2},           // an initialisation item goes to every module unvalidated
        {21, value, 4, fault, 1},         // a failure at the first module stops there
        {21, large.data(), 64001, E_INVALIDARG, 0},  // beyond the buffer: refused before anything is sent
        {21, nullptr, 4, E_INVALIDARG, 0},
    };
    for (const auto& w : writes) {
        SCOPED_TRACE(w.index);
        firmware.ClearRequests();
        if (w.hr == fault) firmware.Fail(sim::DspRequest::ParameterSet, fault, 1);
        const HRESULT hr = dsp.SetModuleParam(w.index, w.data, w.size);
        EXPECT_EQ(hr, w.hr) << Hex(hr);
        EXPECT_EQ(firmware.Requests().size(), w.sent);
    }
    EXPECT_TRUE(firmware.Parameter(kModule142, 40).has_value());
    EXPECT_FALSE(firmware.Parameter(kModule100, 40).has_value());
    EXPECT_TRUE(Logged(4, kSetParam, L"Speakers - [max_num_channels]"));
    EXPECT_TRUE(Logged(3, kSetParam, Failure(L"Failed to set PP module parameter!: ", fault)));
    ASSERT_EQ(dsp.SelectModule(1), S_OK);
    EXPECT_TRUE(dsp.SelectedIsVersion100());

    // The DSP controller keeps the modules found at a device's first open (no PEX module; the last
    // other module of the device is its KRELO module) through the next open, and forgets them at
    // its close.
    ASSERT_EQ(DspController::Open(kSpeakers), S_OK);
    EXPECT_TRUE(Logged(4, L"DspController::Open", L"DSP module index: " + std::wstring(kSpeakers) + L"[-10, 1]"));
    EXPECT_EQ(DspController::Open(kSpeakers), S_OK);
    EXPECT_TRUE(Logged(4, L"DspController::Open", L"DSP module for device[" + std::wstring(kSpeakers) + L"] is already opened."));
    EXPECT_EQ(DspController::SelectModule(kSpeakers, 2104), S_OK);
    EXPECT_EQ(DspController::Close(kSpeakers), S_OK);
    EXPECT_TRUE(DspController::FamilyMissing(kSpeakers, 2104));
}

}  // namespace
}  // namespace kelix::test
