#pragma once

#include <windows.h>
#include <devicetopology.h>

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "sim/Topology.h"

namespace sim {

class Dsp;
class Endpoint;
struct TopologyModel;

// One part of a device topology: a connector or a subunit. Built once, then only read
// (the selection of a selector excepted).
struct PartModel {
    TopologyModel* topology = nullptr;
    PartType type = Connector;
    UINT localId = 0;
    std::wstring name;
    // Connectors
    ConnectorType connectorType = Unknown_Connector;
    DataFlow flow = In;
    PartModel* connectedTo = nullptr;
    // Subunits
    Selector selector = Selector::None;
    std::atomic<UINT> selection{0};
    // Neighbours in the direction of the signal.
    std::vector<PartModel*> incoming;
    std::vector<PartModel*> outgoing;

    std::wstring GlobalId() const;
};

// One device topology: an endpoint's, or a KS filter's.
struct TopologyModel {
    std::wstring deviceId;
    Dsp* dsp = nullptr;  // behind the IKsControl of the device, if any
    const Endpoint* endpoint = nullptr;  // the endpoint the device serves, whose removal ends its IKsControl
    bool wave = false;   // the device's IKsControl reaches the audio engine and the firmware
    std::vector<std::unique_ptr<PartModel>> parts;
    std::vector<PartModel*> connectors;  // in index order
    std::vector<PartModel*> subunits;

    PartModel& AddConnector(UINT localId, ConnectorType type, DataFlow flow, std::wstring name);
    PartModel& AddSubunit(UINT localId, Selector selector, std::wstring name);
    PartModel* FindPart(UINT localId) const;
    // The parts from `from` to `to` following the signal, both included; empty when there is no path.
    std::vector<PartModel*> SignalPath(PartModel* from, PartModel* to) const;
};

// Signal flows from `from` to `to`.
void Link(PartModel& from, PartModel& to);
void Connect(PartModel& a, PartModel& b);

// The topologies of one endpoint with a DSP: the endpoint's first, then the filters'.
std::vector<std::unique_ptr<TopologyModel>> BuildTopology(const std::wstring& endpointId, Dsp& dsp,
                                                          const TopologyConfig& config, int number);

}  // namespace sim
