// The simulated machine of `pexctl --simulate`: by default the shipped laptop
// profile (sim/profiles/laptop-speakers.json, built in): speakers (the
// default) with the PEX 2.10 and KRELO 1.4 effects in the property store and
// as modules on a DSP, headphones without effects, a line out whose store may
// only be read, and an unplugged headset. `--simulate=PROFILE.json` installs
// another profile (the format is described in sim/MachineProfile.h).
#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace sim {
class SimulatedMachine;
}

namespace pexctl {

// The built-in profile's text.
std::string_view DefaultProfile();

class SimulatedDevice {
public:
    SimulatedDevice();
    ~SimulatedDevice();
    // Installs the machine into this process (COM must be initialised). Throws
    // sim::ProfileError naming the field of a profile that does not read, and
    // std::runtime_error when the machine cannot be registered; nothing stays
    // installed then.
    void Install(std::string_view profile = DefaultProfile());
    // The machine as a profile, with the values its stores and modules hold now.
    std::string Save() const;

private:
    std::unique_ptr<sim::SimulatedMachine> machine_;
};

}  // namespace pexctl
