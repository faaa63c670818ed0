#include <tuple>
#include <utility>
#include <vector>

#include "SimTestSupport.h"

namespace simtest {
namespace {

using SimInstallation = SimFixture;
using SimEnumerator = SimFixture;
using SimDevice = SimFixture;

TEST_F(SimInstallation, ClientCoCreateInstanceReachesThePlatformUntilRevoked) {
    {
        ComPtr<IMMDeviceEnumerator> enumerator = Enumerator();
        ASSERT_NE(nullptr, enumerator.Get());
        EXPECT_EQ(1, platform.Calls("CoCreateInstance(MMDeviceEnumerator)"));
        EXPECT_EQ(1, platform.References("IMMDeviceEnumerator"));
        // One process-wide enumerator, as on Windows: the same object, one reference count.
        ComPtr<IMMDeviceEnumerator> second = Enumerator();
        EXPECT_EQ(enumerator.Get(), second.Get());
        EXPECT_EQ(1, platform.Objects("IMMDeviceEnumerator"));
        EXPECT_EQ(3UL, second->AddRef());
        EXPECT_EQ(2UL, enumerator->Release());
    }
    EXPECT_EQ(0, platform.References("IMMDeviceEnumerator"));
    EXPECT_EQ(0, platform.Objects("IMMDeviceEnumerator"));

    installation.reset();
    ComPtr<IMMDeviceEnumerator> system;
    CoCreateInstance(__uuidof(MMDeviceEnumerator), nullptr, CLSCTX_ALL, IID_PPV_ARGS(&system));
    EXPECT_EQ(2, platform.Calls("CoCreateInstance(MMDeviceEnumerator)")) << "revoked class object still used";
}

TEST(SimInstallationWithoutCom, RegistrationFailsAndRevokesNothing) {
    sim::Platform platform;
    EXPECT_HR(CO_E_NOTINITIALIZED, sim::Installation(platform).Result());
}

TEST_F(SimEnumerator, EnumAudioEndpointsFiltersByFlowAndStateInOrderAdded) {
    struct Case {
        EDataFlow flow;
        DWORD mask;
        std::vector<std::wstring> ids;
    };
    const Case cases[] = {
        {eRender, DEVICE_STATE_ACTIVE, {kRender, kRenderSecond}},
        {eCapture, DEVICE_STATE_ACTIVE, {kCapture}},
        {eAll, DEVICE_STATE_ACTIVE, {kRender, kCapture, kRenderSecond}},
        {eRender, DEVICE_STATE_DISABLED | DEVICE_STATE_UNPLUGGED, {kRenderDisabled, kRenderUnplugged}},
        {eAll, DEVICE_STATEMASK_ALL, {kRenderDisabled, kRender, kCapture, kRenderSecond, kRenderUnplugged, kCaptureAbsent}},
        {eCapture, DEVICE_STATE_UNPLUGGED, {}},
    };
    ComPtr<IMMDeviceEnumerator> enumerator = Enumerator();
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "flow " << c.flow << " mask " << c.mask);
        ComPtr<IMMDeviceCollection> collection;
        ASSERT_HR(S_OK, enumerator->EnumAudioEndpoints(c.flow, c.mask, &collection));
        UINT count = 0xBAAD;
        ASSERT_HR(S_OK, collection->GetCount(&count));
        std::vector<std::wstring> ids;
        for (UINT i = 0; i < count; ++i) {
            ComPtr<IMMDevice> device;
            ASSERT_HR(S_OK, collection->Item(i, &device));
            ids.push_back(IdOf(device.Get()));
        }
        EXPECT_EQ(c.ids, ids);
        IMMDevice* beyond = SentinelPointer<IMMDevice>();
        EXPECT_HR(E_INVALIDARG, collection->Item(count, &beyond));
        EXPECT_EQ(nullptr, beyond);
    }
}

