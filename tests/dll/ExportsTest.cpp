// The five exports on the property-store route, against the simulated platform,
// with the DLL loaded fresh for every test: opening, the values and their logs,
// caller structures stored and read back.
#include <windows.h>
#include <mmdeviceapi.h>
#include <propvarutil.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "SimulatedEndpointTest.h"
#include "Words.h"

namespace kelix::test {
namespace {

const PROPERTYKEY kPexPostGainKey = PexTuningKey(4);
const PROPERTYKEY kKreloTargetPowerKey = KreloTuningKey(15);
constexpr PROPERTYKEY kPexBypassKey = {{0x0C5E4949, 0x7A67, 0x4B9E, {0x90, 0x69, 0x1D, 0x62, 0x59, 0x68, 0x24, 0x36}}, 3201};
constexpr PROPERTYKEY kNsBypassKey = {{0x5B5E03CB, 0x8070, 0x420D, {0xB7, 0x94, 0x8A, 0x28, 0xC8, 0x9F, 0x62, 0x74}}, 0};

wchar_t* const kSentinelHandle = reinterpret_cast<wchar_t*>(0x5E47);

using ExportsTest = SimulatedEndpointTest;

// The default is the console role's render endpoint.
TEST_F(ExportsTest, OpenDefaultKeepsOnlyTheStoreAndCloseReleasesIt) {
    platform.SetDefault(eRender, eMultimedia, kHeadset);
    wchar_t* handle = nullptr;
    ASSERT_EQ(dll.Open(&handle, nullptr), S_OK);
    ASSERT_NE(handle, nullptr);
    EXPECT_STREQ(handle, kSpeakers);
    EXPECT_EQ(platform.References("IPropertyStore"), 1);
    EXPECT_EQ(platform.TotalReferences(), 1);

    std::vector<LogLine> lines = log.Lines();
    ASSERT_GE(lines.size(), 4u);
    EXPECT_EQ(MaskAddresses(lines[0].raw).substr(lines[0].raw.find(L"] ")),
              L"] ApoController::Open: Property store for device[" + std::wstring(kSpeakers) +
                  L"] is [0xXXXXXXXXXXXXXXXX]");
    EXPECT_EQ(lines[0].level, 4);
    EXPECT_TRUE(log.Has(5, kDsp, L"DspController::Open", L"Enter"));
    EXPECT_TRUE(log.Has(3, kDsp, L"DspController::Open",
                        L"Could not find the dsp module for the device [" + std::wstring(kSpeakers) + L"]"));
    EXPECT_TRUE(log.Has(5, kDsp, L"DspController::Open", L" Leave"));

    log.Clear();
    EXPECT_EQ(dll.Close(handle), S_OK);
    EXPECT_EQ(platform.TotalReferences(), 0);
    EXPECT_EQ(platform.Calls("IPropertyStore::Commit"), 0);
    lines = log.Lines();
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines[0].level, 4);
    EXPECT_EQ(MaskAddresses(lines[0].message),
              L"Property store[0xXXXXXXXXXXXXXXXX] for device[" + std::wstring(kSpeakers) + L"] is closed");
    EXPECT_TRUE(log.Has(3, kDsp, L"DspController::Close",
                        L"DSP module for device[" + std::wstring(kSpeakers) + L"] is not opened."));
}

TEST_F(ExportsTest, OpenTwiceSharesTheStoreUntilTheFirstClose) {
    wchar_t* first = OpenSpeakers();
    wchar_t* second = OpenSpeakers();
    ASSERT_NE(second, nullptr);
    EXPECT_NE(first, second);
    EXPECT_EQ(platform.Calls("IMMDeviceEnumerator::GetDevice"), 1);
    EXPECT_EQ(platform.References("IPropertyStore"), 1);
    EXPECT_TRUE(log.Has(4, kApo, L"ApoController::Open",
                        L"Property store for device[" + std::wstring(kSpeakers) + L"] is already opened."));

    // The second handle names the same per-endpoint state, which the first close removed.
    ASSERT_EQ(dll.Close(first), S_OK);
    std::int32_t gain = 3;
    EXPECT_EQ(dll.Set(second, 1105, &gain, 4, 1), E_FAIL);
    EXPECT_TRUE(log.Has(2, kApo, L"ApoController::SetParameter",
                        L"Property store for device[" + std::wstring(kSpeakers) + L"] is not opened."));
    UINT32 size = 4;
    EXPECT_EQ(dll.Get(second, 1105, &gain, &size, 1), E_FAIL);
    EXPECT_TRUE(log.Has(2, kApo, L"ApoController::GetParameter",
                        L"Property store for device[" + std::wstring(kSpeakers) + L"] is not opened."));
    EXPECT_EQ(dll.Close(second), S_OK);
    EXPECT_TRUE(log.Has(3, kApo, L"ApoController::Close",
                        L"Property store for device[" + std::wstring(kSpeakers) + L"] is not opened."));
    EXPECT_EQ(platform.TotalReferences(), 0);
}

TEST_F(ExportsTest, OpenFailuresPassThroughAndLeaveNothing) {
    struct Case {
        const char* name;
        const wchar_t* deviceId;
        std::string method;
        HRESULT hr;
        int level;
        std::wstring message;
    };
    const HRESULT kNotFound = HRESULT_FROM_WIN32(ERROR_NOT_FOUND);
    const Case cases[] = {
        {"enumerator", kSpeakers, "CoCreateInstance(MMDeviceEnumerator)", REGDB_E_CLASSNOTREG, 2,
         L"Failed to create device enumerator: " + Failure(REGDB_E_CLASSNOTREG)},
        {"empty id", L"", "", E_INVALIDARG, 2, L"Failed to find device[]: " + Failure(E_INVALIDARG)},
        {"unknown device", L"{0.0.0.00000000}.{nowhere}", "", kNotFound, 2,
         L"Failed to find device[{0.0.0.00000000}.{nowhere}]: " + Failure(kNotFound)},
        {"device lookup", kSpeakers, "IMMDeviceEnumerator::GetDevice", E_OUTOFMEMORY, 2,
         L"Failed to find device[" + std::wstring(kSpeakers) + L"]: " + Failure(E_OUTOFMEMORY)},
        {"no store", kSpeakers, "IMMDevice::OpenPropertyStore", E_ACCESSDENIED, 2,
         L"Failed to open property store in read only mode: " + Failure(E_ACCESSDENIED)},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        log.Clear();
        platform.ClearFailures();
        if (!c.method.empty()) platform.FailMethod(c.method, c.hr);
        wchar_t* handle = kSentinelHandle;
        EXPECT_EQ(dll.Open(&handle, c.deviceId), c.hr) << Hex(c.hr);
        EXPECT_EQ(handle, kSentinelHandle);
        EXPECT_TRUE(log.Has(c.level, kApo, L"ApoController::Open", c.message));
        EXPECT_EQ(platform.TotalReferences(), 0);
    }
    EXPECT_EQ(dll.Open(nullptr, kSpeakers), E_INVALIDARG);
    EXPECT_EQ(dll.Open(nullptr, nullptr), E_INVALIDARG);
    EXPECT_EQ(dll.Close(nullptr), E_INVALIDARG);
}

TEST_F(ExportsTest, ReadOnlyStoreOpensWithSFalseAndRefusesWrites) {
    speakers.SetAccess(sim::StoreAccess::ReadOnly);
    wchar_t* handle = nullptr;
    ASSERT_EQ(dll.Open(&handle, kSpeakers), S_FALSE);
    EXPECT_TRUE(log.Has(3, kApo, L"ApoController::Open",
                        L"Failed to open property store in read write mode, try read only mode again: " +
                            Failure(E_ACCESSDENIED)));
    std::int32_t gain = -6;
    EXPECT_EQ(dll.Set(handle, 1105, &gain, 4, 1), STG_E_ACCESSDENIED);
    EXPECT_TRUE(log.Has(3, kApo, L"ApoController::SetParameter",
                        L"Set property key [pex_postgain, {F112024A-FE30-42A8-80AB-8DD825A06F78}, 4] failed: " +
                            Failure(STG_E_ACCESSDENIED)));
    EXPECT_EQ(dll.Close(handle), S_OK);
    EXPECT_EQ(platform.TotalReferences(), 0);

    speakers.SetAccess(sim::StoreAccess::None);
    handle = kSentinelHandle;
    EXPECT_EQ(dll.Open(&handle, kSpeakers), E_ACCESSDENIED);
    EXPECT_EQ(handle, kSentinelHandle);
}

TEST_F(ExportsTest, DefaultEndpointFailuresGoOnWithTheEmptyId) {
    struct Case {
        std::string method;
        HRESULT hr;
        std::wstring message;
    };
    const HRESULT kNotFound = HRESULT_FROM_WIN32(ERROR_NOT_FOUND);
    const Case cases[] = {
        // The second creation, in ApoController::Open, fails the same way.
        {"CoCreateInstance(MMDeviceEnumerator)", E_NOINTERFACE,
         L"Create instance for MMDeviceEnumerator failed: " + Failure(E_NOINTERFACE)},
        {"IMMDeviceEnumerator::GetDefaultAudioEndpoint", kNotFound,
         L"Failed to get default device. " + Failure(kNotFound)},
        {"IMMDevice::GetId", E_OUTOFMEMORY, L"Failed to get device ID of default device. " + Failure(E_OUTOFMEMORY)},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.method);
        log.Clear();
        platform.ClearFailures();
        platform.FailMethod(c.method, c.hr);
        wchar_t* handle = kSentinelHandle;
        // Otherwise the store route's lookup of the empty id answers: it is no endpoint id.
        const HRESULT expected = c.method.starts_with("CoCreateInstance") ? c.hr : E_INVALIDARG;
        EXPECT_EQ(dll.Open(&handle, nullptr), expected) << Hex(expected);
        EXPECT_EQ(handle, kSentinelHandle);
        EXPECT_TRUE(log.Has(2, kExports, L"`anonymous-namespace'::GetDefaultDeviceId", c.message));
        EXPECT_EQ(platform.TotalReferences(), 0);
    }
    // The empty id reached the property-store route.
    EXPECT_TRUE(log.Has(2, kApo, L"ApoController::Open", L"Failed to find device[]: " + Failure(E_INVALIDARG)));
}

