// The DSP route through the exports, against the simulated DSP: which request
// goes out for each call and with which value, replies shaped into caller
// buffers, module selection by family, and faults passed through.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <optional>

#include "Kelix3PexControl.h"
#include "SimulatedEndpointTest.h"
#include "Words.h"
#include "core/DspBlobLayouts.h"
#include "core/ParameterCatalogue.h"
#include "core/PpApiRequests.h"

namespace kelix::test {
namespace {

using Bytes8 = std::vector<BYTE>;

// Module ids of other versions than those of the speakers' DSP ("2.10.0-lite", "1.4.2").
constexpr GUID kKrelo100Module = {0x849F0D73, 0x1678, 0x4D57, {0x8C, 0x78, 0x61, 0xC5, 0x48, 0x25, 0x39, 0x93}};  // "1.0.0"
constexpr GUID kKrelo131Module = {0x9DC26903, 0xA3A8, 0x4A30, {0x88, 0x39, 0xA7, 0x7B, 0x6F, 0x4E, 0x59, 0x64}};  // "1.3.1"
constexpr GUID kAmdModule = {0xB5FCC815, 0x1F49, 0x4F4E, {0xB0, 0x4C, 0x05, 0xF3, 0xA3, 0x83, 0xEF, 0xFF}};     // AMD "1.4.1"

constexpr UINT32 kPexType = 1;
constexpr UINT32 kKreloType = 2;

Guid CoreGuid(const GUID& id) {
    Guid guid;
    std::memcpy(&guid, &id, sizeof guid);
    return guid;
}
// The speakers' modules behind the DSP's offload pin 1.
const PpModuleAddress kPex{1, kPexType, CoreGuid(kPexModuleId)};
const PpModuleAddress kKreloModule{1, kKreloType, CoreGuid(kKreloModuleId)};

template <size_t N>
Bytes8 Record(const KsRecord<N>& record) { return Bytes8(record.begin(), record.end()); }
Bytes8 Words(std::initializer_list<std::int32_t> words) { return Bytes(words); }
// A value buffer as the module receives it: the length word, then the value.
Bytes8 Buffer(const Bytes8& value) {
    Bytes8 buffer = Bytes({static_cast<std::int32_t>(value.size())});
    buffer.insert(buffer.end(), value.begin(), value.end());
    return buffer;
}

class DspRouteTest : public SimulatedEndpointTest {
protected:
    void SetUp() override {
        SimulatedEndpointTest::SetUp();
        dsp = &AttachDspWithBothFamilies(platform, speakers);
        handle = OpenSpeakers();
        dsp->ClearRequests();
    }
    void TearDown() override {
        EXPECT_EQ(dll.Close(handle), S_OK);
        // The last close gives back every module's control.
        EXPECT_EQ(platform.References("IKsControl"), 0);
    }

    HRESULT SetBlob(std::int32_t id, Bytes8 bytes, UINT32 flags = 2, wchar_t* on = nullptr) {
        PROPVARIANT value;
        value.vt = VT_BLOB;
        value.blob.cbSize = static_cast<ULONG>(bytes.size());
        value.blob.pBlobData = bytes.empty() ? nullptr : bytes.data();
        return dll.SetVariant(on != nullptr ? on : handle, id, &value, flags);
    }

    // A DSP with one module of another kind on the headset, opened: every open
    // discovers the modules of every endpoint, three entries then.
    sim::Dsp& OpenHeadsetWith(sim::DspConfig config, wchar_t** headsetHandle) {
        DescribeEndpoint(headset, L"{5E1F0A11-0000-4000-8000-00000000A002}", 3, L"Headset");
        sim::Dsp& other = platform.AddDsp(std::move(config));
        platform.AttachDsp(headset, other);
        EXPECT_EQ(dll.Open(headsetHandle, kHeadset), S_OK);
        other.ClearRequests();
        return other;
    }