TEST_F(SimEnumerator, InvalidArgumentsAnswerWithNullOut) {
    ComPtr<IMMDeviceEnumerator> enumerator = Enumerator();
    IMMDeviceCollection* collection = SentinelPointer<IMMDeviceCollection>();
    EXPECT_HR(E_INVALIDARG, enumerator->EnumAudioEndpoints(EDataFlow_enum_count, DEVICE_STATE_ACTIVE, &collection));
    EXPECT_EQ(nullptr, collection);
    collection = SentinelPointer<IMMDeviceCollection>();
    EXPECT_HR(E_INVALIDARG, enumerator->EnumAudioEndpoints(eRender, 0x10, &collection));
    EXPECT_EQ(nullptr, collection);

    // An endpoint id that names nothing is not found; what is no endpoint id is an invalid argument.
    const std::pair<const wchar_t*, HRESULT> lookups[] = {
        {L"{0.0.0.00000000}.{no-such-endpoint}", kNotFound}, {L"", E_INVALIDARG}, {L"speakers", E_INVALIDARG},
        {L"{0.0.0.00000000}", E_INVALIDARG}, {L"{speakers}.{x}", E_INVALIDARG}};
    IMMDevice* device = nullptr;
    for (const auto& [id, expected] : lookups) {
        device = SentinelPointer<IMMDevice>();
        EXPECT_HR(expected, enumerator->GetDevice(id, &device)) << "id \"" << testing::PrintToString(std::wstring(id)) << "\"";
        EXPECT_EQ(nullptr, device);
    }
    device = SentinelPointer<IMMDevice>();
    EXPECT_HR(E_POINTER, enumerator->GetDevice(nullptr, &device));
    EXPECT_EQ(nullptr, device);

    device = SentinelPointer<IMMDevice>();
    EXPECT_HR(E_INVALIDARG, enumerator->GetDefaultAudioEndpoint(eAll, eConsole, &device));
    EXPECT_EQ(nullptr, device);
    EXPECT_HR(E_INVALIDARG, enumerator->GetDefaultAudioEndpoint(eRender, ERole_enum_count, &device));
}

TEST_F(SimEnumerator, NotificationClientUnregistersOnceAfterRegistering) {
    ComPtr<IMMDeviceEnumerator> enumerator = Enumerator();
    IMMNotificationClient* const client = SentinelPointer<IMMNotificationClient>();  // never called
    IMMNotificationClient* const other = client + 1;
    EXPECT_HR(kNotFound, enumerator->UnregisterEndpointNotificationCallback(client)) << "never registered";
    EXPECT_HR(S_OK, enumerator->RegisterEndpointNotificationCallback(client));
    EXPECT_HR(kNotFound, Enumerator()->UnregisterEndpointNotificationCallback(other));
    EXPECT_HR(S_OK, Enumerator()->UnregisterEndpointNotificationCallback(client)) << "the same enumerator keeps it";
    EXPECT_HR(kNotFound, enumerator->UnregisterEndpointNotificationCallback(client)) << "removed already";
    EXPECT_HR(E_POINTER, enumerator->UnregisterEndpointNotificationCallback(nullptr));
}

TEST_F(SimEnumerator, DefaultEndpointPerFlowAndRole) {
    const std::wstring none;  // expect 0x80070490
    constexpr DWORD active = DEVICE_STATE_ACTIVE, unplugged = DEVICE_STATE_UNPLUGGED;
    struct Case {
        const char* name;
        DWORD captureState;
        std::vector<std::tuple<EDataFlow, ERole, std::wstring>> chosen;
        EDataFlow flow;
        ERole role;
        std::wstring expected;
    };
    const Case cases[] = {
        {"first active render serves console", active, {}, eRender, eConsole, kRender},
        {"first active render serves communications", active, {}, eRender, eCommunications, kRender},
        {"first active capture", active, {}, eCapture, eMultimedia, kCapture},
        {"no active capture", unplugged, {}, eCapture, eMultimedia, none},
        {"chosen for its role only", active, {{eRender, eCommunications, kRenderSecond}}, eRender, eCommunications, kRenderSecond},
        {"other roles keep the automatic choice", active, {{eRender, eCommunications, kRenderSecond}}, eRender, eConsole, kRender},
        {"chosen endpoint disabled", active, {{eRender, eConsole, kRenderDisabled}}, eRender, eConsole, none},
        {"chosen endpoint of the other flow", active, {{eRender, eConsole, kCapture}}, eRender, eConsole, none},
        {"chosen id unknown", active, {{eRender, eConsole, L"{gone}"}}, eRender, eConsole, none},
        {"empty id restores automatic", active, {{eRender, eConsole, kRenderSecond}, {eRender, eConsole, L""}}, eRender, eConsole, kRender},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        sim::Platform local;
        local.AddEndpoint({kRenderDisabled, eRender, DEVICE_STATE_DISABLED});
        local.AddEndpoint({kRender, eRender});
        local.AddEndpoint({kRenderSecond, eRender});
        local.AddEndpoint({kCapture, eCapture, c.captureState});
        for (const auto& [flow, role, id] : c.chosen) local.SetDefault(flow, role, id);
        ComPtr<IMMDeviceEnumerator> enumerator;
        ASSERT_HR(S_OK, local.CreateClassFactory()->CreateInstance(nullptr, IID_PPV_ARGS(&enumerator)));
        IMMDevice* device = SentinelPointer<IMMDevice>();
        const HRESULT hr = enumerator->GetDefaultAudioEndpoint(c.flow, c.role, &device);
        if (c.expected.empty()) {
            EXPECT_HR(kNotFound, hr);
            EXPECT_EQ(nullptr, device);
        } else {
            ASSERT_HR(S_OK, hr);
            EXPECT_EQ(c.expected, IdOf(device));
            device->Release();
        }
        enumerator.Reset();
        EXPECT_EQ(0, local.TotalReferences());
    }
}

