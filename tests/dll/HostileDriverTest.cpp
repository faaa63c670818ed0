// The hostile-driver sweep: sessions through the exports (open, DSP reads of
// every id the DSP route serves into caller buffers that end at a no-access
// page, DSP writes, close) against a DSP whose answers are mutated from a
// fixed seed: failure codes, short and overlong byte counts, random bytes,
// absurd module lists. No fault, only documented codes, no byte of an earlier
// reply in a successful read, no module list read into more than the largest
// reply, and nothing held after each close.
#include <gtest/gtest.h>

#include <cstdio>
#include <set>
#include <vector>

#include "GuardedBuffer.h"
#include "SimulatedEndpointTest.h"
#include "core/DspParameterTables.h"
#include "core/DspValueShaping.h"

namespace kelix::test {
namespace {

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
std::uint32_t Marker(int call) {
    return std::uint32_t{sim::kMutationMark} << 24 | (call / 8100 % 90) << 16 | (call / 90 % 90) << 8 | call % 90;
}
// The call numbers of the marker words in bytes (any alignment: a window that ends in the mark).
std::vector<int> MarkedCalls(const BYTE* bytes, UINT32 size) {
    std::vector<int> calls;
    for (UINT32 at = 3; at < size; ++at) {
        if (bytes[at] != sim::kMutationMark) continue;
        calls.push_back(bytes[at - 1] * 8100 + bytes[at - 2] * 90 + bytes[at - 3]);
    }
    return calls;
}

// The ids the DSP route reads, with the module and index that hold their values.
struct Readable {
    std::int32_t id;
    GUID module;
    std::optional<UINT32> index;  // none: the answer is the module's description, the bypass or enable
};
std::vector<Readable> ReadableIds() {
    std::vector<Readable> ids;
    for (std::int32_t id = 1001; id <= 2998; ++id) {
        const GUID module = id < 2000 ? kPexModuleId : kKreloModuleId;
        if (const auto route = LookupDspRoute(id); route && id != 1002 && id != 2002) {
            ids.push_back({id, module, static_cast<UINT32>(route->index)});
        } else if (id == 1001 || id == 1002 || id == 2002 || id == 2006) {
            ids.push_back({id, module, std::nullopt});
        }
    }
    return ids;
}

class HostileDriverTest : public SimulatedEndpointTest {};

TEST_F(HostileDriverTest, MutatedAnswersReachNoCallerAsEarlierBytes) {
    speakers.Remove();  // endpoints without a DSP would end the walk before the DSP's endpoint
    headset.Remove();
    const EndpointWithDsp machine = AddEndpointWithDsp(platform, 3);
    machine.dsp->Mutate({kSeed, 30});
    const std::vector<Readable> ids = ReadableIds();
    ASSERT_GT(ids.size(), 60u);

    std::set<HRESULT> documented = {S_OK, E_INVALIDARG, E_FAIL, E_OUTOFMEMORY, E_NOTIMPL};
    documented.insert(std::begin(sim::kMutationFailures), std::end(sim::kMutationFailures));
    // The simulated driver's own refusals (sim/Dsp.h), passed on unchanged.
    for (const HRESULT own : {0x80070492u, 0x80070490u, 0x8007007Au, 0x800703E6u}) documented.insert(static_cast<HRESULT>(own));

    GuardedBuffer memory;
    ASSERT_TRUE(memory.Ready());
    std::string scene;
    FaultNote note([&] { return scene; });
    long reads = 0, successfulReads = 0, earlierBytes = 0, undocumented = 0, heldAfterClose = 0;
    int call = 0, sessions = 0;
    for (; sessions < kMaxSessions && machine.dsp->MutationCounts().answers < kMutatedAnswers; ++sessions) {
        wchar_t* handle = nullptr;
        const HRESULT opened = dll.Open(&handle, machine.id.c_str());
        ASSERT_EQ(opened, S_OK) << "session " << sessions;
        for (int step = 0; step < kCallsPerSession; ++step, ++call) {
            const Readable& target = ids[static_cast<size_t>(call * 7 + sessions) % ids.size()];
            const UINT32 room = kCallerSizes[static_cast<size_t>(call) % std::size(kCallerSizes)];
            scene = "session " + std::to_string(sessions) + ", call " + std::to_string(call) + ": id " +
                      std::to_string(target.id) + " into " + std::to_string(room) + " bytes";
            HRESULT hr;
            if (step % 4 == 3) {  // a write, whose answer is mutated as well
                std::int32_t word = static_cast<std::int32_t>(Marker(call));
                hr = dll.Set(handle, step % 8 == 3 ? 1105 : 2104, &word, 4, 2);
            } else {
                if (target.index) {
                    const std::vector<std::uint8_t> layout = DefaultDspReply(*target.index, L"");
                    const size_t words = layout.empty() ? 1 + call % 6 : layout.size() / 4;
                    std::vector<BYTE> value(words * 4);
                    for (size_t w = 0; w < words; ++w) {
                        const std::uint32_t marker = Marker(call);
                        std::memcpy(value.data() + w * 4, &marker, 4);
                    }
                    machine.dsp->SetParameter(target.module, *target.index, std::move(value));
                }
                UINT32 size = room;
                BYTE* buffer = memory.End(room);
                std::memset(buffer, 0, room);  // nothing of the calls before stays in the caller's buffer
                hr = dll.Get(handle, target.id, room == 0 ? nullptr : buffer, &size, 2);
                ++reads;
                if (hr == S_OK) {
                    ++successfulReads;
                    for (const int marked : MarkedCalls(buffer, std::min(size, room))) {
                        if (marked != call) {
                            if (++earlierBytes <= 3) ADD_FAILURE() << scene << ": bytes of call " << marked;
                            break;
                        }
                    }
                }
            }
            if (!documented.contains(hr)) {
                ++undocumented;
                ADD_FAILURE() << scene << ": " << Hex(hr);
            }
        }
        EXPECT_EQ(dll.Close(handle), S_OK);
        if (platform.TotalReferences() != 0) ++heldAfterClose;
    }

    const sim::DspMutationCounts counts = machine.dsp->MutationCounts();
    EXPECT_GE(counts.answers, kMutatedAnswers);
    EXPECT_EQ(earlierBytes, 0) << "successful reads holding bytes of an earlier reply";
    EXPECT_EQ(undocumented, 0);
    EXPECT_EQ(heldAfterClose, 0) << "sessions after whose close references were held";
    EXPECT_LE(counts.largestListRead, kLargestReply) << "a module list read into more than the largest reply";
    std::printf("hostile driver (seed %u): %d sessions, %ld mutated answers, %ld reads, %ld successful\n", kSeed,
                sessions, counts.answers, reads, successfulReads);
}

}  // namespace
}  // namespace kelix::test
