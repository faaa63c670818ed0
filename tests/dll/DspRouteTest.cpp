// The DSP route through the exports, against the simulated DSP: which request
// goes out for each call and with which value, replies shaped into caller
// buffers, module selection by family, and faults passed through.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
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

    sim::Dsp* dsp = nullptr;
    wchar_t* handle = nullptr;
};

// One request as it must reach the DSP: the property record, the data's leading bytes (every
// byte behind them zero; a read's buffer carries nothing) and the data length.
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
        if ((request.Flags() & 2) == 0) continue;  // KSPROPERTY_TYPE_SET
        const size_t lead = std::min(request.data.size(), sent[i].data.size());
        EXPECT_EQ(Bytes8(request.data.begin(), request.data.begin() + lead), sent[i].data);
        EXPECT_TRUE(std::all_of(request.data.begin() + lead, request.data.end(), [](BYTE b) { return b == 0; }));
    }
}

// Each call, the requests it sends and the line it logs. Writes share one value buffer: after a
// long one, a PEX write goes out as the form factor (1), then the value, each with zeros behind it.
// KRELO blobs go out reshaped, without a form factor; an index past the PEX list is refused after
// the form factor (values no route takes are BadInputMatrixTest's).
// Bypass 1 disables the module, 0 enables it; the direct request carries the module's working
// word whatever the caller's eight bytes hold. Information blocks are read with a trailing byte of
// 0. A fault of the DSP comes back unchanged; the bypass read states its size before the module
// is asked, a parameter read leaves it.
// Modules of other kinds sit on endpoints of their own. The tuning information is 160 bytes below
// "1.4.1" ("1.3.1"), 720 from it on (the speakers' "1.4.2"); a device without a PEX module refuses
// PEX ids before anything is sent. "1.0.0" gains lose their count on the way in; read back, the
// count is put in front again: the caller needs L + 4 bytes. An AMD module takes no request and no
// enable (always enabled), its parameters go through the AMD set, and a value must fit the
// 4096-byte buffer behind its length word.
TEST_F(DspRouteTest, RequestsOnTheWire) {
    const sim::DspConfig kinds[] = {
        {.modules = {{.id = kKrelo131Module, .name = "krelo", .version = "1.3"}}},
        {.modules = {{.id = kKrelo100Module, .name = "krelo", .version = "1.0"}}},
        {.ppApi = false, .amdModules = {{.id = kAmdModule}}},
    };
    wchar_t* on[std::size(kinds)] = {};
    sim::Dsp* dspOf[std::size(kinds)] = {};
    for (size_t k = 0; k < std::size(kinds); ++k) {
        wchar_t guid[40];
        _snwprintf(guid, 40, L"{5e1f0a11-0000-4000-8000-00000000a%03u}", static_cast<unsigned>(k) + 2);
        const std::wstring id = std::wstring(L"{0.0.0.00000000}.") + guid;
        sim::Endpoint& endpoint = k == 0 ? headset : platform.AddEndpoint({id});  // the walk needs the headset's GUID
        DescribeEndpoint(endpoint, guid, 3, L"Headset");
        dspOf[k] = &platform.AddDsp(kinds[k]);
        platform.AttachDsp(endpoint, *dspOf[k]);
        ASSERT_EQ(dll.Open(&on[k], id.c_str()), S_OK);
    }
    const PpModuleAddress krelo131{1, kKreloType, CoreGuid(kKrelo131Module)}, krelo100{1, kKreloType, CoreGuid(kKrelo100Module)};
    const auto amd = [](std::uint32_t flags, std::uint32_t index, const Bytes8& data) {
        return Sent{Record(AmdParameterRequest(flags, CoreGuid(kAmdModule), kKreloType, index)), data, kAmdParameterBufferSize};
    };
    std::int32_t gain = -6, bypass = 1, state = -1, zero = 0, one = 1, twelve = 12, seven = 7, read = 0, type = 0;
    std::int32_t gains[3] = {}, amdState = -1, amdRead = 0;
    UINT32 size = 4;
    BYTE request[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    BYTE info[80];
    Bytes8 block(720);
    const Bytes8 filter = Buffer(Bytes8(4088, 1));  // 4092 bytes: what the AMD buffer holds behind its length word
    // A parameter request of the module: a write of the value buffer, or a read.
    const auto set = [](const PpModuleAddress& module, std::uint32_t index, const Bytes8& data) {
        return Sent{Record(PpModuleParameterRequest(2, module, index, 1)), data, kPpParameterBufferSize};
    };
    const auto get = [](std::uint32_t index, BYTE trailing, const PpModuleAddress& module = kKreloModule) {
        return Sent{Record(PpModuleParameterRequest(1, module, index, trailing)), {}, kPpParameterBufferSize};
    };
    const Sent enable = {Record(PpModuleEnableRequest(2, kKreloModule, 1)), {0}, 1};
    const Sent enabled = {Record(PpModuleEnableRequest(1, kKreloModule, 0)), {}, 1};
    const Sent direct = {Record(PpModuleRequest(5, 2, kKreloModule)), {}, 8};
    const HRESULT fault = HRESULT_FROM_WIN32(ERROR_GEN_FAILURE);
    struct Case {
        const char* name;
        ExportCall call;
        std::vector<Sent> sent;
        UINT32 size = 0;                            // the size a read leaves, when not 0
        std::optional<sim::DspRequest> fails = {};  // the next request of that kind answers fault
        int kind = -1;                              // the endpoint of another kind it is sent to
    };
    const Case cases[] = {
        {"PEX write after a long one",
         {[&] {
              EXPECT_EQ(SetBlob(2116, Bytes({2, 6, 1, 2, 3, 4, 5, 6, 6, 7, 8, 9, 10, 11, 12})), S_OK);
              dsp->ClearRequests();
              return dll.Set(handle, 1105, &gain, 4, 3);
          },
          S_OK, 4, L"DspController::SetParameter", L"Set pex_nelp-postgain: -6"},
         {set(kPex, 127, Bytes({4, 1})), set(kPex, 122, Bytes({4, -6}))}},
        {"2108", {[&] { return SetBlob(2108, Bytes({2, 11, 12, 13, 14})); }, S_OK, 4, L"DspController::SetParameter",
                  L"Set krelo-regulator-thresholds: 11, 12, 14"},
         {set(kKreloModule, 26, Buffer(Bytes({11, 12, 14})))}},
        // The count stays: not a "1.0.0" module.
        {"2107", {[&] { return SetBlob(2107, Bytes({2, 5, 6})); }, S_OK}, {set(kKreloModule, 23, Buffer(Bytes({2, 5, 6})))}},
        {"2105", {[&] { return SetBlob(2105, {3, 0, 0, 0, 9, 8, 7}); }, S_OK, 4, L"DspController::SetParameter",
                  L"Set krelo-filter-coefficient-values: 3, 0, 0, 0, 9, 8, 7"},
         {set(kKreloModule, 32, Buffer({3, 0, 0, 0, 9, 8, 7}))}},
        // 1005 is index 160: past the PEX list; 2123 is served.
        {"1005", {[&] { return dll.Set(handle, 1005, &one, 4, 2); }, E_INVALIDARG, 3, L"IsValidParameter",
                  L"Failed to set PP module parameter!: " + Failure(E_INVALIDARG)},
         {set(kPex, 127, Bytes({4, 1}))}},
        {"2123", {[&] { return dll.Set(handle, 2123, &one, 4, 2); }, S_OK}, {set(kKreloModule, 44, Bytes({4, 1}))}},
        {"bypass set", {[&] { return dll.Set(handle, 2002, &bypass, 4, 2); }, S_OK}, {enable}},
        {"bypass get", {[&] { return dll.Get(handle, 2002, &state, &size, 2); }, S_OK}, {enabled}, 4},
        {"bypass 0", {[&] { return dll.Set(handle, 2002, &zero, 4, 2); }, S_OK}, {{enable.property, {1}, 1}}},
        {"module type", {[&] { return dll.Get(handle, 1008, &type, &size, 2); }, S_OK}, {}, 4},
        {"KRELO direct request", {[&] { return dll.Set(handle, 2003, request, 8, 2); }, S_OK}, {direct}},
        {"PEX direct request", {[&] { return dll.Set(handle, 1003, request, 8, 3); }, S_OK},
         {{Record(PpModuleRequest(5, 2, kPex)), {}, 8}}},
        {"scalar write", {[&] { return dll.Set(handle, 2104, &twelve, 4, 2); }, S_OK}, {set(kKreloModule, 21, Bytes({4, 12}))}},
        {"scalar read", {[&] { return dll.Get(handle, 2104, &read, &size, 2); }, S_OK, 4, L"DspController::GetParameter",
                         L"Get krelo-post-gain: 12"},
         {get(21, 1)}, 4},
        // Information blocks by their fixed sizes.
        {"information block too small", {[&] { size = 40; return dll.Get(handle, 2126, info, &size, 2); }, E_INVALIDARG,
                                         3, L"DspController::GetParameter",
                                         L"Get krelo-vis-bands failed. Input buffer[40] is too small. Please reallocate buffer[80.]"},
         {get(31, 0)}, 80},
        {"information block read", {[&] { size = 80; return dll.Get(handle, 2126, info, &size, 2); }, S_OK}, {get(31, 0)}, 80},
        {"parameter set fails", {[&] { return dll.Set(handle, 2104, &one, 4, 2); }, fault, 2,
                                 L"DspController::SetParameter", L"Set krelo-post-gain failed. " + Failure(fault)},
         {set(kKreloModule, 21, Bytes({4, 1}))}, 0, sim::DspRequest::ParameterSet},
        {"parameter get fails", {[&] { size = 8; return dll.Get(handle, 2104, info, &size, 2); }, fault, 2,
                                 L"DspController::GetParameter", L"Get krelo-post-gain failed. " + Failure(fault)},
         {get(21, 1)}, 8, sim::DspRequest::ParameterGet},
        {"bypass set fails", {[&] { return dll.Set(handle, 2002, &one, 4, 2); }, fault, 2,
                              L"DspController::SetParameter", L"Set krelo-bypass failed. " + Failure(fault)},
         {enable}, 0, sim::DspRequest::ModuleEnableSet},
        {"bypass get fails", {[&] { size = 8; return dll.Get(handle, 2002, info, &size, 2); }, fault, 3,
                              L"CSonavelDspKrelo::GetModuleEnable", L"Failed to get PP module parameter!: " + Failure(fault)},
         {enabled}, 4, sim::DspRequest::ModuleEnableGet},
        {"direct request fails", {[&] { return dll.Set(handle, 2003, request, 8, 2); }, fault}, {direct}, 0,
         sim::DspRequest::ModuleRequest},
        {"1.3.1 tuning information", {[&] { size = 160; return dll.Get(on[0], 2125, block.data(), &size, 2); }, S_OK},
         {get(30, 0, krelo131)}, 160, {}, 0},
        {"1.4.2 tuning information", {[&] { size = 720; return dll.Get(handle, 2125, block.data(), &size, 2); }, S_OK},
         {get(30, 0)}, 720},
        {"no PEX module", {[&] { return dll.Set(on[0], 1105, &one, 4, 2); }, E_INVALIDARG}, {}, 0, {}, 0},
        {"1.0.0 gains", {[&] { return SetBlob(2107, Bytes({2, 5, 6}), 2, on[1]); }, S_OK},
         {set(krelo100, 23, Buffer(Bytes({5, 6})))}, 0, {}, 1},
        {"1.0.0 gains read", {[&] { size = 12; return dll.Get(on[1], 2107, gains, &size, 2); }, S_OK}, {get(23, 1, krelo100)},
         12, {}, 1},
        {"AMD direct request", {[&] { return dll.Set(on[2], 2003, request, 8, 2); }, E_NOTIMPL}, {}, 0, {}, 2},
        {"AMD bypass set", {[&] { return dll.Set(on[2], 2002, &one, 4, 2); }, S_FALSE}, {}, 0, {}, 2},
        {"AMD bypass get", {[&] { size = 4; return dll.Get(on[2], 2002, &amdState, &size, 2); }, S_OK}, {}, 4, {}, 2},
        {"AMD value too long", {[&] { return SetBlob(2105, Buffer(Bytes8(4089, 1)), 2, on[2]); }, E_INVALIDARG}, {}, 0, {},
         2},
        {"AMD value that fits", {[&] { return SetBlob(2105, filter, 2, on[2]); }, S_OK}, {amd(2, 32, Buffer(filter))}, 0, {}, 2},
        {"AMD write", {[&] { return dll.Set(on[2], 2104, &seven, 4, 2); }, S_OK}, {amd(2, 21, Bytes({4, 7}))}, 0, {}, 2},
        {"AMD read", {[&] { size = 4; return dll.Get(on[2], 2104, &amdRead, &size, 2); }, S_OK}, {amd(1, 21, {})}, 4, {}, 2},
    };
    dsp->SetParameter(kKreloModuleId, 31, Bytes8(80, 7));  // the information block read
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        sim::Dsp& to = c.kind < 0 ? *dsp : *dspOf[c.kind];
        to.ClearRequests();
        if (c.fails) to.Fail(*c.fails, fault, 1);
        Expect({c.call});
        ExpectSent(to.Requests(), c.sent);
        if (c.size != 0) { EXPECT_EQ(size, c.size); }
    }
    for (wchar_t* other : on) { EXPECT_EQ(dll.Close(other), S_OK); }
    const std::vector<LogLine> lines = log.Lines();  // the form factor before each PEX write
    EXPECT_EQ(std::count_if(lines.begin(), lines.end(), [](const LogLine& l) {
                  return l.function == L"CSonavelDspKrelo::SetFormFactor" && l.message == L"Set pex_nelp-endpoint-form-facotr: 1";
              }), 2);
    EXPECT_EQ(StoredI4(PexTuningKey(4)), -6);  // the store first
    EXPECT_EQ(state, 1);
    EXPECT_EQ(type, static_cast<std::int32_t>(kPexType));
    EXPECT_EQ(read, 12);
    EXPECT_EQ(info[79], 7);
    EXPECT_EQ(std::vector<std::int32_t>(gains, gains + 3), (std::vector<std::int32_t>{2, 5, 6}));
    EXPECT_EQ(amdState, 0);
    EXPECT_EQ(amdRead, 7);
}

