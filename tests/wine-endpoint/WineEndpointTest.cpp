// The DLL against Wine's own Core Audio endpoint (an ALSA null device): the
// property-store route on a real, registry-backed store that accepts only
// VT_UI4, VT_BLOB and VT_LPWSTR, and the topology walk on an endpoint that has
// no device topology.
#include <windows.h>
#include <mmdeviceapi.h>
#include <wrl/client.h>

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "DllUnderTest.h"
#include "WineEndpoint.h"
#include "LogCapture.h"
#include "PPAPIHelper.h"
#include "Words.h"
#include "core/ParameterCatalogue.h"

using Microsoft::WRL::ComPtr;

namespace kelix::test {
namespace {

std::wstring Failure(const std::wstring& message, HRESULT hr) {
    wchar_t code[16];
    _snwprintf(code, 16, L"[0x%.8x]", static_cast<unsigned>(hr));
    return message + code + SystemText(hr);
}

PROPERTYKEY ToPropertyKey(const PropertyKey& key) {
    PROPERTYKEY out;
    std::memcpy(&out.fmtid, &key.fmtid, sizeof out.fmtid);
    out.pid = key.pid;
    return out;
}

class WineEndpointTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(dll.Loaded());
        ASSERT_EQ(CoCreateInstance(__uuidof(MMDeviceEnumerator), nullptr, CLSCTX_ALL, IID_PPV_ARGS(&enumerator)), S_OK);
        const HRESULT hr = enumerator->GetDefaultAudioEndpoint(eRender, eConsole, &device);
        if (hr == HRESULT_FROM_WIN32(ERROR_NOT_FOUND)) {
            if (Required()) FAIL() << "Wine shows no endpoint with the ALSA null device";
            GTEST_SKIP() << "Wine shows no endpoint: ALSA null device not configured";
        }
        ASSERT_EQ(hr, S_OK) << Hex(hr);
        wchar_t* id = nullptr;
        ASSERT_EQ(device->GetId(&id), S_OK);
        deviceId = id;
        CoTaskMemFree(id);
    }

    LogCapture log;
    DllUnderTest dll;
    ComPtr<IMMDeviceEnumerator> enumerator;
    ComPtr<IMMDevice> device;
    std::wstring deviceId;
};

TEST_F(WineEndpointTest, EveryCatalogueIdLandsUnderItsKey) {
    wchar_t* handle = nullptr;
    ASSERT_EQ(dll.Open(&handle, nullptr), S_OK);
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(std::wstring(handle), deviceId);

    // A distinct value per id, so that a value under the wrong key shows.
    const auto valueFor = [](ParameterId id) { return 0xA0000000u + static_cast<ULONG>(id) * 3u; };
    int rows = 0;
    for (const auto& [id, info] : ParameterCatalogue()) {
        PROPVARIANT value;
        value.vt = VT_UI4;
        value.ulVal = valueFor(id);
        EXPECT_EQ(dll.SetVariant(handle, id, &value, KELIX_ROUTE_PROPERTY_STORE), S_OK) << id;
        ++rows;
    }
    EXPECT_EQ(rows, 91);

    ComPtr<IPropertyStore> store;
    ASSERT_EQ(device->OpenPropertyStore(STGM_READ, &store), S_OK);
    for (const auto& [id, info] : ParameterCatalogue()) {
        PROPVARIANT stored;
        PropVariantInit(&stored);
        ASSERT_EQ(store->GetValue(ToPropertyKey(info.key), &stored), S_OK) << id;
        EXPECT_EQ(stored.vt, VT_UI4) << id;
        EXPECT_EQ(stored.ulVal, valueFor(id)) << id;
        PropVariantClear(&stored);
    }

    // Read back through the export as a scalar.
    UINT32 read = 0;
    UINT32 size = sizeof read;
    ASSERT_EQ(dll.Get(handle, KELIX_PEX_POSTGAIN, &read, &size, KELIX_ROUTE_PROPERTY_STORE), S_OK);
    EXPECT_EQ(read, valueFor(KELIX_PEX_POSTGAIN));
    EXPECT_EQ(dll.Close(handle), S_OK);
}