TEST_F(ExportsTest, ScalarWriteAndReadThroughTheStore) {
    wchar_t* handle = OpenSpeakers();
    struct Case {
        std::int32_t id;
        PROPERTYKEY key;
        const wchar_t* name;
        const wchar_t* fmtid;
        int pid;
        std::int32_t value;
    };
    const Case cases[] = {
        {1105, kPexPostGainKey, L"pex_postgain", L"{F112024A-FE30-42A8-80AB-8DD825A06F78}", 4, -6},
        {1002, kPexBypassKey, L"pex_bypass", L"{0C5E4949-7A67-4B9E-9069-1D6259682436}", 3201, 1},
        {2121, kKreloTargetPowerKey, L"krelo_target_power_level", L"{5510C7AB-DFC2-40D0-A98B-5F77F697005E}", 15,
         INT32_MIN},
        {3002, kNsBypassKey, L"ns_bypass", L"{5B5E03CB-8070-420D-B794-8A28C89F6274}", 0, 2147483647},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.id);
        std::int32_t value = c.value;
        ASSERT_EQ(dll.Set(handle, c.id, &value, 4, 1), S_OK);
        EXPECT_EQ(StoredI4(c.key), c.value);
        const std::wstring key = std::wstring(c.name) + L", " + c.fmtid + L", " + std::to_wstring(c.pid);
        EXPECT_TRUE(log.Has(4, kApo, L"ApoController::SetParameter",
                            L"Set property key [" + key + L"]: " + std::to_wstring(c.value)));

        std::int32_t read = 0x5E5E5E5E;
        UINT32 size = 4;
        ASSERT_EQ(dll.Get(handle, c.id, &read, &size, 1), S_OK);
        EXPECT_EQ(read, c.value);
        EXPECT_EQ(size, 4u);
        EXPECT_TRUE(log.Has(4, kApo, L"ApoController::GetParameter",
                            L"Get property key [" + key + L"]: " + std::to_wstring(c.value)));
    }
    EXPECT_EQ(platform.Calls("IPropertyStore::Commit"), 0);
    EXPECT_EQ(platform.References("IPropertyStore"), 1);
    EXPECT_EQ(dll.Close(handle), S_OK);
    EXPECT_EQ(platform.TotalReferences(), 0);
}

