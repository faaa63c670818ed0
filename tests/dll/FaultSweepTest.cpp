// The reliability sweeps through the exports.
//
// The fault sweep: one session through the exports (open an endpoint whose DSP
// carries both families, a store write and read, DSP writes and reads of a PEX
// and a KRELO scalar, array reads, close, unload) is recorded call by call on
// the simulated platform, then replayed once per recorded call with that one
// call failing with 0x8007001F, a code the library never makes itself. Each replay
// must end without a fault, every export must answer either the injected code
// or the code its path documents, and the references on the simulated objects
// must come back to rest after every step and to none after the unload.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "GuardedBuffer.h"
#include "SimulatedEndpointTest.h"
#include "core/DspParameterTables.h"
#include "core/DspValueShaping.h"

namespace kelix::test {
namespace {

constexpr auto kInjected = static_cast<HRESULT>(0x8007001F);

// One session on a fresh platform and a freshly loaded library; `fail` (counted from 1, 0: none)
// makes that platform call fail with kInjected, described by `scene` for a fault report. Gives the
// platform calls recorded and the steps' results.
std::pair<std::vector<std::string>, std::vector<HRESULT>> RunSession(int fail, const std::string& scene = "") {
    sim::Platform platform;
    const EndpointWithDsp machine = AddEndpointWithDsp(platform, 3);
    sim::Installation installed{platform};
    GuardedBuffer memory;
    memory.scene = scene;
    // The ieq bands as the store holds them: count, then each array behind its length.
    StoreWords(*machine.endpoint, PexTuningKey(13), Join({{3, 20}, Iota(20, 1), {20}, Iota(20, 21)}));
    EXPECT_EQ(installed.Result(), S_OK);
    platform.RecordCalls(true);
    if (fail != 0) platform.FailCall(fail, kInjected);
    std::vector<HRESULT> results;
    // Checks a step's result against S_OK, the injected code and what its path documents
    // (`allowed`), and the references after it against their resting count.
    const auto step = [&](const std::string& name, HRESULT hr, std::set<HRESULT> allowed, long resting) {
        results.push_back(hr);
        allowed.insert({S_OK, kInjected});
        EXPECT_TRUE(allowed.contains(hr)) << name << " gave " << Hex(hr);
        EXPECT_EQ(platform.TotalReferences(), resting) << "references after " << name;
        return hr;
    };
    // The session, with the library unloaded at its end.
    const auto session = [&] {
        DllUnderTest dll;
        ASSERT_TRUE(dll.Loaded());
        wchar_t* handle = nullptr;
        const HRESULT opened = dll.Open(&handle, machine.id.c_str());
        // A failed open keeps only the controls of the modules found; an open one the store and those.
        const long resting = FAILED(opened) ? platform.References("IKsControl") : platform.TotalReferences();
        step("open", opened, {S_FALSE}, resting);  // S_FALSE: the store opened for reading only
        if (FAILED(opened)) {
            EXPECT_EQ(handle, nullptr);
            return;
        }
        EXPECT_LE(resting, 3) << "references after open";
        // Words written and read back through one route, then array reads into buffers that end
        // at a no-access page. Beside S_OK and the injected code, the DSP route may answer
        // E_INVALIDARG (the module was not found: its discovery failed); the store route refuses a
        // write to a store opened for reading only and answers E_FAIL for a value it does not hold.
        for (const auto& [id, flags, value, room] : {std::tuple{1105, 1u, -6, 4u}, {1105, 2u, -6, 4u}, {2104, 2u, 3, 4u},
                                                     {1114, 1u, 0, 164u}, {2126, 2u, 0, 80u}}) {
            const bool dsp = flags == 2;
            const std::string name = std::to_string(id) + (dsp ? " on the DSP" : " in the store");
            UINT32 size = room;
            INT32 word = value;
            const HRESULT set = value == 0 ? S_OK  // an array: read only
                                           : step("set " + name, dll.Set(handle, id, &word, 4, flags),
                                                  {dsp ? E_INVALIDARG : opened == S_FALSE ? STG_E_ACCESSDENIED : S_OK}, resting);
            word = 0;
            void* into = value == 0 ? static_cast<void*>(memory.End(size)) : &word;
            const HRESULT got = step("get " + name, dll.Get(handle, id, into, &size, flags),
                                     {dsp ? E_INVALIDARG : set == S_OK ? S_OK : E_FAIL}, resting);
            if (value != 0 && got == S_OK && (set == S_OK || !dsp)) { EXPECT_EQ(word, value) << "get " << name; }
        }
        step("close", dll.Close(handle), {}, 0);  // the last close gives back every module control
    };
    session();
    platform.RecordCalls(false);
    EXPECT_EQ(platform.TotalReferences(), 0) << "references left after the unload";
    EXPECT_EQ(platform.TotalObjects(), 0) << "objects left after the unload";
    return {platform.RecordedCalls(), results};
}

TEST(FaultSweepTest, EveryPlatformCallOfASessionFailsInTurn) {
    const auto [calls, results] = RunSession(0);
    for (const HRESULT hr : results) EXPECT_EQ(hr, S_OK) << "without faults";
    ASSERT_GT(calls.size(), 20u);

    int surfaced = 0;  // replays in which an export answered the injected code
    for (int call = 1; call <= static_cast<int>(calls.size()); ++call) {
        const std::string current = "call " + std::to_string(call) + " (" + calls[call - 1] + ") failing with " + Hex(kInjected);
        SCOPED_TRACE(current);
        const auto [replayed, replayResults] = RunSession(call, current);
        // The same session up to the failing call: the call that failed is the one recorded.
        ASSERT_GE(replayed.size(), static_cast<size_t>(call));
        EXPECT_TRUE(std::equal(replayed.begin(), replayed.begin() + call, calls.begin())) << "replay diverged";
        surfaced += std::count(replayResults.begin(), replayResults.end(), kInjected) > 0 ? 1 : 0;
    }
    EXPECT_GT(surfaced, 0);
    std::printf("fault sweep: %zu platform calls swept; the injected code reached the caller in %d replays\n",
                calls.size(), surfaced);
}

constexpr UINT32 kSeed = 20261124;
constexpr long kMutatedAnswers = 3000;
constexpr int kMaxSessions = 4000;    // bounds the run should the mutation rate change
constexpr int kCallsPerSession = 24;
constexpr UINT32 kLargestReply = 64004;
constexpr UINT32 kCallerSizes[] = {0, 3, 4, 8, 80, 164, 324, 720, 4096, GuardedBuffer::kRoom};

// Every value the sweep stores on the DSP is made of marker words: the byte sim::kMutationMark on
// top and the number of the call below, in digits of base 90 so that no other byte is the mark.
// Random bytes of the mutation never hold the mark either, so a marker word of an earlier call in
// a successful read is a byte of an earlier reply.
std::int32_t Marker(int call) {
    return static_cast<std::int32_t>(std::uint32_t{sim::kMutationMark} << 24 | (call / 8100 % 90) << 16 | (call / 90 % 90) << 8 | call % 90);
}
// The number of a marker word in bytes whose call is not `call` (any alignment: a window that
// ends in the mark), or -1.
int EarlierCall(const BYTE* bytes, UINT32 size, int call) {
    for (UINT32 at = 3; at < size; ++at) {
        const int marked = bytes[at - 1] * 8100 + bytes[at - 2] * 90 + bytes[at - 3];
        if (bytes[at] == sim::kMutationMark && marked != call) return marked;
    }
    return -1;
}

// The hostile-driver sweep: sessions through the exports (open, DSP reads of every id the DSP
// route serves into caller buffers that end at a no-access page, DSP writes, close) against a
// DSP whose answers are mutated from a fixed seed: failure codes, short and overlong byte
// counts, random bytes, absurd module lists. No fault, only documented codes, no byte of an
// earlier reply in a successful read, no module list read into more than the largest reply,
// and nothing held after each close.
class HostileDriverTest : public SimulatedEndpointTest {};

TEST_F(HostileDriverTest, MutatedAnswersReachNoCallerAsEarlierBytes) {
    // Ahead of the endpoints without a DSP, which would end the walk before the DSP's endpoint.
    const EndpointWithDsp machine = AddEndpointWithDsp(platform, 3, kSpeakers);
    machine.dsp->Mutate({kSeed, 30});
    // The ids the DSP route reads: those it finds in the module's parameters, and the module's
    // description (1001, 1002, 2002) and its bypass or enable (2006).
    std::vector<std::int32_t> ids = {1001, 1002, 2002, 2006};
    for (std::int32_t id = 1001; id <= 2998; ++id) {
        if (LookupDspRoute(id) && std::ranges::find(ids, id) == ids.end()) ids.push_back(id);
    }
    ASSERT_GT(ids.size(), 60u);

    std::set<HRESULT> documented = {S_OK, E_INVALIDARG, E_FAIL, E_OUTOFMEMORY, E_NOTIMPL};
    documented.insert(std::begin(sim::kMutationFailures), std::end(sim::kMutationFailures));
    // The simulated driver's own refusals (sim/Dsp.h), passed on unchanged.
    for (const HRESULT own : {0x80070492u, 0x80070490u, 0x8007007Au, 0x800703E6u}) documented.insert(static_cast<HRESULT>(own));

    GuardedBuffer memory;
    ASSERT_TRUE(memory.Ready());
    std::string& scene = memory.scene;
    long successfulReads = 0;
    int call = 0, sessions = 0;
    for (; sessions < kMaxSessions && machine.dsp->MutationCounts().answers < kMutatedAnswers; ++sessions) {
        wchar_t* handle = nullptr;
        ASSERT_EQ(dll.Open(&handle, machine.id.c_str()), S_OK) << "session " << sessions;
        for (int step = 0; step < kCallsPerSession; ++step, ++call) {
            const std::int32_t id = ids[static_cast<size_t>(call * 7 + sessions) % ids.size()];
            const UINT32 room = kCallerSizes[static_cast<size_t>(call) % std::size(kCallerSizes)];
            scene = "session " + std::to_string(sessions) + ", call " + std::to_string(call) + ": id " +
                      std::to_string(id) + " into " + std::to_string(room) + " bytes";
            HRESULT hr;
            if (step % 4 == 3) {  // a write, whose answer is mutated as well
                std::int32_t word = Marker(call);
                hr = dll.Set(handle, step % 8 == 3 ? 1105 : 2104, &word, 4, 2);
            } else {
                if (const auto route = LookupDspRoute(id); route && id != 1002 && id != 2002) {
                    const std::vector<std::uint8_t> layout = DefaultDspReply(route->index, L"");
                    const std::vector<std::int32_t> words(layout.empty() ? 1 + call % 6 : layout.size() / 4, Marker(call));
                    machine.dsp->SetParameter(id < 2000 ? kPexModuleId : kKreloModuleId, static_cast<UINT32>(route->index), Bytes(words));
                }
                UINT32 size = room;
                BYTE* buffer = memory.End(room);
                std::memset(buffer, 0, room);  // nothing of the calls before stays in the caller's buffer
                hr = dll.Get(handle, id, room == 0 ? nullptr : buffer, &size, 2);
                successfulReads += hr == S_OK;
                EXPECT_EQ(hr == S_OK ? EarlierCall(buffer, std::min(size, room), call) : -1, -1)
                    << scene << ": bytes of an earlier reply (of the call shown)";
            }
            EXPECT_TRUE(documented.contains(hr)) << scene << ": " << Hex(hr);
        }
        EXPECT_EQ(dll.Close(handle), S_OK);
        EXPECT_EQ(platform.TotalReferences(), 0) << "references held after the close of session " << sessions;
    }

    const sim::DspMutationCounts counts = machine.dsp->MutationCounts();
    EXPECT_GE(counts.answers, kMutatedAnswers);
    EXPECT_GT(successfulReads, 0);
    EXPECT_LE(counts.largestListRead, kLargestReply) << "a module list read into more than the largest reply";
    std::printf("hostile driver (seed %u): %d sessions, %ld mutated answers, %ld successful reads\n", kSeed, sessions,
                counts.answers, successfulReads);
}

}  // namespace
}  // namespace kelix::test
