// Callers on several threads at once: every result and read-back right, no DSP write on another thread's parameter or
// another endpoint's DSP, and nothing of a device held once it is closed.
// Workers run in the multithreaded apartment, where the simulated classes are
// registered.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <functional>
#include <set>
#include <thread>
#include <vector>

#include "SimulatedEndpointTest.h"

namespace kelix::test {
namespace {

constexpr int kThreads = 4;
constexpr int kIterations = 40;

// What one thread writes: a PEX and a KRELO scalar (catalogue id, DSP index), on both routes.
struct Lane {
    std::int32_t pexId;
    UINT32 pexIndex;
    std::int32_t kreloId;
    UINT32 kreloIndex;
};
constexpr Lane kLanes[kThreads] = {{1105, 122, 2104, 21}, {1104, 121, 2103, 20}, {1101, 123, 2110, 25},
                                   {1102, 124, 2111, 28}};
constexpr UINT32 kFormFactorIndex = 127;  // every PEX write sends it first

// A value that names its writer: the thread in the top byte, the iteration below.
std::int32_t Tagged(int thread, int iteration) { return (thread + 1) << 24 | iteration; }
int WriterOf(std::int32_t value) { return (value >> 24) - 1; }

class ThreadsTest : public SimulatedEndpointTest {
protected:
    void SetUp() override {
        SimulatedEndpointTest::SetUp();
        speakers.Remove();  // endpoints without a DSP would end the walk before the others
        headset.Remove();
        for (int n = 0; n < kThreads; ++n) machines.push_back(AddEndpointWithDsp(platform, 3 + n));
    }

    // Runs body(thread) on kThreads threads of the multithreaded apartment; the failures they count.
    static long OnThreads(const std::function<long(int)>& body) {
        std::atomic<long> failures{0};
        std::vector<std::thread> threads;
        for (int t = 0; t < kThreads; ++t) {
            threads.emplace_back([&, t] {
                if (FAILED(CoInitializeEx(nullptr, COINIT_MULTITHREADED))) {
                    ++failures;
                    return;
                }
                failures += body(t);
                CoUninitialize();
            });
        }
        for (std::thread& thread : threads) thread.join();
        return failures;
    }

    // Writes and reads back the lane's two scalars on each route; the wrong results and values.
    long Exercise(wchar_t* handle, const Lane& lane, std::int32_t value) {
        long wrong = 0;
        for (const UINT32 route : {1u, 2u}) {
            for (const std::int32_t id : {lane.pexId, lane.kreloId}) {
                std::int32_t written = value, read = 0;
                UINT32 size = 4;
                const HRESULT set = dll.Set(handle, id, &written, 4, route);
                const HRESULT get = dll.Get(handle, id, &read, &size, route);
                if (set != S_OK || get != S_OK || read != value || size != 4) {
                    if (++wrong <= 3) {
                        std::fprintf(stderr, "id %d route %u: set %s, get %s, read %d of %d\n", id, route,
                                     Hex(set).c_str(), Hex(get).c_str(), read, value);
                    }
                }
            }
        }
        return wrong;
    }

    // DSP values found where no thread of that endpoint writes, or written by a thread of another
    // endpoint; `writers[m]` are the threads (lanes) that write to machine m.
    long ForeignDspValues(const std::vector<std::set<int>>& writers) {
        long foreign = 0;
        for (size_t m = 0; m < machines.size(); ++m) {
            for (const GUID& module : {kPexModuleId, kKreloModuleId}) {
                for (const auto& [index, bytes] : machines[m].dsp->Parameters(module)) {
                    if (index == kFormFactorIndex) continue;
                    std::int32_t value = 0;
                    if (bytes.size() == 4) std::memcpy(&value, bytes.data(), 4);
                    const int writer = WriterOf(value);
                    const bool expected = bytes.size() == 4 && writers[m].contains(writer) &&
                                          (index == kLanes[writer].pexIndex || index == kLanes[writer].kreloIndex);
                    foreign += expected ? 0 : 1;
                }
            }
        }
        return foreign;
    }

    // Nothing of any device is held once every endpoint is closed.
    void ExpectNothingHeld() {
        EXPECT_EQ(platform.References("IKsControl"), 0);
        EXPECT_EQ(platform.TotalReferences(), 0);
    }

    std::vector<EndpointWithDsp> machines;
};

// Four threads sharing one handle, each on parameters of its own.
TEST_F(ThreadsTest, OneSharedHandle) {
    wchar_t* handle = nullptr;
    ASSERT_EQ(dll.Open(&handle, machines[0].id.c_str()), S_OK);
    const long wrong = OnThreads([&](int t) {
        long failures = 0;
        for (int i = 0; i < kIterations; ++i) failures += Exercise(handle, kLanes[t], Tagged(t, i));
        return failures;
    });
    EXPECT_EQ(dll.Close(handle), S_OK);
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(ForeignDspValues({{0, 1, 2, 3}, {}, {}, {}}), 0);
    ExpectNothingHeld();
}

// Each thread on an endpoint of its own: two open and close theirs on every iteration while
// two write and read on endpoints that stay open.
TEST_F(ThreadsTest, OpenAndCloseWhileOthersWork) {
    wchar_t* steady[2] = {};
    ASSERT_EQ(dll.Open(&steady[0], machines[0].id.c_str()), S_OK);
    ASSERT_EQ(dll.Open(&steady[1], machines[1].id.c_str()), S_OK);
    const long wrong = OnThreads([&](int t) {
        long failures = 0;
        for (int i = 0; i < kIterations; ++i) {
            if (t < 2) {
                failures += Exercise(steady[t], kLanes[t], Tagged(t, i));
                continue;
            }
            wchar_t* handle = nullptr;
            if (dll.Open(&handle, machines[t].id.c_str()) != S_OK) {
                ++failures;
                continue;
            }
            failures += Exercise(handle, kLanes[t], Tagged(t, i));
            failures += dll.Close(handle) == S_OK ? 0 : 1;
        }
        return failures;
    });
    EXPECT_EQ(dll.Close(steady[0]), S_OK);
    EXPECT_EQ(dll.Close(steady[1]), S_OK);
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(ForeignDspValues({{0}, {1}, {2}, {3}}), 0);
    ExpectNothingHeld();
}

}  // namespace
}  // namespace kelix::test
