#pragma once

#include <windows.h>

#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace sim {

// Call counts and injected failures of the simulated methods, by name ("IMMDevice::GetId").
// Every simulated method calls Enter first and returns its result when it is a failure.
// Only the names of the known methods are accepted; a misspelt name throws instead of
// silently injecting nothing.
class MethodTable {
public:
    MethodTable();

    // Counts a call of method and returns the failure injected for it, or S_OK.
    HRESULT Enter(std::string_view method) noexcept;

    // times = -1: every call until Clear; otherwise the next `times` calls (0 removes the failure).
    // The first `skip` calls pass before the failure starts. hr must be a failure code.
    void Fail(std::string_view method, HRESULT hr, int times, int skip = 0);
    void Clear();
    int Calls(std::string_view method) const;
    // The methods called at least once, in table order.
    std::vector<std::string> Called() const;

    // Every call in order, by method name, while recording is on (switching it on starts a
    // new sequence); a fault sweep replays a scenario once per recorded call.
    void SetRecording(bool on);
    std::vector<std::string> Recorded() const;
    // The call-th call from now (1: the next one), whatever its method, fails with hr, before
    // any failure injected by method name. Clear removes it.
    void FailCall(int call, HRESULT hr);

    static bool Known(std::string_view method);

private:
    struct Record {
        int calls = 0;
        HRESULT failure = S_OK;
        int remaining = 0;  // -1: until cleared
        int skip = 0;       // calls to pass before the failure applies
    };
    Record& Lookup(std::string_view method);
    const Record& Lookup(std::string_view method) const;

    mutable std::mutex mutex_;
    std::map<std::string, Record, std::less<>> records_;
    bool recording_ = false;
    std::vector<std::string> sequence_;
    int callsUntilFailure_ = 0;  // 0: no failure by position
    HRESULT callFailure_ = S_OK;
};

}  // namespace sim
