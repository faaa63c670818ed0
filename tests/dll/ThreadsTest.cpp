// Callers on several threads at once: two share one handle while two others open
// and close endpoints of their own on every iteration. Every result and read-back
// must be right, no DSP write may land on another thread's parameter or another
// endpoint's DSP, and nothing of a device may be held once it is closed.
// Workers run in the multithreaded apartment, where the simulated classes are
// registered.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
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
// The endpoint each thread works on: threads 0 and 1 share the first.
constexpr int kMachineOf[kThreads] = {0, 0, 1, 2};

// A value that names its writer: the thread in the top byte, the iteration below.
std::int32_t Tagged(int thread, int iteration) { return (thread + 1) << 24 | iteration; }
int WriterOf(std::int32_t value) { return (value >> 24) - 1; }

class ThreadsTest : public SimulatedEndpointTest {
protected:
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
};

TEST_F(ThreadsTest, SharedHandleBesideOpensAndCloses) {
    speakers.Remove();  // endpoints without a DSP would end the walk before the others
    headset.Remove();
    std::vector<EndpointWithDsp> machines;
    for (int n = 0; n < 3; ++n) machines.push_back(AddEndpointWithDsp(platform, 3 + n));
    wchar_t* shared = nullptr;
    ASSERT_EQ(dll.Open(&shared, machines[0].id.c_str()), S_OK);

    std::atomic<long> wrong{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            if (FAILED(CoInitializeEx(nullptr, COINIT_MULTITHREADED))) {
                ++wrong;
                return;
            }
            for (int i = 0; i < kIterations; ++i) {
                if (kMachineOf[t] == 0) {
                    wrong += Exercise(shared, kLanes[t], Tagged(t, i));
                    continue;
                }
                wchar_t* handle = nullptr;
                if (dll.Open(&handle, machines[kMachineOf[t]].id.c_str()) != S_OK) {
                    ++wrong;
                    continue;
                }
                wrong += Exercise(handle, kLanes[t], Tagged(t, i));
                wrong += dll.Close(handle) == S_OK ? 0 : 1;
            }
            CoUninitialize();
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(dll.Close(shared), S_OK);
    EXPECT_EQ(wrong, 0);

    // Every DSP value must be one a thread of that endpoint wrote at its own lane's index.
    for (size_t m = 0; m < machines.size(); ++m) {
        for (const GUID& module : {kPexModuleId, kKreloModuleId}) {
            for (const auto& [index, bytes] : machines[m].dsp->Parameters(module)) {
                if (index == kFormFactorIndex) continue;
                std::int32_t value = 0;
                if (bytes.size() == 4) std::memcpy(&value, bytes.data(), 4);
                const int writer = WriterOf(value);
                const bool own = bytes.size() == 4 && writer >= 0 && writer < kThreads &&
                                 kMachineOf[writer] == static_cast<int>(m) &&
                                 (index == kLanes[writer].pexIndex || index == kLanes[writer].kreloIndex);
                EXPECT_TRUE(own) << "machine " << m << " index " << index << ": value " << value;
            }
        }
    }
    EXPECT_EQ(platform.References("IKsControl"), 0);
    EXPECT_EQ(platform.TotalReferences(), 0);
}

}  // namespace
}  // namespace kelix::test
