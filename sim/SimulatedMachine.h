#pragma once

// A simulated audio machine for a client's own tests: installed into the calling process, it
// answers Kelix3PexControl.dll (and any other user of the MMDevice API in the process) in place
// of the system's audio endpoints and DSP, on Windows or under Wine.
//
//   CoInitializeEx(nullptr, COINIT_MULTITHREADED);
//   auto machine = sim::SimulatedMachine::FromFile(L"laptop-speakers.json");
//   ... OpenPexControl / SetPexParam / GetPexParam as in production ...
//   machine->StoredValue(speakersId, "{F112024A-FE30-42A8-80AB-8DD825A06F78},4")  -> {"type": "i4", ...}
//   machine->Save();   // the whole machine as a profile, with what the DLL wrote
//
// The profile format is described in sim/MachineProfile.h (shipped profiles: sim/profiles/).
// Only one machine may be installed in a process at a time; COM must be initialised on the
// calling thread (the DLL must be used from the same apartment). Release every handle of the
// DLL before the machine goes.

#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

namespace sim {

class SimulatedMachine {
public:
    // Throws std::runtime_error naming the field of a profile that does not read, or the
    // reason the machine could not be installed; nothing stays installed then.
    static std::unique_ptr<SimulatedMachine> FromProfile(std::string_view json);
    static std::unique_ptr<SimulatedMachine> FromFile(const std::wstring& path);
    ~SimulatedMachine();
    SimulatedMachine(const SimulatedMachine&) = delete;
    SimulatedMachine& operator=(const SimulatedMachine&) = delete;

    // The machine as a profile, with the values its stores and modules hold now.
    std::string Save() const;
    // One stored value of an endpoint's property store as the profile writes it (JSON), e.g.
    // {"key": "{...},4", "type": "i4", "value": -6}; empty when the endpoint has no such value.
    std::string StoredValue(const std::wstring& endpointId, const std::string& key) const;
    // How often a platform method was called, e.g. "IPropertyStore::SetValue".
    int Calls(const std::string& method) const;
    // References the process still holds on simulated objects; 0 once every handle is closed.
    long References() const;

private:
    SimulatedMachine();
    struct Parts;
    std::unique_ptr<Parts> parts_;
};

}  // namespace sim