TEST_F(ExportsTest, VariantsAreStoredAsGivenAndLoggedAsCountedValues) {
    wchar_t* handle = OpenSpeakers();
    PROPVARIANT unsignedValue;
    unsignedValue.vt = VT_UI4;
    unsignedValue.ulVal = 4000000000u;
    ASSERT_EQ(dll.SetVariant(handle, 1105, &unsignedValue, 1), S_OK);
    // A VT_UI4 above INT32_MAX prints as a negative number.
    EXPECT_TRUE(log.Has(4, kApo, L"ApoController::SetParameter",
                        L"Set property key [pex_postgain, {F112024A-FE30-42A8-80AB-8DD825A06F78}, 4]: -294967296"));

    // A blob lists cbSize / 4 words; the filter configuration lists its bytes.
    BYTE bytes[] = {1, 0, 0, 0, 0xFE, 0xFF, 0xFF, 0xFF, 9};
    PROPVARIANT blob;
    blob.vt = VT_BLOB;
    blob.blob.cbSize = sizeof bytes;
    blob.blob.pBlobData = bytes;
    ASSERT_EQ(dll.SetVariant(handle, 1114, &blob, 1), S_OK);
    EXPECT_TRUE(log.Has(4, kApo, L"ApoController::SetParameter",
                        L"Set property key [pex_ieq_bands, {F112024A-FE30-42A8-80AB-8DD825A06F78}, 13]: 1, -2"));
    blob.blob.cbSize = 5;
    ASSERT_EQ(dll.SetVariant(handle, 2105, &blob, 1), S_OK);
    EXPECT_TRUE(log.Has(4, kApo, L"ApoController::SetParameter",
                        L"Set property key [krelo_filter_config, {5510C7AB-DFC2-40D0-A98B-5F77F697005E}, 5]: "
                        L"1, 0, 0, 0, 254"));
    PROPVARIANT stored;
    PropVariantInit(&stored);
    ASSERT_EQ(speakers.GetValue(KreloTuningKey(5), &stored), S_OK);
    ASSERT_EQ(stored.vt, VT_BLOB);
    ASSERT_EQ(stored.blob.cbSize, 5u);
    EXPECT_EQ(std::memcmp(stored.blob.pBlobData, bytes, 5), 0);
    PropVariantClear(&stored);

    // A value without counted data logs as NULL and is never read through.
    PROPVARIANT text;
    text.vt = VT_LPWSTR;
    text.pwszVal = const_cast<wchar_t*>(L"text");
    ASSERT_EQ(dll.SetVariant(handle, 1105, &text, 1), S_OK);
    EXPECT_TRUE(log.Has(4, kApo, L"ApoController::SetParameter",
                        L"Set property key [pex_postgain, {F112024A-FE30-42A8-80AB-8DD825A06F78}, 4]: NULL"));
    EXPECT_EQ(dll.Close(handle), S_OK);
}

