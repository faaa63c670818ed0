// CPPAPIHelper::LookForSonavelModuleInfo and SonavelModuleExist on the simulated platform.
#include <windows.h>
#include <mmdeviceapi.h>
#include <wrl/client.h>

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "KsScenario.h"
#include "PPAPIHelper.h"
#include "core/ModuleList.h"
#include "sim/Platform.h"

using Microsoft::WRL::ComPtr;

namespace kelix::test {
namespace {

constexpr wchar_t kLookFor[] = L"CPPAPIHelper::LookForSonavelModuleInfo";
constexpr wchar_t kExist[] = L"CPPAPIHelper::SonavelModuleExist";

class ModuleProbeTest : public testing::Test {
protected:
    void SetUp() override {
        installed.emplace(platform);
        ASSERT_EQ(installed->Result(), S_OK);
    }

    void TearDown() override {
        control.Reset();
        collection.Reset();
        EXPECT_EQ(platform.TotalReferences(), 0) << "references left on simulated objects";
    }

    // The render endpoint with a DSP; its IKsControl and the active render collection.
    sim::Dsp& Scenario(sim::DspConfig config) {
        sim::Dsp& dsp = AttachDsp(platform, AddEndpoint(platform, {kSpeakers, kSpeakersGuid}), std::move(config),
                                  {.localIdHighWord = 1});
        ComPtr<IMMDeviceEnumerator> enumerator;
        EXPECT_EQ(CoCreateInstance(__uuidof(MMDeviceEnumerator), nullptr, CLSCTX_ALL, IID_PPV_ARGS(&enumerator)), S_OK);
        EXPECT_EQ(enumerator->EnumAudioEndpoints(eRender, DEVICE_STATE_ACTIVE, &collection), S_OK);
        ComPtr<IMMDevice> device;
        EXPECT_EQ(enumerator->GetDevice(kSpeakers, &device), S_OK);
        EXPECT_EQ(device->Activate(__uuidof(IKsControl), CLSCTX_ALL, nullptr, &control), S_OK);
        dsp.ClearRequests();
        Log().Clear();
        return dsp;
    }

