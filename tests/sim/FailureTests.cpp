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
    {"IPropertyStore::GetValue", [](Chain& c) {
         PROPVARIANT sentinel{};
         sentinel.vt = VT_ILLEGAL;
         return Val<PROPVARIANT>(sentinel, [&](PROPVARIANT* out) { return c.store->GetValue(kKey, out); }); }},
};

using SimFailuresTable = SimFixture;

TEST_F(SimFailuresTable, EachMethodFailsExactlyAsInjectedAndLeaksNothing) {
    const HRESULT injected = HRESULT_FROM_WIN32(ERROR_GEN_FAILURE);
    for (const auto& c : kFailureCases) {
        SCOPED_TRACE(c.method);
        Chain chain{Enumerator(), nullptr, Device(kRender), nullptr};
        EXPECT_HR(S_OK, chain.enumerator->EnumAudioEndpoints(eRender, DEVICE_STATE_ACTIVE, &chain.collection));
        EXPECT_HR(S_OK, chain.device->OpenPropertyStore(STGM_READWRITE, &chain.store));
        PROPVARIANT value{};
        value.vt = VT_I4;
        EXPECT_HR(S_OK, chain.store->SetValue(kKey, value));
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

}  // namespace
}  // namespace simtest