TEST_F(ExportsTest, ReadsOfAbsentAndShortValues) {
    wchar_t* handle = OpenSpeakers();
    unsigned char buffer[8];
    std::memset(buffer, 0xAA, sizeof buffer);
    UINT32 size = 8;
    // Absent: the store answers S_OK with VT_EMPTY, the export E_FAIL.
    EXPECT_EQ(dll.Get(handle, 1105, buffer, &size, 1), E_FAIL);
    EXPECT_TRUE(log.Has(4, kApo, L"ApoController::GetParameter",
                        L"Get property key [pex_postgain, {F112024A-FE30-42A8-80AB-8DD825A06F78}, 4]: NULL"));
    EXPECT_EQ(size, 8u);
    EXPECT_EQ(buffer[0], 0xAA);

    std::int32_t gain = 77;
    ASSERT_EQ(dll.Set(handle, 1105, &gain, 4, 1), S_OK);
    size = 2;
    EXPECT_EQ(dll.Get(handle, 1105, buffer, &size, 1), E_INVALIDARG);
    EXPECT_EQ(size, 4u);
    EXPECT_EQ(buffer[0], 0);  // the caller's two bytes are zeroed first
    EXPECT_EQ(buffer[1], 0);
    EXPECT_EQ(buffer[2], 0xAA);
    size = 0;
    EXPECT_EQ(dll.Get(handle, 1105, nullptr, &size, 1), E_INVALIDARG);
    EXPECT_EQ(size, 4u);

    platform.FailMethod("IPropertyStore::GetValue", E_UNEXPECTED, 1);
    size = 4;
    EXPECT_EQ(dll.Get(handle, 1105, buffer, &size, 1), E_UNEXPECTED);
    EXPECT_TRUE(log.Has(3, kApo, L"ApoController::GetParameter",
                        L"Get property key [pex_postgain, {F112024A-FE30-42A8-80AB-8DD825A06F78}, 4] failed: " +
                            Failure(E_UNEXPECTED)));
    EXPECT_EQ(dll.Close(handle), S_OK);
}

