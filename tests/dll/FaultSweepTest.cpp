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
#include <vector>

#include "GuardedBuffer.h"
#include "SimulatedEndpointTest.h"

namespace kelix::test {
namespace {

constexpr auto kInjected = static_cast<HRESULT>(0x8007001F);

// One session on a fresh platform and a freshly loaded library; `fail` (counted from 1, 0: none)
// makes that platform call fail with kInjected. Returns the steps' results.
class Session {
public:
    explicit Session(int fail) {
        AttachDspWithBothFamilies(platform_, speakers_);
        // The ieq bands as the store holds them: count, then each array behind its length.
        StoreWords(speakers_, PexTuningKey(13), Join({{3, 20}, Iota(20, 1), {20}, Iota(20, 21)}));
        EXPECT_EQ(installed_.Result(), S_OK);
        platform_.RecordCalls(true);
        if (fail != 0) platform_.FailCall(fail, kInjected);
        {
            DllUnderTest dll;
            if (dll.Loaded()) RunSteps(dll);
        }
        platform_.RecordCalls(false);
        EXPECT_EQ(platform_.TotalReferences(), 0) << "references left after the unload";
        EXPECT_EQ(platform_.TotalObjects(), 0) << "objects left after the unload";
    }

    std::vector<std::string> Calls() const { return platform_.RecordedCalls(); }
    std::vector<HRESULT> results;

private:
    // Checks a step's result against S_OK, the injected code and what its path documents
    // (`allowed`), and the references after it against their resting count.
    HRESULT Step(const char* name, HRESULT hr, std::set<HRESULT> allowed, long resting) {
        results.push_back(hr);
        allowed.insert({S_OK, kInjected});
        EXPECT_TRUE(allowed.contains(hr)) << name << " gave " << Hex(hr);
        EXPECT_EQ(platform_.TotalReferences(), resting) << "references after " << name;
        return hr;
    }

    void RunSteps(DllUnderTest& dll) {
        wchar_t* handle = nullptr;
        const HRESULT opened = dll.Open(&handle, kSpeakers);
        // A failed open keeps only the controls of the modules found; an open one the store and those.
        const long resting = FAILED(opened) ? platform_.References("IKsControl") : platform_.TotalReferences();
        Step("open", opened, {S_FALSE}, resting);  // S_FALSE: the store opened for reading only
        if (FAILED(opened)) {
            EXPECT_EQ(handle, nullptr);
            return;
        }
        EXPECT_LE(resting, 3) << "references after open";
        INT32 gain = -6, read = 0;
        UINT32 size = 4;
        // A write to a store opened for reading only is refused; a store without the value answers E_FAIL.
        const HRESULT storeSet = Step("store set", dll.Set(handle, 1105, &gain, 4, 1),
                                      {opened == S_FALSE ? STG_E_ACCESSDENIED : S_OK}, resting);
        if (Step("store get", dll.Get(handle, 1105, &read, &size, 1), {storeSet == S_OK ? S_OK : E_FAIL}, resting) ==
            S_OK) {
            EXPECT_EQ(read, -6) << "store get";
        }
        // E_INVALIDARG on the DSP route: the module was not found (its discovery failed).
        for (const auto& [id, value] : {std::pair{1105, -6}, std::pair{2104, 3}}) {
            INT32 word = value;
            const HRESULT set = Step("DSP set", dll.Set(handle, id, &word, 4, 2), {E_INVALIDARG}, resting);
            word = 0;
            size = 4;
            if (Step("DSP get", dll.Get(handle, id, &word, &size, 2), {E_INVALIDARG}, resting) == S_OK && set == S_OK) {
                EXPECT_EQ(word, value) << "DSP get " << id;
            }
        }
        // Array reads: the ieq bands from the store and the vis bands from the DSP, each into a
        // buffer that ends at a no-access page.
        size = 164;
        Step("store array get", dll.Get(handle, 1114, memory_.End(size), &size, 1), {}, resting);
        size = 80;
        Step("DSP array get", dll.Get(handle, 2126, memory_.End(size), &size, 2), {E_INVALIDARG}, resting);
        Step("close", dll.Close(handle), {}, 0);  // the last close gives back every module control
    }

    sim::Platform platform_;
    sim::Endpoint& speakers_ = platform_.AddEndpoint({kSpeakers});
    sim::Installation installed_{platform_};
    GuardedBuffer memory_;
};

TEST(FaultSweepTest, EveryPlatformCallOfASessionFailsInTurn) {
    std::vector<std::string> calls;
    {
        Session reference(0);
        calls = reference.Calls();
        for (const HRESULT hr : reference.results) EXPECT_EQ(hr, S_OK) << "without faults";
    }
    ASSERT_GT(calls.size(), 20u);

    std::string current;
    FaultNote note([&] { return current; });
    int surfaced = 0;  // replays in which an export answered the injected code
    for (int call = 1; call <= static_cast<int>(calls.size()); ++call) {
        current = "call " + std::to_string(call) + " (" + calls[call - 1] + ") failing with " + Hex(kInjected);
        SCOPED_TRACE(current);
        Session session(call);
        // The same session up to the failing call: the call that failed is the one recorded.
        const std::vector<std::string> replayed = session.Calls();
        ASSERT_GE(replayed.size(), static_cast<size_t>(call));
        EXPECT_TRUE(std::equal(replayed.begin(), replayed.begin() + call, calls.begin())) << "replay diverged";
        surfaced += std::count(session.results.begin(), session.results.end(), kInjected) > 0 ? 1 : 0;
    }
    EXPECT_GT(surfaced, 0);
    std::printf("fault sweep: %zu platform calls swept; the injected code reached the caller in %d replays\n",
                calls.size(), surfaced);
}

}  // namespace
}  // namespace kelix::test
