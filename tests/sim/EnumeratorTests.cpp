#include <audioclient.h>
#include <devicetopology.h>

#include <functional>
#include <utility>
#include <vector>

#include "SimTestSupport.h"

namespace simtest {
namespace {

using SimEnumerator = SimFixture;

// The endpoints of the flow and states asked for, in the order they were added.
TEST_F(SimEnumerator, EnumAudioEndpointsFiltersByFlowAndStateInOrderAdded) {
    struct Case {
        EDataFlow flow;
        DWORD mask;
        std::vector<std::wstring> ids;
    };
    const Case cases[] = {
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

// What a client would notice: one process-wide enumerator; the answers to ids, flows, roles,
// interfaces and callbacks that Windows refuses, and failures a test injects, each with a null
// out-parameter. Every method fails through the one entry check they share; the fault sweeps of
// the product's tests fail every call the product makes, and the fixture's end finds a reference a
// failing call left.
TEST_F(SimEnumerator, AnswersAsWindowsWhereAClientWouldNotice) {
    // One process-wide enumerator, as on Windows: the same object, one reference count.
    ComPtr<IMMDeviceEnumerator> enumerator = Enumerator();
    ComPtr<IMMDeviceEnumerator> second = Enumerator();
    EXPECT_EQ(enumerator.Get(), second.Get());
    EXPECT_EQ(2, platform.Calls("CoCreateInstance(MMDeviceEnumerator)"));
    EXPECT_EQ(1, platform.Objects("IMMDeviceEnumerator"));
    EXPECT_EQ(3UL, second->AddRef());
    EXPECT_EQ(2UL, enumerator->Release());
    ComPtr<IMMDevice> render = Device(kRender);
    const HRESULT injected = HRESULT_FROM_WIN32(ERROR_GEN_FAILURE);
    const auto inject = [&](const char* method) { platform.FailMethod(method, injected, 1); };
    const struct {
        const char* name;
        std::function<HRESULT(void**)> call;
        HRESULT expected;
    } cases[] = {
        {"no endpoint id", [&](void** out) { return enumerator->GetDevice(L"{speakers}.{x}", reinterpret_cast<IMMDevice**>(out)); }, E_INVALIDARG},
        {"null id", [&](void** out) { return enumerator->GetDevice(nullptr, reinterpret_cast<IMMDevice**>(out)); }, E_POINTER},
        {"unknown flow", [&](void** out) { return enumerator->EnumAudioEndpoints(EDataFlow_enum_count, DEVICE_STATE_ACTIVE, reinterpret_cast<IMMDeviceCollection**>(out)); }, E_INVALIDARG},
        {"unknown state", [&](void** out) { return enumerator->EnumAudioEndpoints(eRender, 0x10, reinterpret_cast<IMMDeviceCollection**>(out)); }, E_INVALIDARG},
        {"default of eAll", [&](void** out) { return enumerator->GetDefaultAudioEndpoint(eAll, eConsole, reinterpret_cast<IMMDevice**>(out)); }, E_INVALIDARG},
        {"no audio client", [&](void** out) { return render->Activate(__uuidof(IAudioClient), CLSCTX_ALL, nullptr, out); }, E_NOINTERFACE},
        {"no topology without a DSP", [&](void** out) { return render->Activate(__uuidof(IDeviceTopology), CLSCTX_ALL, nullptr, out); }, E_NOINTERFACE},
        {"a device is no store", [&](void** out) { return render->QueryInterface(__uuidof(IPropertyStore), out); }, E_NOINTERFACE},
        // Store access: a read-only store opened for writing, a store that opens for nobody, an exclusive store.
        {"read-only store for writing", [&](void** out) { return Device(kRenderSecond)->OpenPropertyStore(STGM_WRITE, reinterpret_cast<IPropertyStore**>(out)); }, E_ACCESSDENIED},
        {"no store", [&](void** out) {
             platform.Find(kRenderSecond)->SetAccess(sim::StoreAccess::None);
             return Device(kRenderSecond)->OpenPropertyStore(STGM_READ, reinterpret_cast<IPropertyStore**>(out)); }, E_ACCESSDENIED},
        {"exclusive store", [&](void** out) { return render->OpenPropertyStore(STGM_READWRITE | STGM_SHARE_EXCLUSIVE, reinterpret_cast<IPropertyStore**>(out)); }, E_INVALIDARG},
        {"injected into CoCreateInstance", [&](void** out) {
             inject("CoCreateInstance(MMDeviceEnumerator)");
             return CoCreateInstance(__uuidof(MMDeviceEnumerator), nullptr, CLSCTX_ALL, __uuidof(IMMDeviceEnumerator), out); }, injected},
        {"injected into a string", [&](void** out) { inject("IMMDevice::GetId"); return render->GetId(reinterpret_cast<LPWSTR*>(out)); }, injected},
    };
    for (const auto& c : cases) {
        void* out = SentinelPointer<void>();
        EXPECT_HR(c.expected, c.call(&out)) << c.name;
        EXPECT_EQ(nullptr, out) << c.name;
    }
    // An injected failure leaves a plain value untouched, counts as a call, and ends after its count.
    ComPtr<IMMDeviceCollection> collection;
    ASSERT_HR(S_OK, enumerator->EnumAudioEndpoints(eRender, DEVICE_STATE_ACTIVE, &collection));
    platform.FailMethod("IMMDeviceCollection::GetCount", injected, 2);
    for (const HRESULT expected : {injected, injected, S_OK}) {
        UINT count = 0xBAAD;
        EXPECT_HR(expected, collection->GetCount(&count));
        EXPECT_EQ(count == 0xBAAD, FAILED(expected)) << count;
    }
    EXPECT_EQ(3, platform.Calls("IMMDeviceCollection::GetCount"));
    // A store opened for reading refuses writes whatever the endpoint allows.
    ComPtr<IPropertyStore> reading;
    ASSERT_HR(S_OK, render->OpenPropertyStore(STGM_READ, &reading));
    PROPVARIANT value{};
    value.vt = VT_UI4;
    EXPECT_HR(STG_E_ACCESSDENIED, reading->SetValue({GUID_NULL, 2}, value));
    EXPECT_HR(STG_E_ACCESSDENIED, reading->Commit());
    // A callback is kept by the process-wide enumerator until unregistered once.
    IMMNotificationClient* const client = SentinelPointer<IMMNotificationClient>();  // never called
    EXPECT_HR(kNotFound, enumerator->UnregisterEndpointNotificationCallback(client)) << "never registered";
    EXPECT_HR(S_OK, enumerator->RegisterEndpointNotificationCallback(client));
    EXPECT_HR(S_OK, Enumerator()->UnregisterEndpointNotificationCallback(client));
    EXPECT_HR(kNotFound, enumerator->UnregisterEndpointNotificationCallback(client)) << "removed already";
}

}  // namespace
}  // namespace simtest