TEST_F(ExportsTest, DspRouteWithoutModules) {
    wchar_t* handle = OpenSpeakers();
    const std::wstring notOpened = L"DSP module for device[" + std::wstring(kSpeakers) + L"] is not opened.";
    std::int32_t value = 9;
    // Family ids: refused by the availability test, after the store write of flags 3.
    EXPECT_EQ(dll.Set(handle, 1105, &value, 4, 3), E_INVALIDARG);
    EXPECT_EQ(StoredI4(kPexPostGainKey), 9);
    EXPECT_EQ(dll.Set(handle, 2121, &value, 4, 2), E_INVALIDARG);
    UINT32 size = 4;
    EXPECT_EQ(dll.Get(handle, 1105, &value, &size, 3), E_INVALIDARG);
    EXPECT_EQ(value, 9);  // filled by the store before the DSP route refused

    // Ids outside both families pass the availability test and reach the DSP controller.
    for (std::int32_t id : {999, 3000, 3002}) {
        log.Clear();
        EXPECT_EQ(dll.Set(handle, id, &value, 4, 2), E_INVALIDARG) << id;
        EXPECT_TRUE(log.Has(3, kDsp, L"DspController::SetParameter",
                            L"DSP module does NOT support this parameter. ID: [" + std::to_wstring(id) + L"]"));
        EXPECT_TRUE(log.Has(4, kApo, L"ApoController::GetFormFactor", L"formFactor = [0]"));
        size = 4;
        EXPECT_EQ(dll.Get(handle, id, &value, &size, 2), E_FAIL) << id;
        EXPECT_TRUE(log.Has(3, kDsp, L"DspController::SelectModule", notOpened));
    }

    EXPECT_EQ(dll.Close(handle), S_OK);
    EXPECT_EQ(platform.TotalReferences(), 0);
}