    sim::Platform platform;
    std::optional<sim::Installation> installed;
    CPPAPIHelper helper;
    ComPtr<IMMDeviceCollection> collection;
    ComPtr<IKsControl> control;
};

TEST_F(ModuleProbeTest, FirstKnownModuleOfTheList) {
    struct Case {
        const char* name;
        std::vector<sim::DspModule> modules;
        UINT32 apiVersion;
        HRESULT result;
        std::vector<std::pair<int, std::wstring>> lines;
    };
    const Case cases[] = {
        {"unknown, then known", {{.id = kUnknownModule}, kKrelo, {.id = kModule120}}, 1, S_OK,
         {{3, L"Unspecific ModuleId: {0BAD0BAD-0001-4002-8003-000000000004}"},
          {4, L"Found DSP module, name = krelo, version = 1.4.2, type = 2"}}},
        {"only unknown", {{.id = kUnknownModule}}, 1, E_FAIL, {{4, L"Modules count: 1, modules size: 156"}}},
        {"empty list", {}, 1, E_FAIL, {{4, L"Modules count: 0, modules size: 8"}}},
        {"version 2", {kKrelo}, 2, E_FAIL, {{3, L"Version mismatch: 2"}}},
        {"wrong pin", {kKrelo}, 1, E_INVALIDARG, {{3, Failure(L"Failed to retrieve version: ", E_INVALIDARG)}}},
    };
    installed.reset();  // each case installs a platform of its own
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        sim::Platform scenario;
        sim::Dsp& dsp = scenario.AddDsp({.apiVersion = c.apiVersion, .modules = c.modules});
        sim::Endpoint& endpoint = AddEndpoint(scenario, {kSpeakers, kSpeakersGuid});
        scenario.AttachDsp(endpoint, dsp, {.shape = sim::TopologyShape::Direct});
        sim::Installation installation(scenario);
        ComPtr<IMMDeviceEnumerator> enumerator;
        ASSERT_EQ(CoCreateInstance(__uuidof(MMDeviceEnumerator), nullptr, CLSCTX_ALL, IID_PPV_ARGS(&enumerator)), S_OK);
        ComPtr<IMMDevice> device;
        ASSERT_EQ(enumerator->GetDevice(kSpeakers, &device), S_OK);
        ComPtr<IKsControl> ks;
        ASSERT_EQ(device->Activate(__uuidof(IKsControl), CLSCTX_ALL, nullptr, &ks), S_OK);
        Log().Clear();
        ModuleDescriptor info{};
        EXPECT_EQ(helper.LookForSonavelModuleInfo(ks.Get(), std::string(c.name) == "wrong pin" ? 2 : 1, &info),
                  c.result);
        for (const auto& [level, message] : c.lines) EXPECT_TRUE(Logged(level, kLookFor, message));
        if (c.result == S_OK) {
            EXPECT_EQ(info.type, 2u);
            EXPECT_EQ(std::memcmp(&info.id, &kModule142, 16), 0);
            EXPECT_EQ(DescriptorText(info.name), "krelo");
            EXPECT_EQ(DescriptorText(info.version), "1.4.2");  // the library's text, not the firmware's
        }
    }
    // The colon forms of the list failures.
    installed.emplace(platform);
    sim::Dsp& dsp = Scenario({.modules = {kKrelo}});
    ModuleDescriptor info{};
    dsp.Fail(sim::DspRequest::ModuleListSize, E_ABORT, 1);
    EXPECT_EQ(helper.LookForSonavelModuleInfo(control.Get(), 1, &info), E_ABORT);
    EXPECT_TRUE(Logged(3, kLookFor, Failure(L"Failed to retrieve modules list size: ", E_ABORT)));
    dsp.Fail(sim::DspRequest::ModuleList, E_ABORT, 1);
    EXPECT_EQ(helper.LookForSonavelModuleInfo(control.Get(), 1, &info), E_ABORT);
    EXPECT_TRUE(Logged(3, kLookFor, Failure(L"Failed to read modules list: ", E_ABORT)));
}

TEST_F(ModuleProbeTest, ModuleExistAsksTheInstantiationState) {
    const HRESULT kNotFound = HRESULT_FROM_WIN32(ERROR_NOT_FOUND);
    struct Case {
        const char* name;
        sim::DspConfig config;
        std::function<void(sim::Dsp&)> adjust;
        HRESULT result;
        std::vector<std::wstring> lines;  // the warning lines, in order
        size_t amdRequests;
    };
    const auto none = [](sim::Dsp&) {};
    const Case cases[] = {
        {"instantiated", {.modules = {kKrelo}}, none, S_OK, {}, 0},
        {"not instantiated", {.modules = {{.id = kModule142, .type = 2, .instantiated = false}}}, none, E_FAIL,
         {L"fInstantiated is false."}, 0},
        {"state request fails", {.modules = {kKrelo}},
         [](sim::Dsp& dsp) { dsp.Fail(sim::DspRequest::InstantiationState, E_ABORT); }, E_FAIL,
         {Failure(L"Failed to GetInstantiationState: ", E_ABORT), L"fInstantiated is false."}, 0},
        {"AMD first row", {.ppApi = false, .amdModules = {{kAmdRow1, true}, {kAmdRow4, true}}}, none, S_OK, {}, 1},
        {"AMD without the first row", {.ppApi = false, .amdModules = {{kAmdRow4, true}}}, none, E_FAIL,
         {Failure(L"Failed to GetInstantiationState_AMD: ", kNotFound), L"fInstantiated is false."}, 1},
    };
    installed.reset();  // each case installs a platform of its own
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        sim::Platform scenario;
        sim::Installation installation(scenario);
        sim::Dsp& dsp = AttachDsp(scenario, AddEndpoint(scenario, {kSpeakers, kSpeakersGuid}), c.config,
                                  {.localIdHighWord = 1});
        c.adjust(dsp);
        ComPtr<IMMDeviceEnumerator> enumerator;
        ASSERT_EQ(CoCreateInstance(__uuidof(MMDeviceEnumerator), nullptr, CLSCTX_ALL, IID_PPV_ARGS(&enumerator)), S_OK);
        ComPtr<IMMDeviceCollection> devices;
        ASSERT_EQ(enumerator->EnumAudioEndpoints(eRender, DEVICE_STATE_ACTIVE, &devices), S_OK);
        Log().Clear();
        EXPECT_EQ(helper.SonavelModuleExist(devices.Get(), 0, 0), c.result);
        std::vector<std::wstring> warnings;
        for (const LogLine& line : Log().Lines()) {
            if (line.level == 3 && line.function == kExist) warnings.push_back(line.message);
        }
        EXPECT_EQ(warnings, c.lines);
        const std::vector<sim::KsRequest> requests = dsp.Requests();
        size_t amd = 0;
        for (const sim::KsRequest& request : requests) amd += request.property.at(0) == 0xbd ? 1 : 0;
        EXPECT_EQ(amd, c.amdRequests);
        if (c.config.ppApi && !requests.empty()) {
            // The pin is the low word of connector 0's local id; the module as the list names it.
            EXPECT_EQ(requests.back().property,
                      Bytes("37 ce e9 ba 99 aa c7 4b 9b df 4c bf 3d 23 e1 b9 06 00 00 00 01 00 00 00 01 00 00 00 "
                            "00 00 00 00 7e 2f 8e c1 3d 93 65 49 b7 d1 1e ef 22 8d 2a f3 02 00 00 00 "
                            "b0 3d dd cb ae 85 66 44 b1 8d 50 4f d8 e7 08 2b"));
            EXPECT_EQ(requests.back().dataLength, 1u);
        }
        devices.Reset();
        enumerator.Reset();
        EXPECT_EQ(scenario.TotalReferences(), 0);
    }
}

