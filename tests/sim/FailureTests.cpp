#include <cstring>
#include <functional>
#include <string>
#include <type_traits>

#include "SimTestSupport.h"

namespace simtest {
namespace {

// The objects a product holds while it works on one endpoint's store.
struct Chain {
    ComPtr<IMMDeviceEnumerator> enumerator;
    ComPtr<IMMDeviceCollection> collection;
    ComPtr<IMMDevice> device;
    ComPtr<IMMEndpoint> endpoint;
    ComPtr<IPropertyStore> store;
};

// One call of a method; `documented` says whether its out-parameter holds what the contract
// promises: null after a failure for pointers and strings, untouched for plain values.
struct Outcome {
    HRESULT hr;
    bool documented;
};

template <class T, class Call>  // interface pointers and CoTaskMem strings
Outcome Ptr(Call call) {
    T* out = SentinelPointer<T>();
    const HRESULT hr = call(&out);
    if (FAILED(hr)) return {hr, out == nullptr};
    if constexpr (std::is_same_v<T, WCHAR>) CoTaskMemFree(out);
    else out->Release();
    return {hr, out != SentinelPointer<T>()};
}

template <class T, class Call>  // plain values
Outcome Val(T sentinel, Call call) {
    T out = sentinel;
    const HRESULT hr = call(&out);
    return {hr, SUCCEEDED(hr) || std::memcmp(&out, &sentinel, sizeof out) == 0};
}

const PROPERTYKEY kKey = {{0x1b3c5d7e, 0x2a4b, 0x4c6d, {0x8e, 0x9f, 0xa0, 0xb1, 0xc2, 0xd3, 0xe4, 0xf5}}, 3};

// One method of each kind of out-parameter: every method fails through the one entry check
// these share, and the fault sweeps of the product's tests fail every call the product makes.
const struct {
    const char* method;
    std::function<Outcome(Chain&)> call;
} kFailureCases[] = {
    {"CoCreateInstance(MMDeviceEnumerator)", [](Chain&) { return Ptr<IMMDeviceEnumerator>([](IMMDeviceEnumerator** out) {
         return CoCreateInstance(__uuidof(MMDeviceEnumerator), nullptr, CLSCTX_ALL, IID_PPV_ARGS(out)); }); }},
    {"IMMDeviceCollection::GetCount",
     [](Chain& c) { return Val<UINT>(0xBAAD, [&](UINT* out) { return c.collection->GetCount(out); }); }},
    {"IMMDevice::GetId", [](Chain& c) { return Ptr<WCHAR>([&](LPWSTR* out) { return c.device->GetId(out); }); }},
    {"IMMEndpoint::GetDataFlow", [](Chain& c) {
         return Val<EDataFlow>(EDataFlow_enum_count, [&](EDataFlow* out) { return c.endpoint->GetDataFlow(out); }); }},
    {"IPropertyStore::GetValue", [](Chain& c) {
         PROPVARIANT sentinel{};
         sentinel.vt = VT_ILLEGAL;
         return Val<PROPVARIANT>(sentinel, [&](PROPVARIANT* out) { return c.store->GetValue(kKey, out); }); }},
};

class SimFailuresTable : public SimFixture {
protected:
    Chain Build() {
        Chain c;
        c.enumerator = Enumerator();
        EXPECT_HR(S_OK, c.enumerator->EnumAudioEndpoints(eRender, DEVICE_STATE_ACTIVE, &c.collection));
        c.device = Device(kRender);
        EXPECT_HR(S_OK, c.device.As(&c.endpoint));
        EXPECT_HR(S_OK, c.device->OpenPropertyStore(STGM_READWRITE, &c.store));
        PROPVARIANT value{};
        value.vt = VT_I4;
        EXPECT_HR(S_OK, c.store->SetValue(kKey, value));
        return c;
    }
};

TEST_F(SimFailuresTable, EachMethodFailsExactlyAsInjectedAndLeaksNothing) {
    const HRESULT injected = HRESULT_FROM_WIN32(ERROR_GEN_FAILURE);
    for (const auto& c : kFailureCases) {
        SCOPED_TRACE(c.method);
        Chain chain = Build();
        ASSERT_FALSE(testing::Test::HasFailure());
        const long baseline = platform.TotalReferences();
        const int calls = platform.Calls(c.method);

        platform.FailMethod(c.method, injected, 2);
        for (int i = 0; i < 2; ++i) {
            const Outcome failed = c.call(chain);
            EXPECT_HR(injected, failed.hr);
            EXPECT_TRUE(failed.documented) << "out-parameter written by a failing call";
        }
        EXPECT_EQ(baseline, platform.TotalReferences()) << "a failing call left a reference";
        const Outcome after = c.call(chain);
        EXPECT_HR(S_OK, after.hr) << "still failing after its count ran out";
        EXPECT_TRUE(after.documented);
        EXPECT_EQ(calls + 3, platform.Calls(c.method)) << "failed calls count too";
        EXPECT_EQ(baseline, platform.TotalReferences());
    }
}

// The record names every call in order, failed ones included. A failure by position hits that
// one call, whatever its method, ahead of a failure injected by name, which then comes next.
// (A method's n-th call failing, and the methods called: PPAPIHelperTest.EachPlatformCallFailingInTurn.)
TEST_F(SimFailuresTable, CallByPositionFailsOnceAndTheRecordKeepsTheOrder) {
    ComPtr<IMMDevice> device = Device(kRender);
    platform.RecordCalls(true);
    platform.FailMethod("IMMDevice::OpenPropertyStore", E_ACCESSDENIED, 1);
    platform.FailCall(1, E_OUTOFMEMORY);
    ComPtr<IPropertyStore> store;
    DWORD state = 0;
    EXPECT_HR(E_OUTOFMEMORY, device->OpenPropertyStore(STGM_READ, &store));
    EXPECT_HR(E_ACCESSDENIED, device->OpenPropertyStore(STGM_READ, &store));
    EXPECT_HR(S_OK, device->GetState(&state));
    EXPECT_HR(S_OK, device->OpenPropertyStore(STGM_READ, &store));
    const std::vector<std::string> expected = {"IMMDevice::OpenPropertyStore", "IMMDevice::OpenPropertyStore",
                                               "IMMDevice::GetState", "IMMDevice::OpenPropertyStore"};
    EXPECT_EQ(expected, platform.RecordedCalls());
}

}  // namespace
}  // namespace simtest
