// CPPAPIHelper::LookForSonavelModuleInfo and SonavelModuleExist on the simulated platform:
// one endpoint with a DSP of its own per case.
#include <windows.h>
#include <mmdeviceapi.h>
#include <wrl/client.h>

#include <gtest/gtest.h>

#include <cstring>
#include <optional>
#include <string>
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

constexpr wchar_t kLookFor[] = L"CPPAPIHelper::LookForSonavelModuleInfo";
constexpr wchar_t kExist[] = L"CPPAPIHelper::SonavelModuleExist";

class ModuleProbeTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(installed.Result(), S_OK);
        ASSERT_EQ(CoCreateInstance(__uuidof(MMDeviceEnumerator), nullptr, CLSCTX_ALL, IID_PPV_ARGS(&enumerator)), S_OK);
    }

    void TearDown() override {
        enumerator.Reset();
        EXPECT_EQ(platform.TotalReferences(), 0) << "references left on simulated objects";
    }

    // Endpoint `index` of the case, with its DSP; connector 0 carries the high word 1.
    sim::Dsp& AddCase(int index, sim::DspConfig config) {
        const std::wstring id = L"{0.0.0.00000000}.{case-" + std::to_wstring(index) + L"}";
        ids.push_back(id);
        return AttachDsp(platform, AddEndpoint(platform, {ids.back().c_str(), kSpeakersGuid}), std::move(config),
                         {.localIdHighWord = 1});
    }

    ComPtr<IKsControl> Control(int index) {
        ComPtr<IMMDevice> device;
        EXPECT_EQ(enumerator->GetDevice(ids.at(static_cast<size_t>(index)).c_str(), &device), S_OK);
        ComPtr<IKsControl> control;
        if (device) { EXPECT_EQ(device->Activate(__uuidof(IKsControl), CLSCTX_ALL, nullptr, &control), S_OK); }
        return control;
    }

    ComPtr<IMMDeviceCollection> Devices() {
        ComPtr<IMMDeviceCollection> devices;
        EXPECT_EQ(enumerator->EnumAudioEndpoints(eRender, DEVICE_STATE_ACTIVE, &devices), S_OK);
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
    sim::Installation installed{platform};
    std::vector<std::wstring> ids;
    ComPtr<IMMDeviceEnumerator> enumerator;
    CPPAPIHelper helper;
};

TEST_F(ModuleProbeTest, FirstKnownModuleOfTheList) {
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

TEST_F(ModuleProbeTest, ModuleExistAsksTheInstantiationState) {
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

TEST_F(ModuleProbeTest, ModuleExistStepsThatFail) {
    AddCase(0, {.modules = {kKrelo}});
    EXPECT_EQ(helper.SonavelModuleExist(enumerator.Get(), 0, 0), E_NOINTERFACE);
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