TEST_F(SimDevice, AnswersItsEndpointInAnyState) {
    ComPtr<IMMDevice> device = Device(kCaptureAbsent);
    EXPECT_EQ(std::wstring(kCaptureAbsent), IdOf(device.Get()));
    DWORD state = 0xBAAD;
    EXPECT_HR(S_OK, device->GetState(&state));
    EXPECT_EQ(DWORD{DEVICE_STATE_NOTPRESENT}, state);

    ComPtr<IMMEndpoint> endpoint;
    ASSERT_HR(S_OK, device.As(&endpoint));
    EXPECT_EQ(2, platform.References("IMMDevice")) << "IMMEndpoint counts with its device";
    EXPECT_EQ(1, platform.Objects("IMMDevice"));
    EDataFlow flow = eAll;
    EXPECT_HR(S_OK, endpoint->GetDataFlow(&flow));
    EXPECT_EQ(eCapture, flow);
}

TEST_F(SimDevice, UnsupportedInterfacesAnswerNoInterfaceWithNullOut) {
    ComPtr<IMMDevice> device = Device(kRender);
    void* out = SentinelPointer<void>();
    EXPECT_HR(E_NOINTERFACE, device->QueryInterface(__uuidof(IPropertyStore), &out));
    EXPECT_EQ(nullptr, out);
    out = SentinelPointer<void>();
    EXPECT_HR(E_NOINTERFACE, Enumerator()->QueryInterface(__uuidof(IMMDevice), &out));
    EXPECT_EQ(nullptr, out);
}

TEST(SimPlatformLifetime, ObjectReleasedAfterItsPlatformDoesNotCrash) {
    ComPtr<IMMDevice> device;
    {
        sim::Platform platform;
        platform.AddEndpoint({kRender, eRender});
        ComPtr<IMMDeviceEnumerator> enumerator;
        ASSERT_HR(S_OK, platform.CreateClassFactory()->CreateInstance(nullptr, IID_PPV_ARGS(&enumerator)));
        ASSERT_HR(S_OK, enumerator->GetDevice(kRender, &device));
        EXPECT_EQ(2, platform.TotalReferences());
    }
    DWORD state = 0;
    EXPECT_HR(S_OK, device->GetState(&state));
    device.Reset();
}

TEST(SimPlatformNames, UnknownNamesThrowInsteadOfDoingNothing) {
    sim::Platform platform;
    EXPECT_THROW(platform.FailMethod("IMMDevice::GetIds", E_FAIL), std::invalid_argument);
    EXPECT_THROW(platform.FailMethod("IMMDevice::GetId", S_FALSE), std::invalid_argument);
    EXPECT_THROW(platform.Calls("IPropertyStore::Get"), std::invalid_argument);
    EXPECT_THROW(platform.References("IMMEndpoint"), std::invalid_argument);
    platform.AddEndpoint({kRender, eRender});
    EXPECT_THROW(platform.AddEndpoint({kRender, eCapture}), std::invalid_argument);
    EXPECT_THROW(platform.AddEndpoint({L"x", eAll}), std::invalid_argument);
}

}  // namespace
}  // namespace simtest
