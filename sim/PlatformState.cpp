#include "sim/PlatformState.h"

#include <stdexcept>

namespace sim {

Endpoint& PlatformState::Add(EndpointConfig config, std::wstring_view before) {
    auto endpoint = std::make_unique<Endpoint>(std::move(config));
    std::lock_guard lock(mutex_);
    auto position = endpoints_.end();
    for (auto it = endpoints_.begin(); it != endpoints_.end(); ++it) {
        if ((*it)->Id() == endpoint->Id()) throw std::invalid_argument("endpoint id already present");
        if (!before.empty() && (*it)->Id() == before) position = it;
    }
    if (!before.empty() && position == endpoints_.end()) throw std::invalid_argument("no endpoint to plug before");
    return **endpoints_.insert(position, std::move(endpoint));
}

Endpoint* PlatformState::Find(std::wstring_view id) const {
    std::lock_guard lock(mutex_);
    for (const auto& endpoint : endpoints_) {
        if (endpoint->Id() == id) return endpoint.get();
    }
    return nullptr;
}

std::vector<Endpoint*> PlatformState::Matching(EDataFlow flow, DWORD mask) const {
    std::vector<Endpoint*> matching;
    std::lock_guard lock(mutex_);
    for (const auto& endpoint : endpoints_) {
        if ((flow == eAll || endpoint->Flow() == flow) && (endpoint->State() & mask) != 0) {
            matching.push_back(endpoint.get());
        }
    }
    return matching;
}

void PlatformState::SetDefault(EDataFlow flow, ERole role, std::wstring id) {
    if (flow != eRender && flow != eCapture) throw std::invalid_argument("default flow must be eRender or eCapture");
    if (role < eConsole || role >= ERole_enum_count) throw std::invalid_argument("default role out of range");
    std::lock_guard lock(mutex_);
    if (id.empty()) {
        defaults_.erase({flow, role});
    } else {
        defaults_[{flow, role}] = std::move(id);
    }
}

Endpoint* PlatformState::Default(EDataFlow flow, ERole role) const {
    std::lock_guard lock(mutex_);
    const auto chosen = defaults_.find({flow, role});
    for (const auto& endpoint : endpoints_) {
        if (endpoint->Flow() != flow || endpoint->State() != DEVICE_STATE_ACTIVE) continue;
        if (chosen == defaults_.end() || endpoint->Id() == chosen->second) return endpoint.get();
    }
    return nullptr;
}

Dsp& PlatformState::AddDsp(DspConfig config) {
    auto dsp = std::make_unique<Dsp>(std::move(config));
    std::lock_guard lock(mutex_);
    dsps_.push_back(std::move(dsp));
    return *dsps_.back();
}

void PlatformState::AttachDsp(const Endpoint& endpoint, Dsp& dsp, const TopologyConfig& config) {
    if (Find(endpoint.Id()) != &endpoint) throw std::invalid_argument("endpoint of another platform");
    std::lock_guard lock(mutex_);
    for (const auto& topology : topologies_) {
        if (topology->deviceId == endpoint.Id()) throw std::invalid_argument("endpoint already has a topology");
    }
    auto built = BuildTopology(endpoint.Id(), dsp, config, ++attachments_);
    for (auto& topology : built) {
        topology->endpoint = &endpoint;
        topologies_.push_back(std::move(topology));
    }
}

TopologyModel* PlatformState::Topology(std::wstring_view deviceId) const {
    std::lock_guard lock(mutex_);
    for (const auto& topology : topologies_) {
        if (topology->deviceId == deviceId) return topology.get();
    }
    return nullptr;
}

}  // namespace sim
