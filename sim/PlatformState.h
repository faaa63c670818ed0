#pragma once

#include <windows.h>
#include <mmdeviceapi.h>

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "sim/Dsp.h"
#include "sim/Endpoint.h"
#include "sim/Ledger.h"
#include "sim/MethodTable.h"
#include "sim/Topology.h"
#include "sim/TopologyModel.h"

namespace sim {

// Everything the simulated objects share: the endpoints, the default choices, the reference
// ledger and the method table. Shared (std::shared_ptr) by the Platform and every object it
// hands out, so an object released after its Platform still finds valid memory.
// Endpoints are never deleted (a removed one stays, not present), so Endpoint pointers stay valid as long as this state.
class PlatformState {
public:
    Ledger ledger;
    MethodTable methods;
    // The process's one enumerator while anyone holds it (sim/DeviceEnumerator.h keeps it).
    std::mutex enumeratorMutex;
    IMMDeviceEnumerator* liveEnumerator = nullptr;

    // Throws std::invalid_argument for an id already present, an invalid config, or a `before`
    // that names no endpoint. The new endpoint comes before `before` in every enumeration (empty: last).
    Endpoint& Add(EndpointConfig config, std::wstring_view before = {});
    Endpoint* Find(std::wstring_view id) const;
    // Endpoints of flow (eAll: both flows) whose state is in mask, in the order added.
    std::vector<Endpoint*> Matching(EDataFlow flow, DWORD mask) const;

    // An empty id returns (flow, role) to the automatic choice: the first active endpoint of the flow.
    void SetDefault(EDataFlow flow, ERole role, std::wstring id);
    // The default endpoint for (flow, role), or null when there is none: the chosen id is not an
    // active endpoint of that flow, or (automatic) the flow has no active endpoint.
    Endpoint* Default(EDataFlow flow, ERole role) const;

    // DSPs and the device topologies that lead to them; never removed, so their addresses stay
    // valid as long as this state.
    Dsp& AddDsp(DspConfig config);
    // Throws std::invalid_argument when the endpoint is not this platform's or already has a topology.
    void AttachDsp(const Endpoint& endpoint, Dsp& dsp, const TopologyConfig& config);
    // The topology of a device id: an endpoint's (null without a DSP) or a KS filter's.
    TopologyModel* Topology(std::wstring_view deviceId) const;

private:
    mutable std::mutex mutex_;
    std::vector<std::unique_ptr<Endpoint>> endpoints_;
    std::map<std::pair<EDataFlow, ERole>, std::wstring> defaults_;
    std::vector<std::unique_ptr<Dsp>> dsps_;
    std::vector<std::unique_ptr<TopologyModel>> topologies_;
    int attachments_ = 0;
};

}  // namespace sim