// Caller structures on the store route: the words the store receives, written out by hand, and
// the round trip, for one layout of each kind (the layouts of every id are the core's to test).
TEST_F(ExportsTest, StoredWordsAndRoundTripOfEachLayoutKind) {
    wchar_t* handle = OpenSpeakers();
    const auto b = [](int k) { return Iota(20, 1000 + 100 * k); };
    struct Case {
        std::int32_t id;
        PROPERTYKEY key;
        std::vector<std::int32_t> caller;
        std::vector<std::int32_t> stored;
        bool roundTrip;
    };
    const Case cases[] = {
        {1114, PexTuningKey(13), Join({{3}, Iota(20, 1), Iota(20, 21)}),
         Join({{3, 20}, Iota(20, 1), {20}, Iota(20, 21)}), true},
        {1119, PexTuningKey(18), Join({{2}, Iota(20, 1), b(0), b(1), b(2), b(3), b(4), b(5), b(6), b(7), b(8), b(9)}),
         Join({{2, 20}, Iota(20, 1), {20}, b(0), {20}, b(1), {20}, b(2), {20}, b(3), {20}, b(4), {20}, b(5), {20}, b(6),
               {20}, b(7), {20}, b(8), {20}, b(9)}),
         true},
        {1161, PexTuningKey(64), Join({Iota(10, 1), Iota(32, 100)}), Join({Iota(10, 1), {32}, Iota(32, 100)}), false},
        {2116, KreloTuningKey(17), Join({{2}, Iota(6, 1), Iota(6, 7)}), Join({{2, 6}, Iota(6, 1), {6}, Iota(6, 7)}), true},
        {2122, KreloTuningKey(22), Iota(8, 80), Join({{8}, Iota(8, 80)}), true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.id);
        std::vector<std::uint8_t> caller = Bytes(c.caller);
        ASSERT_EQ(dll.Set(handle, c.id, caller.data(), static_cast<UINT32>(caller.size()), 1), S_OK);
        EXPECT_EQ(StoredWords(c.key), c.stored);
        if (!c.roundTrip) continue;

        // The caller's size, with room enough: what the library asks for.
        UINT32 size = 0;
        EXPECT_EQ(dll.Get(handle, c.id, nullptr, &size, 1), E_INVALIDARG);
        ASSERT_LE(size, 4096u);
        std::vector<std::uint8_t> read(std::max<size_t>(size, caller.size()), 0xAA);
        size = static_cast<UINT32>(read.size());
        ASSERT_EQ(dll.Get(handle, c.id, read.data(), &size, 1), S_OK);
        read.resize(caller.size());
        EXPECT_EQ(read, caller);
    }
    EXPECT_EQ(dll.Close(handle), S_OK);
}

