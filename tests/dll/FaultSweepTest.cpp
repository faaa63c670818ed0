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
#include <optional>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "GuardedBuffer.h"
#include "SimulatedEndpointTest.h"

namespace kelix::test {
namespace {

constexpr auto kInjected = static_cast<HRESULT>(0x8007001F);

// Results a step may give besides S_OK and the injected code, as its path documents them.
constexpr unsigned kReadOnly = 1;     // S_FALSE: the store opened for reading only
constexpr unsigned kNoFamily = 2;     // E_INVALIDARG: the DSP route without the module (discovery failed)
constexpr unsigned kEmpty = 4;        // E_FAIL: the store holds no value (its write failed)
constexpr unsigned kWriteDenied = 8;  // STG_E_ACCESSDENIED: a write to a store opened for reading only

struct Result {
    std::string name;
    HRESULT hr;
};

// One session on a fresh platform and a freshly loaded library; `fail` makes that platform
// call (counted from 1) fail with `injected`.
class Session {
public:
    Session() {
        AttachDspWithBothFamilies(platform_, speakers_);
        // The ieq bands as the store holds them: count, then each array behind its length.
        StoreWords(speakers_, PexTuningKey(13), Join({{3, 20}, Iota(20, 1), {20}, Iota(20, 21)}));
    }

    void Run(std::optional<int> fail, HRESULT injected) {
        ASSERT_EQ(installed_.Result(), S_OK);
        platform_.RecordCalls(true);
        if (fail) platform_.FailCall(*fail, injected);
        injected_ = injected;
        {
            DllUnderTest dll;
            ASSERT_TRUE(dll.Loaded());
            RunSteps(dll);
        }
        platform_.RecordCalls(false);
        EXPECT_EQ(platform_.TotalReferences(), 0) << Where() << "references left after the unload";
        EXPECT_EQ(platform_.TotalObjects(), 0) << Where() << "objects left after the unload";
    }

    std::vector<std::string> Calls() const { return platform_.RecordedCalls(); }
    const std::vector<Result>& Steps() const { return steps_; }
    void Describe(std::string where) { where_ = std::move(where); }

private:
    std::string Where() const { return where_.empty() ? "" : where_ + ": "; }

    // Checks a step's result against S_OK, the injected code and what its path allows, and the
    // references after it against their resting count.
    void Step(const std::string& name, HRESULT hr, unsigned allowed, long resting) {
        steps_.push_back({name, hr});
        std::set<HRESULT> expected = {S_OK, injected_};
        if (allowed & kReadOnly) expected.insert(S_FALSE);
        if (allowed & kNoFamily) expected.insert(E_INVALIDARG);
        if (allowed & kEmpty) expected.insert(E_FAIL);
        if (allowed & kWriteDenied) expected.insert(STG_E_ACCESSDENIED);
        EXPECT_TRUE(expected.contains(hr)) << Where() << name << " gave " << Hex(hr);
        EXPECT_EQ(platform_.TotalReferences(), resting) << Where() << "references after " << name;
    }

    void RunSteps(DllUnderTest& dll) {
        wchar_t* handle = nullptr;
        const HRESULT opened = dll.Open(&handle, kSpeakers);
        // A failed open keeps only the controls of the modules found; an open one the store and those.
        const long resting = FAILED(opened) ? platform_.References("IKsControl") : platform_.TotalReferences();
        Step("open", opened, kReadOnly, resting);
        if (FAILED(opened)) {
            EXPECT_EQ(handle, nullptr);
            return;
        }
        EXPECT_LE(resting, 3) << Where() << "references after open";
        INT32 gain = -6, read = 0;
        UINT32 size = 4;
        const HRESULT storeSet = dll.Set(handle, 1105, &gain, 4, 1);
        Step("store set", storeSet, opened == S_FALSE ? kWriteDenied : 0, resting);
        const HRESULT storeGet = dll.Get(handle, 1105, &read, &size, 1);
        Step("store get", storeGet, storeSet == S_OK ? 0 : kEmpty, resting);
        if (storeGet == S_OK) { EXPECT_EQ(read, -6) << Where() << "store get"; }
        for (const auto& [id, value, name] : {std::tuple{1105, -6, "PEX"}, std::tuple{2104, 3, "KRELO"}}) {
            INT32 word = value;
            const HRESULT set = dll.Set(handle, id, &word, 4, 2);
            Step(std::string("DSP set ") + name, set, kNoFamily, resting);
            word = 0;
            size = 4;
            const HRESULT get = dll.Get(handle, id, &word, &size, 2);
            Step(std::string("DSP get ") + name, get, kNoFamily, resting);
            if (get == S_OK && set == S_OK) { EXPECT_EQ(word, value) << Where() << "DSP get " << name; }
        }
        // Array reads: the ieq bands from the store and the vis bands from the DSP, each into a
        // buffer that ends at a no-access page.
        size = 164;
        Step("store array get", dll.Get(handle, 1114, memory_.End(size), &size, 1), 0, resting);
        size = 80;
        Step("DSP array get", dll.Get(handle, 2126, memory_.End(size), &size, 2), kNoFamily, resting);
        Step("close", dll.Close(handle), 0, 0);  // the last close gives back every module control
    }

    sim::Platform platform_;
    sim::Endpoint& speakers_ = platform_.AddEndpoint({kSpeakers});
    sim::Installation installed_{platform_};
    GuardedBuffer memory_;
    HRESULT injected_ = S_OK;
    std::vector<Result> steps_;
    std::string where_;
};

TEST(FaultSweepTest, EveryPlatformCallOfASessionFailsInTurn) {
    std::vector<std::string> calls;
    {
        Session reference;
        reference.Run(std::nullopt, S_OK);
        calls = reference.Calls();
        for (const Result& step : reference.Steps()) EXPECT_EQ(step.hr, S_OK) << "without faults: " << step.name;
    }
    ASSERT_GT(calls.size(), 20u);

    std::string current;
    FaultNote note([&] { return current; });
    int surfaced = 0;  // replays in which an export answered the injected code
    for (int call = 1; call <= static_cast<int>(calls.size()); ++call) {
        current = "call " + std::to_string(call) + " (" + calls[call - 1] + ") failing with " + Hex(kInjected);
        SCOPED_TRACE(current);
        Session session;
        session.Describe(current);
        session.Run(call, kInjected);
        // The same session up to the failing call: the call that failed is the one recorded.
        const std::vector<std::string> replayed = session.Calls();
        ASSERT_GE(replayed.size(), static_cast<size_t>(call));
        EXPECT_TRUE(std::equal(replayed.begin(), replayed.begin() + call, calls.begin())) << "replay diverged";
        const std::vector<Result>& steps = session.Steps();
        if (std::any_of(steps.begin(), steps.end(), [&](const Result& step) { return step.hr == kInjected; })) {
            ++surfaced;
        }
    }
    EXPECT_GT(surfaced, 0);
    std::printf("fault sweep: %zu platform calls (%zu methods) swept, each failing with 0x8007001F; the injected "
                "code reached the caller in %d of %zu replays\n",
                calls.size(), std::set<std::string>(calls.begin(), calls.end()).size(), surfaced, calls.size());
}

}  // namespace
}  // namespace kelix::test