// Every array a client writes, of the size the public header gives, reads back as the caller
// structure holding the same values through each route that takes it. The store receives the
// words of the structure's DSP blob (every array behind its length word), of the blob size the
// header gives; on the DSP route the client writes that blob, and a read needs exactly the
// structure (buffers below a need are BadInputMatrixTest's). The selected module's texts read
// the same way (on the DSP route only; nothing writes them).
TEST_F(DspRouteTest, ArraysReadBackAsTheCallersStructure) {
    const struct {
        std::int32_t id;
        size_t size, blob = 0;
        std::optional<PROPERTYKEY> key = {};
        std::wstring text = {};
    } cases[] = {
        {1001, 0, 0, {}, L"2.10.0-lite"}, {2001, 0, 0, {}, L"1.4.2"}, {1007, 0, 0, {}, L"pex"},
        {2005, 0, 0, {}, L"krelo"},       {2004, 0, 0, {}, L"{cbdd3db0-85ae-4466-b18d-504fd8e7082b}"},
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
        const auto* text = reinterpret_cast<const std::uint8_t*>(c.text.c_str());
        std::vector<std::uint8_t> caller(text, text + (c.text.size() + 1) * 2);  // a text and its terminator
        if (c.size != 0) {
            caller = Bytes(Join({{2}, Iota((c.size + 3) / 4 - 1, 1)}));  // counts of 2 first
            caller.resize(c.size);
        }
        const auto blob = CallerToDspBlob(c.id, caller.data(), static_cast<std::uint32_t>(caller.size()));
        EXPECT_EQ(blob.has_value(), TakesDspBlob(c.id));
        if (c.blob != 0) { EXPECT_EQ(blob.value_or(Bytes8{}).size(), c.blob); }
        for (const UINT32 route : {1u, 2u}) {
            const bool readOnly = !c.text.empty();
            if (route == 1 ? readOnly || !ParameterCatalogue().contains(c.id) : !blob && !readOnly) continue;
            SCOPED_TRACE(route == 1 ? "store" : "DSP");
            if (!readOnly) {
                ASSERT_EQ(route == 1 ? dll.Set(handle, c.id, caller.data(), static_cast<UINT32>(caller.size()), 1)
                                     : SetBlob(c.id, *blob),
                          S_OK);
            }
            if (route == 1 && c.key) { EXPECT_EQ(Bytes(StoredWords(*c.key)), *blob); }
            std::vector<std::uint8_t> read(route == 1 ? 4096 : caller.size(), 0xAA);  // the store may need a full structure
            UINT32 size = static_cast<UINT32>(read.size());
            ASSERT_EQ(dll.Get(handle, c.id, read.data(), &size, route), S_OK);
            EXPECT_TRUE(route == 1 || size == caller.size()) << size;
            read.resize(caller.size());
            EXPECT_EQ(read, caller);
        }
    }
}

}  // namespace
}  // namespace kelix::test
