#include "SimulatedDevice.h"

#include "DefaultProfile.h"  // generated from sim/profiles/laptop-speakers.json
#include "sim/SimulatedMachine.h"

namespace pexctl {

std::string_view DefaultProfile() { return kDefaultProfile; }

SimulatedDevice::SimulatedDevice() = default;
SimulatedDevice::~SimulatedDevice() = default;

void SimulatedDevice::Install(std::string_view profile) { machine_ = sim::SimulatedMachine::FromProfile(profile); }

std::string SimulatedDevice::Save() const { return machine_ ? machine_->Save() : std::string(); }

}  // namespace pexctl
