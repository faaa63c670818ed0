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

#include "sim/Endpoint.h"
#include "sim/Ledger.h"
#include "sim/MethodTable.h"

namespace sim {

// Everything the simulated objects share: the endpoints, the default choices, the reference
// ledger and the method table. Shared (std::shared_ptr) by the Platform and every object it
// hands out, so an object released after its Platform still finds valid memory.
// Endpoints are never removed, so Endpoint pointers stay valid as long as this state.
class PlatformState {
public:
    Ledger ledger;
    MethodTable methods;

    // Throws std::invalid_argument for an id already present or an invalid config.
    Endpoint& Add(EndpointConfig config);
    Endpoint* Find(std::wstring_view id) const;
    // Endpoints of flow (eAll: both flows) whose state is in mask, in the order added.
    std::vector<Endpoint*> Matching(EDataFlow flow, DWORD mask) const;

    // An empty id returns (flow, role) to the automatic choice: the first active endpoint of the flow.
    void SetDefault(EDataFlow flow, ERole role, std::wstring id);
    // The default endpoint for (flow, role), or null when there is none: the chosen id is not an
    // active endpoint of that flow, or (automatic) the flow has no active endpoint.
    Endpoint* Default(EDataFlow flow, ERole role) const;

private:
    mutable std::mutex mutex_;
    std::vector<std::unique_ptr<Endpoint>> endpoints_;
    std::map<std::pair<EDataFlow, ERole>, std::wstring> defaults_;
};

}  // namespace sim