TEST_F(WineEndpointTest, StoreRefusalOfVtI4PassesThroughUnchanged) {
    wchar_t* handle = nullptr;
    ASSERT_EQ(dll.Open(&handle, deviceId.c_str()), S_OK);
    INT32 gain = -6;
    EXPECT_EQ(dll.Set(handle, KELIX_PEX_POSTGAIN, &gain, sizeof gain, KELIX_ROUTE_PROPERTY_STORE), E_INVALIDARG);
    EXPECT_TRUE(log.Has(3, L"ApoController.cpp", L"ApoController::SetParameter",
                        Failure(L"Set property key [pex_postgain, {F112024A-FE30-42A8-80AB-8DD825A06F78}, 4] failed: ",
                                E_INVALIDARG)));
    EXPECT_EQ(dll.Close(handle), S_OK);
}

// Blobs put into the store by another writer (as the effect's tuning tools do)
// read back in the caller layouts (each layout's conversion: StoredToCallerTest).
TEST_F(WineEndpointTest, BlobsReadBackInCallerLayouts) {
    struct Case {
        ParameterId id;
        std::vector<BYTE> blob;
        std::vector<BYTE> caller;
    };
    const Case cases[] = {
        {1114, Bytes(Join({{3, 20}, Iota(20, 1), {20}, Iota(20, 21)})), Bytes(Join({{3}, Iota(40, 1)}))},
        {2105, {5, 0, 0, 0, 1, 2, 3, 4, 5, 0, 0, 0}, {5, 0, 0, 0, 1, 2, 3, 4, 5, 0, 0, 0}},
    };
    ComPtr<IPropertyStore> store;
    ASSERT_EQ(device->OpenPropertyStore(STGM_READWRITE, &store), S_OK);
    wchar_t* handle = nullptr;
    ASSERT_EQ(dll.Open(&handle, deviceId.c_str()), S_OK);
    for (const Case& c : cases) {
        std::vector<BYTE> blob = c.blob;
        PROPVARIANT value;
        value.vt = VT_BLOB;
        value.blob.cbSize = static_cast<ULONG>(blob.size());
        value.blob.pBlobData = blob.data();
        ASSERT_EQ(store->SetValue(ToPropertyKey(LookupParameter(c.id).key), value), S_OK) << c.id;
        std::vector<BYTE> read(c.caller.size(), 0xAA);
        UINT32 size = static_cast<UINT32>(read.size());
        ASSERT_EQ(dll.Get(handle, c.id, read.data(), &size, KELIX_ROUTE_PROPERTY_STORE), S_OK) << c.id;
        EXPECT_EQ(read, c.caller) << c.id;
    }
    // Wine has no policy-configuration object: no effect is detected.
    wchar_t version[4] = {L'#', L'#', L'#', L'#'};
    UINT32 size = sizeof version;
    EXPECT_EQ(dll.Get(handle, KELIX_PEX_VERSION, version, &size, KELIX_ROUTE_PROPERTY_STORE), S_OK);
    EXPECT_EQ(size, 0u);
    EXPECT_EQ(version[0], L'\0');
    EXPECT_EQ(dll.Close(handle), S_OK);
}

// Wine's endpoint has no device topology (Activate answers E_NOINTERFACE): the walk ends
// there, cleanly and without a module.
TEST_F(WineEndpointTest, TopologyWalkEndsWithoutAModuleAtTheMissingTopology) {
    ComPtr<IMMDeviceCollection> devices;
    ASSERT_EQ(enumerator->EnumAudioEndpoints(eRender, DEVICE_STATE_ACTIVE, &devices), S_OK);
    UINT count = 0;
    ASSERT_EQ(devices->GetCount(&count), S_OK);
    CPPAPIHelper helper;
    EXPECT_EQ(helper.PPInitialize(GUID_NULL), E_NOINTERFACE);
    EXPECT_TRUE(helper.Modules().empty());
    EXPECT_TRUE(log.Has(4, L"PPAPIHelper.cpp", L"CPPAPIHelper::PPInitialize", L"Devices count: " + std::to_wstring(count)));
    EXPECT_TRUE(log.Has(3, L"PPAPIHelper.cpp", L"CPPAPIHelper::PPInitialize",
                        Failure(L"Device activation failed! ", E_NOINTERFACE)));

    EXPECT_EQ(helper.SonavelModuleExist(devices.Get(), 0, 0), E_NOINTERFACE);
    EXPECT_TRUE(log.Has(3, L"PPAPIHelper.cpp", L"CPPAPIHelper::SonavelModuleExist",
                        Failure(L"Failed to active device IDeviceTopology: ", E_NOINTERFACE)));
}

}  // namespace
}  // namespace kelix::test
