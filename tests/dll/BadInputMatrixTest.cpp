// The bad-input matrix: the exports called with handles, parameter ids, flags,
// pointers and sizes at their edges, on an endpoint whose DSP carries a PEX
// and a KRELO module. Every caller buffer ends where a no-access page begins,
// and callers are honest: the size given is the size provided. Each call must
// give a documented result, leave no byte changed that it may not change,
// negotiate the size the value needs, write the store only when the value was
// accepted, and leave the references on the simulated objects as they were.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstdio>
#include <cstring>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <sstream>
#include <vector>

#include "GuardedBuffer.h"
#include "SimulatedEndpointTest.h"
#include "core/DspParameterTables.h"
#include "core/ParameterCatalogue.h"
#include "core/ParameterFamily.h"

namespace kelix::test {
namespace {

constexpr UINT32 kFlags[] = {0, 1, 2, 3, 4, 0x80000001, 0xFFFFFFFF};
constexpr BYTE kSentinel = 0xCD;

enum class Handle { Null, Open, NeverOpened };
constexpr Handle kHandles[] = {Handle::Null, Handle::Open, Handle::NeverOpened};
const char* NameOf(Handle handle) { return std::array{"null", "open", "never opened"}[static_cast<int>(handle)]; }

bool InCatalogue(INT32 id) { return ParameterCatalogue().contains(id); }
bool OnDspRoute(INT32 id) { return LookupDspRoute(id).has_value(); }

// Ids at the edges of the families and of their special ids, and every id of the catalogue and
// of the DSP route.
std::vector<INT32> MatrixIds() {
    std::set<INT32> ids = {INT_MIN, -1, 0, INT_MAX, 1006, 1007, 1008, 2004, 2005, 2006};
    for (const auto& [from, to] : {std::pair{999, 1003}, std::pair{1998, 2003}, std::pair{2998, 3000}}) {
        for (INT32 id = from; id <= to; ++id) ids.insert(id);
    }
    for (const auto& row : ParameterCatalogue()) ids.insert(row.first);
    for (INT32 id = 1001; id <= 2998; ++id) { if (OnDspRoute(id)) ids.insert(id); }
    return {ids.begin(), ids.end()};
}

// An honest caller structure of id, of the size the public header gives it: words counting up
// from 1, so that a counted layout counts one item (its count word is 1).
std::vector<BYTE> Structure(INT32 id) {
    static const std::map<INT32, UINT32> kSizes = {
        {KELIX_PEX_IEQ_BANDS, sizeof(KelixPexBands)}, {KELIX_PEX_GRAPHIC_EQUALIZER_BANDS, sizeof(KelixPexBands)},
        {KELIX_PEX_AUDIO_OPTIMIZER_BANDS, sizeof(KelixPexAudioOptimizerBands)},
        {KELIX_PEX_REGULATOR_TUNING, sizeof(KelixPexRegulatorTuning)},
        {KELIX_PEX_WOOFER_REGULATOR_TUNING, sizeof(KelixPexRegulatorTuning)},
        {KELIX_PEX_TUNING_PARTIAL_OUTPUT_MODE, KELIX_PARTIAL_OUTPUT_MODE_SIZE(2)},  // first, n = 2
        {KELIX_PEX_INIT_INFO, sizeof(KelixPexInitInfo)}, {KELIX_PEX_DRC_METADATA, sizeof(KelixPexDrcMetadata)},
        {KELIX_KRELO_FILTER_CONFIG, KELIX_FILTER_CONFIG_SIZE(1)},
        {KELIX_KRELO_AUDIO_OPTIMIZER_GAINS, KELIX_AUDIO_OPTIMIZER_GAINS_SIZE(1)},
        {KELIX_KRELO_REGULATOR_THRESHOLDS, sizeof(KelixKreloRegulatorThresholds)},
        {KELIX_KRELO_REGULATOR_ISOLATED_BANDS, sizeof(KelixKreloRegulatorIsolatedBands)},
        {KELIX_KRELO_MB_COMPRESSOR_TUNING, KELIX_MB_COMPRESSOR_TUNING_SIZE(1)},
        {KELIX_KRELO_REGULATOR_STRESS_AMOUNT, sizeof(KelixKreloRegulatorStressAmount)}};
    if (IsDirectRequestId(id)) return std::vector<BYTE>(8, 0x11);
    const auto size = kSizes.find(id);
    if (size == kSizes.end()) return Bytes({id % 97 + 1});
    std::vector<BYTE> bytes = Bytes(Iota(size->second / 4 + 1, 1));
    bytes.resize(size->second);
    return bytes;
}

std::vector<UINT32> SizesAround(UINT32 need) {
    std::set<UINT32> sizes = {0, 1, 3, 4, 5, need, need + 1, GuardedBuffer::kRoom};
    if (need > 0) sizes.insert(need - 1);
    return {sizes.begin(), sizes.end()};
}

using Results = std::set<HRESULT>;

std::string Text(const Results& results) {
    std::string text;
    for (HRESULT hr : results) text += (text.empty() ? "" : " or ") + Hex(hr);
    return text;
}

// One write of a value to an id: the call, given handle and flags, and what makes the value
// acceptable. The caller's bytes (initial, at bytes) are put in place before the call and must
// be there unchanged after it.
struct Write {
    std::string what;
    std::function<HRESULT(wchar_t*, UINT32)> call;
    bool refused = false;   // refused whatever the route: a null value
    bool direct = false;    // a direct request: eight bytes for the DSP route only
    bool usable = true;     // a value the routes take
    bool dspTakes = false;  // of a type and size the DSP route takes
    BYTE* bytes = nullptr;
    std::vector<BYTE> initial = {};
};

// The documented result: a null handle or value give E_INVALIDARG; a direct request S_OK on an
// open handle and E_FAIL on another when it is eight bytes for the DSP route, E_INVALIDARG
// otherwise; no route S_OK (or E_INVALIDARG for a value no route takes); a value no route takes
// E_INVALIDARG; the DSP route S_OK or E_INVALIDARG on an open handle for an id it serves and a
// value it takes, E_INVALIDARG otherwise; the store route S_OK on an open handle for a
// catalogue id, E_FAIL otherwise.
Results Documented(Handle handle, INT32 id, UINT32 flags, const Write& w) {
    const bool store = (flags & 1) != 0, toDsp = (flags & 2) != 0, open = handle == Handle::Open;
    if (handle == Handle::Null || w.refused) return {E_INVALIDARG};
    if (w.direct) return {w.usable && toDsp ? (open ? S_OK : E_FAIL) : E_INVALIDARG};
    if (!store && !toDsp) return w.usable ? Results{S_OK} : Results{S_OK, E_INVALIDARG};
    if (!w.usable) return {E_INVALIDARG};
    if (toDsp) return open && OnDspRoute(id) && w.dspTakes ? Results{S_OK, E_INVALIDARG} : Results{E_INVALIDARG};
    return {open && InCatalogue(id) ? S_OK : E_FAIL};
}

// Every call of the matrix, per id and handle. First the reads, against the needs their routes
// negotiate then (what the needs are, per id, is the DSP route's and the version tests' to check):
// a buffer below a route's need is refused with the need, one that holds it is filled, and nothing
// lands beyond the size reported. Then the writes, against the documented result, their caller's
// bytes, the store writes they may make (one, when the store route took the value) and the DSP
// requests.
TEST(BadInputMatrixTest, EveryCall) {
    sim::Platform platform;
    const EndpointWithDsp machine = AddEndpointWithDsp(platform, 3);
    sim::Installation installed{platform};
    DllUnderTest dll;
    GuardedBuffer memory;
    ASSERT_EQ(installed.Result(), S_OK);
    ASSERT_TRUE(dll.Loaded());
    ASSERT_TRUE(memory.Ready());
    // The FX registrations that make the version queries answer "pex2.5" and "krelo1.0-gaming".
    for (const auto& [pid, classId] : {std::pair{5, L"{d9916fa0-99f7-11e7-bf21-6c0b849889e1}"},
                                        {6, L"{d9916f9d-99f7-11e7-bf21-6c0b849889e1}"}}) {
        PROPVARIANT value{};
        value.vt = VT_LPWSTR;
        value.pwszVal = const_cast<wchar_t*>(classId);
        ASSERT_EQ(machine.endpoint->SetFxValue(FxKey(pid), value), S_OK);
    }
    wchar_t* open = nullptr;
    ASSERT_EQ(dll.Open(&open, machine.id.c_str()), S_OK);
    const long resting = platform.TotalReferences();
    ASSERT_EQ(resting, 3);  // the store and one control per module
    std::wstring neverOpened = kHeadset;
    const auto handleOf = [&](Handle handle) { return std::array{(wchar_t*)nullptr, open, neverOpened.data()}[int(handle)]; };
    std::string& current = memory.scene;  // the case under way, for a fault report
    long calls = 0;
    int setValues = 0;
    int ksCalls = 0;
    // Checks common to every call: the references back at rest, the store writes it may make, and
    // no DSP request unless it may reach the DSP.
    const auto afterCall = [&](int storeWrites, bool dspReached) {
        ++calls;
        EXPECT_EQ(platform.TotalReferences(), resting) << current << ": references not back at rest";
        EXPECT_EQ(platform.Calls("IPropertyStore::SetValue") - setValues, storeWrites) << current << ": store writes";
        EXPECT_TRUE(dspReached || platform.Calls("IKsControl::KsProperty") == ksCalls) << current << ": sent to the DSP";
        setValues = platform.Calls("IPropertyStore::SetValue");
        ksCalls = platform.Calls("IKsControl::KsProperty");
    };

    for (INT32 id : MatrixIds()) {
        std::vector<BYTE> structure = Structure(id);
        const auto need = static_cast<UINT32>(structure.size());
        // An honest value in the store for a catalogue id and on the module for a DSP scalar, so
        // that reads have something to read.
        current = "seeding " + std::to_string(id);
        if (InCatalogue(id)) { EXPECT_EQ(dll.Set(open, id, structure.data(), need, 1), S_OK) << current; }
        if (OnDspRoute(id) && need == 4) dll.Set(open, id, structure.data(), 4, 2);
        afterCall(InCatalogue(id) ? 1 : 0, true);
        const auto filled = [&](UINT32 size, BYTE rest) {
            std::vector<BYTE> bytes(size, rest);
            std::memcpy(bytes.data(), structure.data(), std::min(size, need));
            return bytes;
        };
        std::vector<Write> writes;
        // SetPexParam: sizes around the caller structure, with and without a value; honest callers.
        for (UINT32 size : SizesAround(need)) {
            for (BYTE* value : {(BYTE*)nullptr, memory.End(size)}) {
                const bool direct = IsDirectRequestId(id);
                const bool honest = direct ? size == 8 && value != nullptr
                                           : (value != nullptr && size >= need) ||
                                                 (id == 1162 && (value == nullptr || size == 0));
                writes.push_back({"SetPexParam(" + std::string(value ? "value" : "null") + ", " + std::to_string(size),
                                  [&dll, id, value, size](wchar_t* h, UINT32 flags) { return dll.Set(h, id, value, size, flags); },
                                  false, direct, honest, need == 4, value, value ? filled(size, 0x5A) : std::vector<BYTE>{}});
            }
        }
        // SetPexVariantParam: a null pointer, types the DSP route refuses, a word, and blobs at
        // the edges of the caller structure and of a module's 64000-byte value.
        const auto variant = [&dll, id](PROPVARIANT v) {
            return [&dll, id, v](wchar_t* h, UINT32 flags) { return dll.SetVariant(h, id, &v, flags); };
        };
        static LONG words[3] = {1, 2, 3};
        static wchar_t text[] = L"12";
        PROPVARIANT v{};
        writes.push_back({"variant null", [&dll, id](wchar_t* h, UINT32 flags) { return dll.SetVariant(h, id, nullptr, flags); }, true});
        writes.push_back({"variant empty", variant(v)});
        v.vt = VT_LPWSTR, v.pwszVal = text;
        writes.push_back({"variant text", variant(v)});
        v.vt = VT_VECTOR | VT_I4, v.cal.cElems = 3, v.cal.pElems = words;
        writes.push_back({"variant vector", variant(v)});
        v.vt = VT_I4, v.lVal = 1;
        writes.push_back({"variant word", variant(v), false, false, true, true});
        for (UINT32 size : {0u, 4u}) {
            v.vt = VT_BLOB, v.blob.cbSize = size, v.blob.pBlobData = nullptr;
            writes.push_back({"blob of " + std::to_string(size) + " without data", variant(v), false, false, true, size == 0});
        }
        std::vector<UINT32> sizes = SizesAround(need);
        sizes.insert(sizes.end(), {64000u, 64001u});
        for (UINT32 size : sizes) {
            v.vt = VT_BLOB, v.blob.cbSize = size, v.blob.pBlobData = memory.End(size);
            writes.push_back({"blob of " + std::to_string(size), variant(v), false, false, true, true, memory.End(size),
                              filled(size, 0)});
        }

        for (Handle handle : kHandles) {
            // Each route's answer to a null buffer (store, then DSP): E_INVALIDARG with a size is
            // the need it negotiates; any other result it gives whatever the buffer.
            std::array<std::pair<HRESULT, std::optional<UINT32>>, 2> routes{};
            std::set<UINT32> rooms;
            for (UINT32 route : {1u, 2u}) {
                UINT32 size = 0;
                current = "probe " + std::to_string(id) + " flags " + std::to_string(route);
                const HRESULT hr = handle == Handle::Null ? S_OK : dll.Get(handleOf(handle), id, nullptr, &size, route);
                EXPECT_TRUE(Results({S_OK, E_INVALIDARG, E_FAIL}).contains(hr)) << current << " gave " << Hex(hr);
                EXPECT_TRUE(FAILED(hr) || size == 0) << current << ": success reports more than a null buffer holds";
                routes[route - 1] = {hr, hr == E_INVALIDARG && size != 0 ? std::optional(size) : std::nullopt};
                for (UINT32 room : SizesAround(routes[route - 1].second.value_or(4))) rooms.insert(room);
                afterCall(0, true);
            }
            const auto& [store, toDsp] = routes;
            for (UINT32 flags : kFlags) {
                // Each size with and without a buffer; without a size pointer, size 0 only.
                for (UINT32 room : rooms) {
                    for (const auto& [withBuffer, sizePointer] : {std::pair{false, true}, {true, true}, {false, false}, {true, false}}) {
                        if (!sizePointer && room != 0) continue;
                        BYTE* buffer = withBuffer ? memory.End(room) : nullptr;
                        if (buffer != nullptr) std::memset(buffer, kSentinel, room);
                        UINT32 size = room;
                        std::ostringstream what;
                        what << "GetPexParam(" << NameOf(handle) << ", " << id << ", " << (withBuffer ? "buffer" : "null")
                             << ", " << (sizePointer ? std::to_string(room) : "null size") << ", 0x" << std::hex << flags << ")";
                        current = what.str();
                        const HRESULT hr = dll.Get(handleOf(handle), id, buffer, sizePointer ? &size : nullptr, flags);

                        // The documented outcome, route by route: a negotiating route refuses a
                        // buffer below its need with E_INVALIDARG and the need, and fills one that
                        // holds it; any other gives its own result whatever the buffer.
                        const bool useStore = (flags & 1) != 0;
                        const bool useDsp = (flags & 2) != 0 && !(useStore && IsVersionQueryId(id));
                        HRESULT documented = handle == Handle::Null || !sizePointer ? E_INVALIDARG : S_OK;
                        std::optional<UINT32> negotiated;
                        for (const auto& [used, route] : {std::pair{useStore, &store}, std::pair{useDsp, &toDsp}}) {
                            if (documented != S_OK || !used) continue;
                            if (!route->second) documented = route->first;
                            else if (!withBuffer || room < *route->second) documented = E_INVALIDARG, negotiated = route->second;
                        }
                        EXPECT_EQ(hr, documented) << current << " gave " << Hex(hr) << ", documented " << Hex(documented);
                        EXPECT_TRUE(!negotiated || size == *negotiated) << current << ": the size it needs, " << size;
                        EXPECT_TRUE(FAILED(hr) || !sizePointer || size <= room) << current << ": reports more than the buffer holds";
                        const bool storeFilled = useStore && store.second && useDsp;
                        const bool sizeMayChange = (useStore || useDsp) && (SUCCEEDED(hr) || negotiated || storeFilled);
                        EXPECT_TRUE(!sizePointer || sizeMayChange || size == room) << current << ": size changed";
                        if (buffer != nullptr) {
                            UINT32 kept = SUCCEEDED(hr) && (useStore || useDsp) ? std::min(size, room) : 0;
                            // With both routes the store's value stays in the buffer when the DSP
                            // route then fails or leaves the buffer alone, as documented.
                            if (storeFilled && room >= *store.second) kept = room;
                            for (UINT32 i = kept; i < room; ++i) {
                                if (buffer[i] == kSentinel || (buffer[i] == 0 && (useStore || useDsp))) continue;
                                ADD_FAILURE() << current << ": byte " << i << " written beyond the " << kept << " reported";
                                break;
                            }
                        }
                        afterCall(0, true);
                    }
                }
            }
            for (UINT32 flags : kFlags) {
                for (const Write& w : writes) {
                    std::ostringstream what;
                    what << NameOf(handle) << ", " << id << ", " << w.what << ", flags 0x" << std::hex << flags;
                    current = what.str();
                    if (w.bytes != nullptr) std::memcpy(w.bytes, w.initial.data(), w.initial.size());
                    const HRESULT hr = w.call(handleOf(handle), flags);
                    const Results expected = Documented(handle, id, flags, w);
                    EXPECT_TRUE(expected.contains(hr)) << current << " gave " << Hex(hr) << ", documented " << Text(expected);
                    EXPECT_TRUE(w.bytes == nullptr || std::equal(w.initial.begin(), w.initial.end(), w.bytes))
                        << current << ": caller's bytes changed";
                    const bool taken = handle != Handle::Null && !w.refused && w.usable;
                    const bool written = taken && handle == Handle::Open && !w.direct && (flags & 1) && InCatalogue(id);
                    afterCall(written ? 1 : 0, taken && (flags & 2));
                }
            }
        }
    }
    EXPECT_GE(calls, 30000);
    EXPECT_EQ(dll.Close(open), S_OK);
    std::printf("bad-input matrix: %ld calls\n", calls);
}

}  // namespace
}  // namespace kelix::test
