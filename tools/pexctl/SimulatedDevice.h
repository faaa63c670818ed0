// The built-in simulated audio platform of `pexctl --simulate`: render
// endpoints with their usual properties: speakers (the default), which carry
// the PEX 2.10 and KRELO 1.4 effects, both in the property store and as
// modules on a DSP; headphones without effects; a line out whose store may
// only be read; and an unplugged headset.
#pragma once

#include <memory>

#include "sim/Platform.h"

namespace pexctl {

class SimulatedDevice {
public:
    SimulatedDevice();
    HRESULT Install();  // registers the platform in this process (COM must be initialised)

private:
    sim::Platform platform_;
    std::unique_ptr<sim::Installation> installation_;
};

}  // namespace pexctl
