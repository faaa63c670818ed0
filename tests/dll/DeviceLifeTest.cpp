// Devices that come and go while the library holds them: every call's code
// after an unplug, what a close gives back, recovery after the device returns
// (by close and open, and by open alone), DSP writes that reach the endpoint's
// own DSP whatever was plugged or unplugged since it was opened, and callers on
// several threads opening, closing and sharing handles at once.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <optional>
#include <thread>
#include <vector>

#include "SimulatedEndpointTest.h"

namespace kelix::test {
namespace {

// The DSP word of 1105 pex_postgain (PEX index 122) or 2104 krelo_post_gain (KRELO index 21).
std::optional<std::int32_t> DspWord(const sim::Dsp& dsp, std::int32_t id) {
    const auto bytes = dsp.Parameter(id == 1105 ? kPexModuleId : kKreloModuleId, id == 1105 ? 122 : 21);
    std::int32_t word;
    if (!bytes || bytes->size() != 4) return std::nullopt;
    std::memcpy(&word, bytes->data(), 4);
    return word;
}

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

class DeviceLifeTest : public SimulatedEndpointTest {
protected:
    void SetUp() override {
        SimulatedEndpointTest::SetUp();
        speakers.Remove();  // endpoints without a DSP would end the walk before the others
        headset.Remove();
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
    // The same for 1105 and 2104, which must then hold the value on the DSP.
    void ExpectWorks(wchar_t* handle, const EndpointWithDsp& machine, std::int32_t value) {
        EXPECT_EQ(Exercise(handle, kLanes[0], value), 0);
        for (const std::int32_t id : {1105, 2104}) EXPECT_EQ(DspWord(*machine.dsp, id), value) << id;
    }
};

// After an unplug every call answers the platform's own code; a close gives back every
// object of the device; after the device returns a close and an open, or an open alone,
// reach the new objects.
TEST_F(DeviceLifeTest, UnplugAndReplug) {
    const EndpointWithDsp machine = AddEndpointWithDsp(platform, 3);
    const HRESULT kStoreGone = sim::kDeviceInvalidated, kDspGone = sim::kDriverDeviceRemoved;
    for (const bool closeFirst : {true, false}) {
        SCOPED_TRACE(closeFirst ? "recovery by close and open" : "recovery by open alone");
        wchar_t* handle = nullptr;
        ASSERT_EQ(dll.Open(&handle, machine.id.c_str()), S_OK);
        ExpectWorks(handle, machine, 5);
        machine.endpoint->Remove();
        // Every call answers the code of the part that answers it: the store on flags 1, and on 3 for
        // a read (which stops at the store's failure); the DSP on 2, and on 3 for a write (which
        // returns the DSP's result). The version query reaches neither.
        for (const std::int32_t id : {1105, 2104, 2001}) {
            for (const UINT32 route : {1u, 2u, 3u}) {
                for (const bool set : {true, false}) {
                    if (id == 2001 && set) continue;
                    wchar_t text[32] = {7};  // room for the version text of 2001, or a word
                    UINT32 size = sizeof text;
                    const HRESULT hr = set ? dll.Set(handle, id, text, 4, route) : dll.Get(handle, id, text, &size, route);
                    const bool store = route == 1 || (route == 3 && !set);
                    EXPECT_EQ(hr, id == 2001 ? S_OK : store ? kStoreGone : kDspGone)
                        << Hex(hr) << ": " << id << (set ? " set" : " get") << " route " << route;
                }
            }
        }
        machine.endpoint->Restore();
        wchar_t* again = nullptr;
        if (closeFirst) {
            EXPECT_EQ(dll.Close(handle), S_OK);
            EXPECT_EQ(platform.TotalReferences(), 0) << "the removed device is still held after the close";
            ASSERT_EQ(dll.Open(&again, machine.id.c_str()), S_OK);
        } else {
            ASSERT_EQ(dll.Open(&again, machine.id.c_str()), S_OK);
            EXPECT_TRUE(log.Has(3, kExports, L"OpenPexControl",
                                L"The property store of device[" + machine.id +
                                    L"] answered that the device was removed; it is opened again."));
        }
        ExpectWorks(again, machine, closeFirst ? 6 : 8);
        EXPECT_EQ(dll.Close(again), S_OK);  // closes the endpoint for every handle of it
        if (!closeFirst) { EXPECT_EQ(dll.Close(handle), S_OK); }
        EXPECT_EQ(platform.TotalReferences(), 0);
    }
}

// An endpoint plugged in ahead of an open endpoint, or one removed from ahead of it, and
// another endpoint opened after: DSP writes through the first handle still reach its own
// DSP and nothing else. When its own modules are gone, its DSP route answers as for a
// family that is not there.
TEST_F(DeviceLifeTest, PlugAndUnplugBetweenTwoOpens) {
    enum class Change { PlugAhead, UnplugAhead, UnplugItself };
    int number = 3;  // each case on endpoints of its own, after those of the cases before
    for (const Change change : {Change::PlugAhead, Change::UnplugAhead, Change::UnplugItself}) {
        const EndpointWithDsp ahead = AddEndpointWithDsp(platform, number++);
        const EndpointWithDsp first = AddEndpointWithDsp(platform, number++);
        const EndpointWithDsp second = AddEndpointWithDsp(platform, number++);
        wchar_t* handle = nullptr;
        wchar_t* other = nullptr;
        ASSERT_EQ(dll.Open(&handle, first.id.c_str()), S_OK);
        std::optional<EndpointWithDsp> plugged;
        if (change == Change::PlugAhead) plugged = AddEndpointWithDsp(platform, number++, first.id.c_str());
        if (change == Change::UnplugAhead) ahead.endpoint->Remove();
        if (change == Change::UnplugItself) first.endpoint->Remove();
        ASSERT_EQ(dll.Open(&other, second.id.c_str()), S_OK);

        const bool gone = change == Change::UnplugItself;
        log.Clear();
        for (std::int32_t id : {1105, 2104}) {
            std::int32_t word = id;
            EXPECT_EQ(dll.Set(handle, id, &word, 4, 2), gone ? E_INVALIDARG : S_OK) << id;
            if (!gone) { EXPECT_EQ(DspWord(*first.dsp, id), id); }
            for (const sim::Dsp* bystander : {ahead.dsp, second.dsp, plugged ? plugged->dsp : ahead.dsp}) {
                EXPECT_EQ(DspWord(*bystander, id), std::nullopt) << id;
            }
        }
        if (gone) {
            EXPECT_TRUE(log.Has(3, kDsp, L"DspController::FamilyMissing",
                                L"The PEX module of device[" + first.id + L"] is no longer in the module list."));
        }
        EXPECT_EQ(dll.Close(handle), S_OK);
        EXPECT_EQ(dll.Close(other), S_OK);
        EXPECT_EQ(platform.TotalReferences(), 0);
    }
}

// Two threads share one handle while two others open and close endpoints of their own on
// every iteration (workers in the multithreaded apartment, where the simulated classes are
// registered): every result and read-back right, no DSP write on another thread's
// parameter or another endpoint's DSP, nothing held once closed.
TEST_F(DeviceLifeTest, CallersOnSeveralThreads) {
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
                const int writer = (value >> 24) - 1;
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