TEST_F(ModuleProbeTest, ModuleExistStepsThatFail) {
    Scenario({.modules = {kKrelo}});
    ComPtr<IMMDeviceEnumerator> notACollection;
    ASSERT_EQ(CoCreateInstance(__uuidof(MMDeviceEnumerator), nullptr, CLSCTX_ALL, IID_PPV_ARGS(&notACollection)), S_OK);
    EXPECT_EQ(helper.SonavelModuleExist(notACollection.Get(), 0, 0), E_NOINTERFACE);
    EXPECT_TRUE(Logged(3, kExist, L"Query interface IMMDeviceCollection failed."));
    notACollection.Reset();

    struct Case {
        const char* method;  // failing once, or null
        UINT32 device;
        UINT32 connector;
        HRESULT result;
        std::wstring line;
    };
    const Case cases[] = {
        {nullptr, 1, 0, E_INVALIDARG, Failure(L"Failed to get device: ", E_INVALIDARG)},
        {nullptr, 0, 3, E_INVALIDARG, Failure(L"Failed to get connector: ", E_INVALIDARG)},
        {"IMMDevice::Activate", 0, 0, E_ABORT, Failure(L"Failed to active device IDeviceTopology: ", E_ABORT)},
        {"IPart::GetLocalId", 0, 0, E_ABORT, Failure(L"Failed to get local id: ", E_ABORT)},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.line);
        if (c.method != nullptr) platform.FailMethod(c.method, E_ABORT, 1);
        Log().Clear();
        EXPECT_EQ(helper.SonavelModuleExist(collection.Get(), c.device, c.connector), c.result);
        EXPECT_TRUE(Logged(3, kExist, c.line));
    }
    platform.FailMethodCall("IMMDevice::Activate", 2, E_ABORT);
    EXPECT_EQ(helper.SonavelModuleExist(collection.Get(), 0, 0), E_ABORT);
    EXPECT_TRUE(Logged(3, kExist, Failure(L"Failed to active device IKsControl: ", E_ABORT)));
    EXPECT_EQ(helper.SonavelModuleExist(collection.Get(), 0, 0), S_OK);
}

}  // namespace
}  // namespace kelix::test