// Counted values above what their caller structure holds.
TEST_F(ExportsTest, CountedValuesAboveCapacity) {
    wchar_t* handle = OpenSpeakers();
    // Five bytes: stored as the count and two words, zero-padded.
    std::vector<std::uint8_t> five = {5, 0, 0, 0, 0x11, 0x22, 0x33, 0x44, 0x55};
    ASSERT_EQ(dll.Set(handle, 2105, five.data(), 9, 1), S_OK);
    EXPECT_EQ(StoredWords(KreloTuningKey(5)), (std::vector<std::int32_t>{5, 0x44332211, 0x55}));
    std::vector<std::uint8_t> read(12, 0xAA);
    UINT32 size = 12;
    ASSERT_EQ(dll.Get(handle, 2105, read.data(), &size, 1), S_OK);
    EXPECT_EQ(read, (std::vector<std::uint8_t>{5, 0, 0, 0, 0x11, 0x22, 0x33, 0x44, 0x55, 0, 0, 0}));

    // Above capacity: logged, the caller's count cleared, an empty configuration stored.
    std::vector<std::uint8_t> large = Bytes({2045});
    large.resize(4 + 2045, 0x77);
    ASSERT_EQ(dll.Set(handle, 2105, large.data(), static_cast<UINT32>(large.size()), 1), S_OK);
    EXPECT_EQ(StoredWords(KreloTuningKey(5)), std::vector<std::int32_t>{0});
    EXPECT_EQ(large[0], 0);
    EXPECT_TRUE(log.Has(2, kExports, L"`anonymous-namespace'::ConvertParameterToPropVariant",
                        L"Filter config is too large to set, capacity = 2044 bytes, asked = 2045. Clear filter config "
                        L"to null."));

    // A stored configuration above capacity reads back cleared.
    std::vector<std::int32_t> stored(600, 0x01010101);
    stored[0] = 3000;
    PROPVARIANT value;
    value.vt = VT_VECTOR | VT_I4;
    value.cal.cElems = static_cast<ULONG>(stored.size());
    value.cal.pElems = reinterpret_cast<LONG*>(stored.data());
    ASSERT_EQ(speakers.SetValue(KreloTuningKey(5), value), S_OK);
    std::vector<std::uint8_t> big(2400, 0xAA);
    size = 2400;
    EXPECT_EQ(dll.Get(handle, 2105, big.data(), &size, 1), S_OK);
    EXPECT_EQ(std::count(big.begin(), big.end(), 0), 2400);
    EXPECT_TRUE(log.Has(2, kExports, L"`anonymous-namespace'::CopyValueToOutputBuffer",
                        L"Filter config is too large to get, capacity = 2044 bytes, asked = 3000. Clear filter config "
                        L"to null."));

    // The filter byte count is unsigned: a "negative" one is above capacity, cleared and stored empty.
    std::vector<std::uint8_t> negative = Bytes({-1});
    ASSERT_EQ(dll.Set(handle, 2105, negative.data(), 4, 1), S_OK);
    EXPECT_EQ(negative, Bytes({0}));
    EXPECT_EQ(StoredWords(KreloTuningKey(5)), std::vector<std::int32_t>{0});

    // A stored compressor tuning of more records than the 100-byte structure holds: the count, then E_OUTOFMEMORY.
    std::vector<std::int32_t> records{5};
    for (int record = 0; record < 5; ++record) records = Join({records, {6}, Iota(6, record)});
    value.cal.cElems = static_cast<ULONG>(records.size());
    value.cal.pElems = reinterpret_cast<LONG*>(records.data());
    ASSERT_EQ(speakers.SetValue(KreloTuningKey(17), value), S_OK);
    read.assign(100, 0xAA);
    size = 100;
    EXPECT_EQ(dll.Get(handle, 2116, read.data(), &size, 1), E_OUTOFMEMORY);
    EXPECT_EQ(read, Bytes(Join({{5}, std::vector<std::int32_t>(24, 0)})));
    EXPECT_EQ(dll.Close(handle), S_OK);
}

// A listener at the information level sees errors and values but no scope lines;
// one at the error level sees errors only.
TEST(ExportsLogLevelTest, LinesFollowTheListenersLevel) {
    struct Case {
        int level;
        bool information;
        bool scopes;
    };
    for (const Case& c : {Case{4, true, false}, Case{2, false, false}, Case{5, true, true}}) {
        SCOPED_TRACE(c.level);
        LogCapture log(c.level);
        sim::Platform platform;
        platform.AddEndpoint({kSpeakers});
        sim::Installation installed(platform);
        DllUnderTest dll;
        wchar_t* handle = nullptr;
        ASSERT_EQ(dll.Open(&handle, kSpeakers), S_OK);
        std::int32_t value = 1;
        EXPECT_EQ(dll.Set(handle, 1001, &value, 4, 1), E_FAIL);
        EXPECT_EQ(dll.Close(handle), S_OK);

        EXPECT_TRUE(log.Has(2, kApo, L"ApoController::SetParameter", L"Parameter id[1001] is not valid"));
        bool information = false, scopes = false;
        for (const LogLine& line : log.Lines()) {
            EXPECT_LE(line.level, c.level);
            information |= line.level == 4;
            scopes |= line.message == L"Enter" || line.message == L" Leave";
        }
        EXPECT_EQ(information, c.information);
        EXPECT_EQ(scopes, c.scopes);
    }
}

}  // namespace
}  // namespace kelix::test