    sim::Dsp* dsp = nullptr;
    wchar_t* handle = nullptr;
};

// One request as it must reach the DSP: the property record, the data's leading bytes (every
// byte behind them zero) and the data length.
struct Sent {
    Bytes8 property;
    Bytes8 data;
    ULONG length;
};

void ExpectSent(const std::vector<sim::KsRequest>& requests, const std::vector<Sent>& sent) {
    ASSERT_EQ(requests.size(), sent.size());
    for (size_t i = 0; i < sent.size(); ++i) {
        SCOPED_TRACE("request " + std::to_string(i));
        const sim::KsRequest& request = requests[i];
        EXPECT_EQ(request.property, sent[i].property);
        EXPECT_EQ(request.dataLength, sent[i].length);
        const size_t lead = std::min(request.data.size(), sent[i].data.size());
        EXPECT_EQ(Bytes8(request.data.begin(), request.data.begin() + lead), sent[i].data);
        EXPECT_TRUE(std::all_of(request.data.begin() + lead, request.data.end(), [](BYTE b) { return b == 0; }));
    }
}

// Each call and the requests it sends. Writes share one value buffer: after a long one, a PEX
// write goes out as the form factor (1), then the value, each with zeros behind it. KRELO blobs
// go out reshaped, without a form factor; other value types and blobs that name bytes they do
// not carry are refused before anything is sent. Bypass 1 disables the module, 0 enables it; the
// direct request carries the module's working word whatever the caller's eight bytes hold.
// Reads go with a trailing byte of 0.
TEST_F(DspRouteTest, RequestsOnTheWire) {
    std::int32_t gain = -6, bypass = 1, state = -1;
    UINT32 size = 4;
    BYTE request[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    std::vector<std::uint8_t> bands = Bytes(Join({{1}, Iota(40, 1)}));
    BYTE info[80];
    const auto parameter = [](std::uint32_t flags, const PpModuleAddress& module, std::uint32_t index, BYTE trailing) {
        return Record(PpModuleParameterRequest(flags, module, index, trailing));
    };
    struct Case {
        const char* name;
        std::function<HRESULT()> call;
        HRESULT hr;
        std::vector<Sent> sent;
        std::wstring line = {};  // an information line the call logs
    };
    const Case cases[] = {
        {"PEX write after a long one",
         [&] {
             EXPECT_EQ(SetBlob(2116, Words({2, 6, 1, 2, 3, 4, 5, 6, 6, 7, 8, 9, 10, 11, 12})), S_OK);
             dsp->ClearRequests();
             return dll.Set(handle, 1105, &gain, 4, 3);
         },
         S_OK,
         {{parameter(2, kPex, 127, 1), Words({4, 1}), kPpParameterBufferSize},
          {parameter(2, kPex, 122, 1), Words({4, -6}), kPpParameterBufferSize}},
         L"Set pex_nelp-postgain: -6"},
        {"2108", [&] { return SetBlob(2108, Words({2, 11, 12, 13, 14})); }, S_OK,
         {{parameter(2, kKreloModule, 26, 1), Buffer(Words({11, 12, 14})), kPpParameterBufferSize}},
         L"Set krelo-regulator-thresholds: 11, 12, 14"},
        // The count stays: not a "1.0.0" module.
        {"2107", [&] { return SetBlob(2107, Words({2, 5, 6})); }, S_OK,
         {{parameter(2, kKreloModule, 23, 1), Buffer(Words({2, 5, 6})), kPpParameterBufferSize}}},
        {"2105", [&] { return SetBlob(2105, {3, 0, 0, 0, 9, 8, 7}); }, S_OK,
         {{parameter(2, kKreloModule, 32, 1), Buffer({3, 0, 0, 0, 9, 8, 7}), kPpParameterBufferSize}},
         L"Set krelo-filter-coefficient-values: 3, 0, 0, 0, 9, 8, 7"},
        {"an array through SetPexParam", [&] { return dll.Set(handle, 1114, bands.data(), 164, 3); }, E_INVALIDARG, {}},
        {"a blob without its bytes",
         [&] {
             PROPVARIANT missing;
             missing.vt = VT_BLOB;
             missing.blob.cbSize = 8;
             missing.blob.pBlobData = nullptr;
             return dll.SetVariant(handle, 2108, &missing, 2);
         },
         E_INVALIDARG, {}},
        {"bypass set", [&] { return dll.Set(handle, 2002, &bypass, 4, 2); }, S_OK,
         {{Record(PpModuleEnableRequest(2, kKreloModule, 1)), {0}, 1}}},
        {"bypass get", [&] { return dll.Get(handle, 2002, &state, &size, 2); }, S_OK,
         {{Record(PpModuleEnableRequest(1, kKreloModule, 0)), {}, 1}}},
        {"KRELO direct request", [&] { return dll.Set(handle, 2003, request, 8, 2); }, S_OK,
         {{Record(PpModuleRequest(5, 2, kKreloModule)), {}, 8}}},
        {"PEX direct request", [&] { return dll.Set(handle, 1003, request, 8, 3); }, S_OK,
         {{Record(PpModuleRequest(5, 2, kPex)), {}, 8}}},
        {"information block read", [&] { size = 80; return dll.Get(handle, 2126, info, &size, 2); }, S_OK,
         {{parameter(1, kKreloModule, 31, 0), {}, kPpParameterBufferSize}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        dsp->ClearRequests();
        const HRESULT hr = c.call();
        EXPECT_EQ(hr, c.hr) << Hex(hr);
        ExpectSent(dsp->Requests(), c.sent);
        if (!c.line.empty()) { EXPECT_TRUE(log.Has(4, kDsp, L"DspController::SetParameter", c.line)); }
    }
    EXPECT_TRUE(log.Has(4, L"SonavelDspKrelo.cpp", L"CSonavelDspKrelo::SetFormFactor",
                        L"Set pex_nelp-endpoint-form-facotr: 1"));
    EXPECT_EQ(StoredI4(PexTuningKey(4)), -6);  // the store first
    EXPECT_EQ(StoredWords(PexTuningKey(13)), Join({{1, 20}, Iota(20, 1), {20}, Iota(20, 21)}));
    EXPECT_FALSE(dsp->Enabled(kKreloModuleId));
    EXPECT_EQ(state, 1);
    bypass = 0;
    ASSERT_EQ(dll.Set(handle, 2002, &bypass, 4, 2), S_OK);
    ASSERT_EQ(dll.Get(handle, 2002, &state, &size, 2), S_OK);
    EXPECT_EQ(state, 0);
    size = 3;
    EXPECT_EQ(dll.Get(handle, 2002, &state, &size, 2), E_INVALIDARG);
    EXPECT_EQ(size, 4u);
}

TEST_F(DspRouteTest, ReadsShapeTheReplyIntoTheCallersBuffer) {
    // Texts of the selected module, with their size negotiation.
    struct Text {
        std::int32_t id;
        std::wstring text;
    };
    for (const Text& t : {Text{1001, L"2.10.0-lite"}, Text{2001, L"1.4.2"}, Text{1007, L"pex"}, Text{2005, L"krelo"},
                          Text{2004, L"{cbdd3db0-85ae-4466-b18d-504fd8e7082b}"}}) {
        SCOPED_TRACE(t.id);
        UINT32 size = 2;
        wchar_t text[64] = {};
        EXPECT_EQ(dll.Get(handle, t.id, text, &size, 2), E_INVALIDARG);
        EXPECT_EQ(size, (t.text.size() + 1) * 2);
        EXPECT_EQ(dll.Get(handle, t.id, text, &size, 2), S_OK);
        EXPECT_EQ(std::wstring(text), t.text);
    }
    UINT32 type = 0, size = 4;
    ASSERT_EQ(dll.Get(handle, 1008, &type, &size, 2), S_OK);
    EXPECT_EQ(type, kPexType);

    // A scalar written and read back; the information blocks by their fixed sizes, a fresh module
    // answering zeros of that size; their reads go with a trailing byte of 0.
    std::int32_t gain = 12, read = 0;
    BYTE bands[80];
    Expect({{[&] { return dll.Set(handle, 2104, &gain, 4, 2); }, S_OK},
            {[&] { return dll.Get(handle, 2104, &read, &size, 2); }, S_OK, 4, L"DspController::GetParameter",
             L"Get krelo-post-gain: 12"},
            {[&] { size = 40; return dll.Get(handle, 2126, bands, &size, 2); }, E_INVALIDARG, 3,
             L"DspController::GetParameter",
             L"Get krelo-vis-bands failed. Input buffer[40] is too small. Please reallocate buffer[80.]"}});
    EXPECT_EQ(read, 12);
    EXPECT_EQ(size, 80u);
    EXPECT_EQ(dll.Get(handle, 2126, bands, &size, 2), S_OK);
    EXPECT_EQ(bands[79], 0);
    dsp->SetParameter(kKreloModuleId, 31, Bytes8(80, 7));
    EXPECT_EQ(dll.Get(handle, 2126, bands, &size, 2), S_OK);
    EXPECT_EQ(bands[79], 7);
}

// Every array a client writes, of the size the public header gives, reads back as the caller
// structure holding the same values through each route that takes it. The store receives the
// words of the structure's DSP blob (every array behind its length word), of the blob size the
// header gives; on the DSP route the client writes that blob, and a read into one byte less
// than the structure is too small and gives the size needed.
TEST_F(DspRouteTest, ArraysReadBackAsTheCallersStructure) {
    const struct {
        std::int32_t id;
        size_t size, blob = 0;
        std::optional<PROPERTYKEY> key = {};
    } cases[] = {
        {KELIX_PEX_IEQ_BANDS, sizeof(KelixPexBands), sizeof(KelixDspPexBands), PexTuningKey(13)},
        {KELIX_PEX_AUDIO_OPTIMIZER_BANDS, sizeof(KelixPexAudioOptimizerBands)},
        {KELIX_PEX_REGULATOR_TUNING, sizeof(KelixPexRegulatorTuning), sizeof(KelixDspPexRegulatorTuning)},
        {KELIX_PEX_PARTIAL_OUTPUT_MODE, KELIX_PARTIAL_OUTPUT_MODE_SIZE(1)},
        {KELIX_PEX_DRC_METADATA, sizeof(KelixPexDrcMetadata)},
        {KELIX_KRELO_FILTER_CONFIG, KELIX_FILTER_CONFIG_SIZE(2)},
        {KELIX_KRELO_AUDIO_OPTIMIZER_GAINS, KELIX_AUDIO_OPTIMIZER_GAINS_SIZE(2)},
        {KELIX_KRELO_REGULATOR_THRESHOLDS, sizeof(KelixKreloRegulatorThresholds), sizeof(KelixDspKreloRegulatorThresholds)},
        {KELIX_KRELO_REGULATOR_ISOLATED_BANDS, sizeof(KelixKreloRegulatorIsolatedBands),
         sizeof(KelixDspKreloRegulatorIsolatedBands)},
        {KELIX_KRELO_MB_COMPRESSOR_TUNING, KELIX_MB_COMPRESSOR_TUNING_SIZE(2), 4 + 2 * sizeof(KelixDspKreloMbCompressorRecord),
         KreloTuningKey(17)},
        {KELIX_KRELO_REGULATOR_STRESS_AMOUNT, sizeof(KelixKreloRegulatorStressAmount),
         sizeof(KelixDspKreloRegulatorStressAmount), KreloTuningKey(22)},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.id);
        std::vector<std::uint8_t> caller = Bytes(Join({{2}, Iota((c.size + 3) / 4 - 1, 1)}));  // counts of 2 first
        caller.resize(c.size);
        const auto blob = CallerToDspBlob(c.id, caller.data(), static_cast<std::uint32_t>(caller.size()));
        EXPECT_EQ(blob.has_value(), TakesDspBlob(c.id));
        if (c.blob != 0) { EXPECT_EQ(blob.value_or(Bytes8{}).size(), c.blob); }
        for (const UINT32 route : {1u, 2u}) {
            if (route == 1 ? !ParameterCatalogue().contains(c.id) : !blob) continue;
            SCOPED_TRACE(route == 1 ? "store" : "DSP");
            ASSERT_EQ(route == 1 ? dll.Set(handle, c.id, caller.data(), static_cast<UINT32>(caller.size()), 1)
                                 : SetBlob(c.id, *blob),
                      S_OK);
            if (route == 1 && c.key) { EXPECT_EQ(Bytes(StoredWords(*c.key)), *blob); }
            UINT32 size = 0;
            EXPECT_EQ(dll.Get(handle, c.id, nullptr, &size, route), E_INVALIDARG);
            ASSERT_LE(size, 4096u);
            std::vector<std::uint8_t> read(std::max<size_t>(size, caller.size()), 0xAA);
            size = static_cast<UINT32>(read.size());
            ASSERT_EQ(dll.Get(handle, c.id, read.data(), &size, route), S_OK);
            EXPECT_TRUE(route == 1 || size == caller.size()) << size;
            read.resize(caller.size());
            EXPECT_EQ(read, caller);
            size = static_cast<UINT32>(caller.size() - 1);
            EXPECT_EQ(dll.Get(handle, c.id, read.data(), &size, route), E_INVALIDARG);
            EXPECT_GE(size, caller.size());
        }
    }
}

// The tuning information is 160 bytes below "1.4.1" (the headset's "1.3.1"), 720 from it on (the
// speakers' "1.4.2").
TEST_F(DspRouteTest, TuningInfoSizeFollowsTheModuleVersion) {
    wchar_t* headsetHandle = nullptr;
    OpenHeadsetWith({.modules = {{.id = kKrelo131Module, .name = "krelo", .version = "1.3"}}}, &headsetHandle);
    std::vector<BYTE> info(720, 0xAA);
    const struct {
        wchar_t* on;
        UINT32 size;
        HRESULT hr;
        UINT32 after;
    } reads[] = {{headsetHandle, 160, S_OK, 160}, {headsetHandle, 159, E_INVALIDARG, 160},
                 {handle, 719, E_INVALIDARG, 720}, {handle, 720, S_OK, 720}};
    for (const auto& r : reads) {
        UINT32 size = r.size;
        EXPECT_EQ(dll.Get(r.on, 2125, info.data(), &size, 2), r.hr) << r.size;
        EXPECT_EQ(size, r.after) << r.size;
    }
    EXPECT_EQ(dll.Close(headsetHandle), S_OK);
}

// "1.0.0" gains lose their count on the way in; read back, the count is put in front again: the
// caller needs L + 4 bytes.
TEST_F(DspRouteTest, ModulesOfOtherKinds) {
    wchar_t* headsetHandle = nullptr;
    sim::Dsp& early =
        OpenHeadsetWith({.modules = {{.id = kKrelo100Module, .name = "krelo", .version = "1.0"}}}, &headsetHandle);
    ASSERT_EQ(SetBlob(2107, Words({2, 5, 6}), 2, headsetHandle), S_OK);
    ExpectSent(early.Requests(), {{Record(PpModuleParameterRequest(2, {1, kKreloType, CoreGuid(kKrelo100Module)}, 23, 1)),
                                   Buffer(Words({5, 6})), kPpParameterBufferSize}});
    Bytes8 read(12);
    UINT32 size = 11;
    EXPECT_EQ(dll.Get(headsetHandle, 2107, read.data(), &size, 2), E_INVALIDARG);
    EXPECT_EQ(size, 12u);
    ASSERT_EQ(dll.Get(headsetHandle, 2107, read.data(), &size, 2), S_OK);
    EXPECT_EQ(read, Words({2, 5, 6}));
    EXPECT_EQ(dll.Close(headsetHandle), S_OK);
}

// An AMD module takes no request and no enable (always enabled), and its writes go through the
// AMD set; a value must fit the 4096-byte buffer behind its length word.
TEST_F(DspRouteTest, AmdModuleThroughTheExports) {
    wchar_t* headsetHandle = nullptr;
    sim::Dsp& amd = OpenHeadsetWith({.ppApi = false, .amdModules = {{.id = kAmdModule}}}, &headsetHandle);
    BYTE request[8] = {};
    EXPECT_EQ(dll.Set(headsetHandle, 2003, request, 8, 2), E_NOTIMPL);
    std::int32_t bypass = 1;
    EXPECT_EQ(dll.Set(headsetHandle, 2002, &bypass, 4, 2), S_FALSE);
    UINT32 size = 4;
    EXPECT_EQ(dll.Get(headsetHandle, 2002, &bypass, &size, 2), S_OK);
    EXPECT_EQ(bypass, 0);
    EXPECT_TRUE(amd.Requests().empty());
    for (UINT32 length : {4093u, 4092u}) {
        Bytes8 filter = Buffer(Bytes8(length - 4, 1));
        EXPECT_EQ(SetBlob(2105, filter, 2, headsetHandle), length == 4093 ? E_INVALIDARG : S_OK) << length;
    }
    amd.ClearRequests();
    std::int32_t gain = 7, read = 0;
    ASSERT_EQ(dll.Set(headsetHandle, 2104, &gain, 4, 2), S_OK);
    ExpectSent(amd.Requests(), {{Record(AmdParameterRequest(2, CoreGuid(kAmdModule), kKreloType, 21)),
                                 Buffer(Words({7})), kAmdParameterBufferSize}});
    ASSERT_EQ(dll.Get(headsetHandle, 2104, &read, &size, 2), S_OK);
    EXPECT_EQ(read, 7);
    EXPECT_EQ(dll.Close(headsetHandle), S_OK);
}

// 1005 is index 160: past the PEX list; 2123 is served.
TEST_F(DspRouteTest, FamiliesAndIdsTheDspDoesNotServe) {
    std::int32_t value = 1;
    Expect({{[&] { return dll.Set(handle, 1005, &value, 4, 2); }, E_INVALIDARG, 3, L"IsValidParameter",
             L"Failed to set PP module parameter!: " + Failure(E_INVALIDARG)},
            {[&] { return dll.Set(handle, 2123, &value, 4, 2); }, S_OK}});
    EXPECT_TRUE(dsp->Parameter(kKreloModuleId, 44).has_value());
}

// The bypass read states its size before the module is asked; a parameter read leaves it.
TEST_F(DspRouteTest, FaultsOfTheDspComeBackUnchanged) {
    struct Case {
        sim::DspRequest kind;
        std::int32_t id;
        bool read;
        std::wstring message;
    };
    const HRESULT fault = HRESULT_FROM_WIN32(ERROR_GEN_FAILURE);
    const Case cases[] = {
        {sim::DspRequest::ParameterSet, 2104, false, L"Set krelo-post-gain failed. " + Failure(fault)},
        {sim::DspRequest::ParameterGet, 2104, true, L"Get krelo-post-gain failed. " + Failure(fault)},
        {sim::DspRequest::ModuleEnableSet, 2002, false, L"Set krelo-bypass failed. " + Failure(fault)},
        {sim::DspRequest::ModuleEnableGet, 2002, true, L"Failed to get PP module parameter!: " + Failure(fault)},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.id);
        dsp->Fail(c.kind, fault, 1);
        std::int32_t value[2] = {};
        UINT32 size = 8;
        EXPECT_EQ(c.read ? dll.Get(handle, c.id, value, &size, 2) : dll.Set(handle, c.id, value, 4, 2), fault);
        if (c.read) { EXPECT_EQ(size, c.id == 2002 ? 4u : 8u); }
        const std::vector<LogLine> lines = log.Lines();
        EXPECT_TRUE(std::any_of(lines.begin(), lines.end(), [&](const LogLine& l) { return l.message == c.message; }));
    }
    dsp->Fail(sim::DspRequest::ModuleRequest, fault, 1);
    BYTE request[8] = {};
    EXPECT_EQ(dll.Set(handle, 2003, request, 8, 2), fault);
    EXPECT_EQ(platform.References("IKsControl"), 2);
}

}  // namespace
}  // namespace kelix::test
