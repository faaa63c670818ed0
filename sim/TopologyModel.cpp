#include "sim/TopologyModel.h"

#include <deque>
#include <map>

#include "sim/Dsp.h"

namespace sim {

namespace {

constexpr UINT kFirstSubunitId = 0x100;
constexpr UINT kBridgePin = 3;
constexpr UINT kTopologyInputPin = 0;
constexpr UINT kTopologyOutputPin = 1;

}  // namespace

std::wstring PartModel::GlobalId() const {
    wchar_t local[16];
    _snwprintf(local, 16, L"%08x", localId);
    return topology->deviceId + L"/" + local;
}

PartModel& TopologyModel::AddConnector(UINT localId, ConnectorType type, DataFlow flow, std::wstring name) {
    auto part = std::make_unique<PartModel>();
    part->topology = this;
    part->type = Connector;
    part->localId = localId;
    part->name = std::move(name);
    part->connectorType = type;
    part->flow = flow;
    connectors.push_back(part.get());
    parts.push_back(std::move(part));
    return *parts.back();
}

PartModel& TopologyModel::AddSubunit(UINT localId, Selector selector, std::wstring name) {
    auto part = std::make_unique<PartModel>();
    part->topology = this;
    part->type = Subunit;
    part->localId = localId;
    part->name = std::move(name);
    part->selector = selector;
    subunits.push_back(part.get());
    parts.push_back(std::move(part));
    return *parts.back();
}

PartModel* TopologyModel::FindPart(UINT localId) const {
    for (const auto& part : parts) {
        if (part->localId == localId) return part.get();
    }
    return nullptr;
}

std::vector<PartModel*> TopologyModel::SignalPath(PartModel* from, PartModel* to) const {
    // Breadth first along the signal, remembering where each part was reached from.
    std::map<PartModel*, PartModel*> reachedFrom{{from, nullptr}};
    std::deque<PartModel*> queue{from};
    while (!queue.empty()) {
        PartModel* part = queue.front();
        queue.pop_front();
        if (part == to) {
            std::vector<PartModel*> path;
            for (PartModel* step = to; step != nullptr; step = reachedFrom[step]) path.insert(path.begin(), step);
            return path;
        }
        for (PartModel* next : part->outgoing) {
            if (reachedFrom.emplace(next, part).second) queue.push_back(next);
        }
    }
    return {};
}

void Link(PartModel& from, PartModel& to) {
    from.outgoing.push_back(&to);
    to.incoming.push_back(&from);
}

void Connect(PartModel& a, PartModel& b) {
    a.connectedTo = &b;
    b.connectedTo = &a;
}

std::vector<std::unique_ptr<TopologyModel>> BuildTopology(const std::wstring& endpointId, Dsp& dsp,
                                                          const TopologyConfig& config, int number) {
    const DspConfig pins = dsp.Config();
    const UINT high = config.localIdHighWord << 16;
    std::vector<std::unique_ptr<TopologyModel>> topologies;

    auto endpoint = std::make_unique<TopologyModel>();
    endpoint->deviceId = endpointId;
    endpoint->dsp = &dsp;
    endpoint->wave = true;
    if (config.shape == TopologyShape::Direct) {
        endpoint->AddConnector(high | pins.offloadPin, Software_IO, In, L"Offload");
        topologies.push_back(std::move(endpoint));
        return topologies;
    }
    PartModel& endpointConnector = endpoint->AddConnector(high | pins.offloadPin, Software_Fixed, Out, L"Speakers");

    auto wave = std::make_unique<TopologyModel>();
    wave->deviceId = L"\\\\?\\sim#wave#" + std::to_wstring(number);
    wave->dsp = &dsp;
    wave->wave = true;
    PartModel& bridge = wave->AddConnector(high | kBridgePin, Software_Fixed, Out, L"Wave Out");
    PartModel& host = wave->AddConnector(high | pins.hostPin, Software_IO, In, L"Host");
    PartModel& offload = wave->AddConnector(high | pins.offloadPin, Software_IO, In, L"Offload");
    PartModel& loopback = wave->AddConnector(high | pins.loopbackPin, Software_IO, Out, L"Loopback");
    PartModel& engine = wave->AddSubunit(high | kFirstSubunitId, Selector::None, L"Audio Engine");
    Link(host, engine);
    Link(offload, engine);
    Link(engine, loopback);

    // The subunits of the path, signal order: the last configured one sits next to the source.
    TopologyModel* pathOwner = wave.get();
    std::unique_ptr<TopologyModel> filter;
    PartModel* source = &engine;
    PartModel* endpointSide = &bridge;
    if (config.topologyFilter) {
        filter = std::make_unique<TopologyModel>();
        filter->deviceId = L"\\\\?\\sim#topology#" + std::to_wstring(number);
        filter->dsp = &dsp;
        PartModel& input = filter->AddConnector(high | kTopologyInputPin, Software_Fixed, In, L"Topology In");
        PartModel& output = filter->AddConnector(high | kTopologyOutputPin, Physical_External, Out, L"Speaker Jack");
        Link(engine, bridge);
        Connect(bridge, input);
        pathOwner = filter.get();
        source = &input;
        endpointSide = &output;
    }
    UINT node = kFirstSubunitId + 1;
    for (auto selector = config.subunits.rbegin(); selector != config.subunits.rend(); ++selector) {
        PartModel& subunit = pathOwner->AddSubunit(high | node++, *selector, L"Subunit");
        Link(*source, subunit);
        source = &subunit;
    }
    if (config.shape != TopologyShape::NoParts) Link(*source, *endpointSide);
    Connect(endpointConnector, *endpointSide);

    topologies.push_back(std::move(endpoint));
    if (filter) topologies.push_back(std::move(filter));
    topologies.push_back(std::move(wave));
    return topologies;
}

}  // namespace sim
