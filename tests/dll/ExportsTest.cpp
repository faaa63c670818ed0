// The five exports on the property-store route, against the simulated platform,
// with the DLL loaded fresh for every test: opening, the values and their logs,
// caller structures stored and read back.
#include <windows.h>
#include <mmdeviceapi.h>
#include <propvarutil.h>

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "SimulatedEndpointTest.h"
#include "Words.h"

namespace kelix::test {
namespace {

const PROPERTYKEY kPexPostGainKey = PexTuningKey(4);
constexpr PROPERTYKEY kPexBypassKey = {{0x0C5E4949, 0x7A67, 0x4B9E, {0x90, 0x69, 0x1D, 0x62, 0x59, 0x68, 0x24, 0x36}}, 3201};
constexpr PROPERTYKEY kNsBypassKey = {{0x5B5E03CB, 0x8070, 0x420D, {0xB7, 0x94, 0x8A, 0x28, 0xC8, 0x9F, 0x62, 0x74}}, 0};

wchar_t* const kSentinelHandle = reinterpret_cast<wchar_t*>(0x5E47);

using ExportsTest = SimulatedEndpointTest;

constexpr wchar_t kSetFn[] = L"ApoController::SetParameter";
constexpr wchar_t kGetFn[] = L"ApoController::GetParameter";
const std::wstring kGainKey = KeyText(L"pex_postgain", kPexPostGainKey);

// The default is the console role's render endpoint: the one chosen for that role, else the first
// active one; a choice for another role does not count. (A default that cannot be found goes on
// with the empty id: OpenFailuresPassThroughAndLeaveNothing's GetDefaultAudioEndpoint row.)
TEST_F(ExportsTest, OpenDefaultKeepsOnlyTheStoreAndCloseReleasesIt) {
    for (const ERole role : {eConsole, eMultimedia}) {
        SCOPED_TRACE(role);
        platform.SetDefault(eRender, eConsole, L"");
        platform.SetDefault(eRender, role, kHeadset);
        wchar_t* handle = kSentinelHandle;
        ASSERT_EQ(dll.Open(&handle, nullptr), S_OK);
        EXPECT_STREQ(handle, role == eConsole ? kHeadset : kSpeakers);
        EXPECT_EQ(dll.Close(handle), S_OK);
    }
    log.Clear();
    wchar_t* handle = nullptr;
    ASSERT_EQ(dll.Open(&handle, nullptr), S_OK);
    EXPECT_STREQ(handle, kSpeakers);
    EXPECT_EQ(platform.References("IPropertyStore"), 1);
    EXPECT_EQ(platform.TotalReferences(), 1);
    EXPECT_TRUE(log.Has(4, kApo, L"ApoController::Open",
                        OnSpeakers(L"Property store for device[", L"] is [0xXXXXXXXXXXXXXXXX]")));
    const std::pair<int, std::wstring> dspLines[] = {
        {5, L"Enter"}, {3, OnSpeakers(L"Could not find the dsp module for the device [", L"]")}, {5, L" Leave"}};
    for (const auto& [level, message] : dspLines) EXPECT_TRUE(log.Has(level, kDsp, L"DspController::Open", message));

    log.Clear();
    EXPECT_EQ(dll.Close(handle), S_OK);
    EXPECT_EQ(platform.TotalReferences(), 0);
    EXPECT_EQ(platform.Calls("IPropertyStore::Commit"), 0);
    EXPECT_TRUE(log.Has(4, kApo, L"ApoController::Close",
                        OnSpeakers(L"Property store[0xXXXXXXXXXXXXXXXX] for device[", L"] is closed")));
    EXPECT_TRUE(log.Has(3, kDsp, L"DspController::Close", OnSpeakers(L"DSP module for device[", L"] is not opened.")));
}

// The second handle names the same per-endpoint state, which the first close removed.
TEST_F(ExportsTest, OpenTwiceSharesTheStoreUntilTheFirstClose) {
    wchar_t* first = OpenSpeakers();
    wchar_t* second = OpenSpeakers();
    ASSERT_NE(second, nullptr);
    EXPECT_NE(first, second);
    EXPECT_EQ(platform.Calls("IMMDeviceEnumerator::GetDevice"), 1);
    EXPECT_EQ(platform.References("IPropertyStore"), 1);
    EXPECT_TRUE(log.Has(4, kApo, L"ApoController::Open",
                        OnSpeakers(L"Property store for device[", L"] is already opened.")));
    const std::wstring notOpened = OnSpeakers(L"Property store for device[", L"] is not opened.");
    std::int32_t gain = 3;
    UINT32 size = 4;
    Expect({{[&] { return dll.Close(first); }, S_OK},
            {[&] { return dll.Set(second, 1105, &gain, 4, 1); }, E_FAIL, 2, kSetFn, notOpened},
            {[&] { return dll.Get(second, 1105, &gain, &size, 1); }, E_FAIL, 2, kGetFn, notOpened},
            {[&] { return dll.Close(second); }, S_OK, 3, L"ApoController::Close", notOpened}});
    EXPECT_EQ(platform.TotalReferences(), 0);
}

// Open of a named endpoint, and of the default one (null id), whose lookup failures go on with the
// empty id: only a failing enumerator creation comes back as it is.
TEST_F(ExportsTest, OpenFailuresPassThroughAndLeaveNothing) {
    struct Case {
        const wchar_t* deviceId;
        std::string method;
        HRESULT injected, hr;
        const wchar_t* function;
        std::wstring message;
    };
    const HRESULT kNotFound = HRESULT_FROM_WIN32(ERROR_NOT_FOUND), kE = REGDB_E_CLASSNOTREG;
    const wchar_t* open = L"ApoController::Open";
    const wchar_t* byDefault = L"`anonymous-namespace'::GetDefaultDeviceId";
    const Case cases[] = {
        {kSpeakers, "CoCreateInstance(MMDeviceEnumerator)", kE, kE, open,
         L"Failed to create device enumerator: " + Failure(kE)},
        {L"", "", S_OK, E_INVALIDARG, open, L"Failed to find device[]: " + Failure(E_INVALIDARG)},
        {L"{0.0.0.00000000}.{nowhere}", "", S_OK, kNotFound, open,
         L"Failed to find device[{0.0.0.00000000}.{nowhere}]: " + Failure(kNotFound)},
        {kSpeakers, "IMMDeviceEnumerator::GetDevice", E_OUTOFMEMORY, E_OUTOFMEMORY, open,
         OnSpeakers(L"Failed to find device[", L"]: ") + Failure(E_OUTOFMEMORY)},
        {kSpeakers, "IMMDevice::OpenPropertyStore", E_ACCESSDENIED, E_ACCESSDENIED, open,
         L"Failed to open property store in read only mode: " + Failure(E_ACCESSDENIED)},
        {nullptr, "CoCreateInstance(MMDeviceEnumerator)", E_NOINTERFACE, E_NOINTERFACE, byDefault,
         L"Create instance for MMDeviceEnumerator failed: " + Failure(E_NOINTERFACE)},
        {nullptr, "IMMDeviceEnumerator::GetDefaultAudioEndpoint", kNotFound, E_INVALIDARG, byDefault,
         L"Failed to get default device. " + Failure(kNotFound)},
        {nullptr, "IMMDevice::GetId", E_OUTOFMEMORY, E_INVALIDARG, byDefault,
         L"Failed to get device ID of default device. " + Failure(E_OUTOFMEMORY)},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.method + " " + Hex(c.injected));
        log.Clear();
        platform.ClearFailures();
        if (!c.method.empty()) platform.FailMethod(c.method, c.injected);
        wchar_t* handle = kSentinelHandle;
        EXPECT_EQ(dll.Open(&handle, c.deviceId), c.hr) << Hex(c.hr);
        EXPECT_EQ(handle, kSentinelHandle);
        EXPECT_TRUE(log.Has(2, c.function == open ? kApo : kExports, c.function, c.message));
        if (c.deviceId == nullptr && c.hr == E_INVALIDARG) {  // the empty id reached the property-store route
            EXPECT_TRUE(log.Has(2, kApo, open, L"Failed to find device[]: " + Failure(E_INVALIDARG)));
        }
        EXPECT_EQ(platform.TotalReferences(), 0);
    }
    EXPECT_EQ(dll.Open(nullptr, kSpeakers), E_INVALIDARG);
    EXPECT_EQ(dll.Open(nullptr, nullptr), E_INVALIDARG);
    EXPECT_EQ(dll.Close(nullptr), E_INVALIDARG);
}

TEST_F(ExportsTest, ReadOnlyStoreOpensWithSFalseAndRefusesWrites) {
    speakers.SetAccess(sim::StoreAccess::ReadOnly);
    wchar_t* handle = nullptr;
    std::int32_t gain = -6;
    Expect({{[&] { return dll.Open(&handle, kSpeakers); }, S_FALSE, 3, L"ApoController::Open",
             L"Failed to open property store in read write mode, try read only mode again: " + Failure(E_ACCESSDENIED)},
            {[&] { return dll.Set(handle, 1105, &gain, 4, 1); }, STG_E_ACCESSDENIED, 3, kSetFn,
             L"Set property key [" + kGainKey + L"] failed: " + Failure(STG_E_ACCESSDENIED)},
            {[&] { return dll.Close(handle); }, S_OK}});
    EXPECT_EQ(platform.TotalReferences(), 0);
}

// The store route on one handle. Absent: the store answers S_OK with VT_EMPTY, the export E_FAIL.
// Scalars are stored as VT_I4 under their keys, read back and logged with the key. Short: the
// caller's bytes are zeroed first and the size needed comes back. A VT_UI4 above INT32_MAX prints
// as a negative number; a blob lists cbSize / 4 words, the filter configuration its bytes; a value
// without counted data logs as NULL and is never read through.
TEST_F(ExportsTest, StoreRouteValuesAndTheirLogs) {
    wchar_t* handle = OpenSpeakers();
    unsigned char buffer[8];
    std::memset(buffer, 0xAA, sizeof buffer);
    UINT32 size = 8;
    EXPECT_EQ(dll.Get(handle, 1105, buffer, &size, 1), E_FAIL);
    EXPECT_TRUE(log.Has(4, kApo, kGetFn, L"Get property key [" + kGainKey + L"]: NULL"));
    EXPECT_EQ(size, 8u);
    EXPECT_EQ(buffer[0], 0xAA);

    const struct {
        std::int32_t id;
        PROPERTYKEY key;
        const wchar_t* name;
        std::int32_t value;
    } scalars[] = {
        {1105, kPexPostGainKey, L"pex_postgain", -6},
        {1002, kPexBypassKey, L"pex_bypass", 1},
        {2121, KreloTuningKey(15), L"krelo_target_power_level", INT32_MIN},
        {3002, kNsBypassKey, L"ns_bypass", 2147483647},
    };
    for (const auto& c : scalars) {
        SCOPED_TRACE(c.id);
        std::int32_t value = c.value, read = 0x5E5E5E5E;
        size = 4;
        const std::wstring logged = L"[" + KeyText(c.name, c.key) + L"]: " + std::to_wstring(c.value);
        Expect({{[&] { return dll.Set(handle, c.id, &value, 4, 1); }, S_OK, 4, kSetFn, L"Set property key " + logged},
                {[&] { return dll.Get(handle, c.id, &read, &size, 1); }, S_OK, 4, kGetFn,
                 L"Get property key " + logged}});
        EXPECT_EQ(StoredI4(c.key), c.value);
        EXPECT_EQ(read, c.value);
        EXPECT_EQ(size, 4u);
    }
    EXPECT_EQ(platform.Calls("IPropertyStore::Commit"), 0);
    EXPECT_EQ(platform.References("IPropertyStore"), 1);
    size = 2;
    EXPECT_EQ(dll.Get(handle, 1105, buffer, &size, 1), E_INVALIDARG);
    EXPECT_EQ(size, 4u);
    EXPECT_EQ(std::vector<unsigned char>(buffer, buffer + 3), (std::vector<unsigned char>{0, 0, 0xAA}));

    PROPVARIANT unsignedValue, blob, text;
    InitPropVariantFromUInt32(4000000000u, &unsignedValue);
    BYTE bytes[] = {1, 0, 0, 0, 0xFE, 0xFF, 0xFF, 0xFF, 9};
    blob.vt = VT_BLOB;
    blob.blob = {sizeof bytes, bytes};
    text.vt = VT_LPWSTR;
    text.pwszVal = const_cast<wchar_t*>(L"text");
    const std::wstring set = L"Set property key [";
    Expect({{[&] { return dll.SetVariant(handle, 1105, &unsignedValue, 1); }, S_OK, 4, kSetFn,
             set + kGainKey + L"]: -294967296"},
            {[&] { return dll.SetVariant(handle, 1114, &blob, 1); }, S_OK, 4, kSetFn,
             set + KeyText(L"pex_ieq_bands", PexTuningKey(13)) + L"]: 1, -2"},
            {[&] { blob.blob.cbSize = 5; return dll.SetVariant(handle, 2105, &blob, 1); }, S_OK, 4, kSetFn,
             set + KeyText(L"krelo_filter_config", KreloTuningKey(5)) + L"]: 1, 0, 0, 0, 254"},
            {[&] { return dll.SetVariant(handle, 1105, &text, 1); }, S_OK, 4, kSetFn, set + kGainKey + L"]: NULL"}});
    PROPVARIANT stored;
    PropVariantInit(&stored);
    ASSERT_EQ(speakers.GetValue(KreloTuningKey(5), &stored), S_OK);
    ASSERT_EQ(stored.vt, VT_BLOB);
    ASSERT_EQ(stored.blob.cbSize, 5u);
    EXPECT_EQ(std::memcmp(stored.blob.pBlobData, bytes, 5), 0);
    PropVariantClear(&stored);

    platform.FailMethod("IPropertyStore::GetValue", E_UNEXPECTED, 1);
    size = 4;
    Expect({{[&] { return dll.Get(handle, 1105, buffer, &size, 1); }, E_UNEXPECTED, 3, kGetFn,
             L"Get property key [" + kGainKey + L"] failed: " + Failure(E_UNEXPECTED)},
            {[&] { return dll.Close(handle); }, S_OK}});
    EXPECT_EQ(platform.TotalReferences(), 0);
}

// Family ids are refused by the availability test, after the store write of flags 3; ids outside
// both families pass it and reach the DSP controller.
TEST_F(ExportsTest, DspRouteWithoutModules) {
    wchar_t* handle = OpenSpeakers();
    std::int32_t value = 9;
    UINT32 size = 4;
    EXPECT_EQ(dll.Set(handle, 1105, &value, 4, 3), E_INVALIDARG);
    EXPECT_EQ(StoredI4(kPexPostGainKey), 9);
    EXPECT_EQ(dll.Set(handle, 2121, &value, 4, 2), E_INVALIDARG);
    EXPECT_EQ(dll.Get(handle, 1105, &value, &size, 3), E_INVALIDARG);
    EXPECT_EQ(value, 9);  // filled by the store before the DSP route refused
    for (std::int32_t id : {999, 3000, 3002}) {
        SCOPED_TRACE(id);
        log.Clear();
        Expect({{[&] { return dll.Set(handle, id, &value, 4, 2); }, E_INVALIDARG, 3, L"DspController::SetParameter",
                 L"DSP module does NOT support this parameter. ID: [" + std::to_wstring(id) + L"]"},
                {[&] { size = 4; return dll.Get(handle, id, &value, &size, 2); }, E_FAIL, 3,
                 L"DspController::SelectModule",
                 OnSpeakers(L"DSP module for device[", L"] is not opened.")}});
        EXPECT_TRUE(log.Has(4, kApo, L"ApoController::GetFormFactor", L"formFactor = [0]"));
    }
    EXPECT_EQ(dll.Close(handle), S_OK);
    EXPECT_EQ(platform.TotalReferences(), 0);
}

// Counted values above what their caller structure holds: logged and cleared on the way in and
// out, and a read too large for the structure refused. (What is cleared or copied is the value
// layouts' to check: ValueLayoutsTest's CountedLayoutsRefuseCountsThatDoNotFit and
// CopiesStayInsideTheStoredBytes rows.)
TEST_F(ExportsTest, CountedValuesAboveCapacity) {
    wchar_t* handle = OpenSpeakers();
    std::vector<std::uint8_t> large = Bytes({2045});
    large.resize(4 + 2045, 0x77);
    ASSERT_EQ(dll.Set(handle, 2105, large.data(), static_cast<UINT32>(large.size()), 1), S_OK);
    EXPECT_TRUE(log.Has(2, kExports, L"`anonymous-namespace'::ConvertParameterToPropVariant",
                        L"Filter config is too large to set, capacity = 2044 bytes, asked = 2045. Clear filter config "
                        L"to null."));

    // A stored configuration above capacity reads back cleared.
    std::vector<std::int32_t> stored(600, 0x01010101);
    stored[0] = 3000;
    StoreWords(speakers, KreloTuningKey(5), stored);
    std::vector<std::uint8_t> big(2400, 0xAA);
    UINT32 size = 2400;
    EXPECT_EQ(dll.Get(handle, 2105, big.data(), &size, 1), S_OK);
    EXPECT_TRUE(log.Has(2, kExports, L"`anonymous-namespace'::CopyValueToOutputBuffer",
                        L"Filter config is too large to get, capacity = 2044 bytes, asked = 3000. Clear filter config "
                        L"to null."));

    // A stored compressor tuning of more records than the 100-byte structure holds: the count, then E_OUTOFMEMORY.
    std::vector<std::int32_t> records{5};
    for (int record = 0; record < 5; ++record) records = Join({records, {6}, Iota(6, record)});
    StoreWords(speakers, KreloTuningKey(17), records);
    std::vector<std::uint8_t> read(100, 0xAA);
    size = 100;
    EXPECT_EQ(dll.Get(handle, 2116, read.data(), &size, 1), E_OUTOFMEMORY);
    EXPECT_EQ(dll.Close(handle), S_OK);
}

}  // namespace
}  // namespace kelix::test
