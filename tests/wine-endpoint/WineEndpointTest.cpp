// The DLL against Wine's own Core Audio, for what only a real peer shows: with an
// ALSA null device, a registry-backed store that accepts only VT_UI4, VT_BLOB and
// VT_LPWSTR.
#include <gtest/gtest.h>

#include <vector>

#include "DllUnderTest.h"
#include "WineEndpoint.h"
#include "Words.h"

using Microsoft::WRL::ComPtr;

namespace kelix::test {
namespace {

// The keys of pex_postgain and pex_ieq_bands as the parameter reference gives them.
constexpr GUID kPexTuning = {0xF112024A, 0xFE30, 0x42A8, {0x80, 0xAB, 0x8D, 0xD8, 0x25, 0xA0, 0x6F, 0x78}};
constexpr PROPERTYKEY kPostGainKey = {kPexTuning, 4};
constexpr PROPERTYKEY kIeqBandsKey = {kPexTuning, 13};

// The store route on Wine's store: a VT_UI4 lands under the parameter's key and reads back, a
// blob put there by another writer (as the effect's tuning tools do) reads back in the caller
// layout.
TEST(WineEndpointTest, StoreRouteOnWinesStore) {
    DllUnderTest dll;
    ASSERT_TRUE(dll.Loaded());
    ComPtr<IMMDevice> device;
    std::wstring deviceId;
    const HRESULT found = DefaultEndpoint(device, deviceId);
    if (found == HRESULT_FROM_WIN32(ERROR_NOT_FOUND)) {
        // Under ctest, which names the ALSA configuration, a missing endpoint fails; by hand, it skips.
        if (GetEnvironmentVariableW(L"ALSA_CONFIG_PATH", nullptr, 0) != 0) FAIL() << "Wine shows no endpoint";
        GTEST_SKIP() << "Wine shows no endpoint: ALSA null device not configured";
    }
    ASSERT_EQ(found, S_OK) << Hex(found);
    wchar_t* handle = nullptr;
    ASSERT_EQ(dll.Open(&handle, nullptr), S_OK);
    EXPECT_STREQ(handle, deviceId.c_str());
    ComPtr<IPropertyStore> store;
    ASSERT_EQ(device->OpenPropertyStore(STGM_READWRITE, &store), S_OK);

    PROPVARIANT value;
    value.vt = VT_UI4;
    value.ulVal = 0xA0000451;
    EXPECT_EQ(dll.SetVariant(handle, KELIX_PEX_POSTGAIN, &value, KELIX_ROUTE_PROPERTY_STORE), S_OK);
    PROPVARIANT stored;
    PropVariantInit(&stored);
    ASSERT_EQ(store->GetValue(kPostGainKey, &stored), S_OK);
    EXPECT_EQ(stored.vt, VT_UI4);
    EXPECT_EQ(stored.ulVal, 0xA0000451u);
    UINT32 read = 0, size = sizeof read;
    EXPECT_EQ(dll.Get(handle, KELIX_PEX_POSTGAIN, &read, &size, KELIX_ROUTE_PROPERTY_STORE), S_OK);
    EXPECT_EQ(read, 0xA0000451u);

    // The ieq bands as stored (count, then each array behind its length) read as count, a[20], b[20].
    std::vector<BYTE> blob = Bytes(Join({{3, 20}, Iota(20, 1), {20}, Iota(20, 21)}));
    value.vt = VT_BLOB;
    value.blob = {static_cast<ULONG>(blob.size()), blob.data()};
    ASSERT_EQ(store->SetValue(kIeqBandsKey, value), S_OK);
    std::vector<BYTE> bands(164, 0xAA);
    size = static_cast<UINT32>(bands.size());
    EXPECT_EQ(dll.Get(handle, KELIX_PEX_IEQ_BANDS, bands.data(), &size, KELIX_ROUTE_PROPERTY_STORE), S_OK);
    EXPECT_EQ(bands, Bytes(Join({{3}, Iota(40, 1)})));
    EXPECT_EQ(dll.Close(handle), S_OK);
}

}  // namespace
}  // namespace kelix::test
