#pragma once

// The device topology of a simulated endpoint with a DSP (Platform::AttachDsp), as
// IMMDevice::Activate(IDeviceTopology) shows it:
//
//   endpoint topology (device id: the endpoint's id)
//     connector 0 (Software_Fixed) ---connected--- topology filter output connector (Physical_External)
//   topology filter (device id "\\?\sim#topology#N")
//     output connector <- subunits (selectors as configured) <- input connector (Software_Fixed, pin 0)
//     input connector ---connected--- wave filter bridge connector
//   wave filter (device id "\\?\sim#wave#N"): the filter whose IKsControl carries the DSP
//     bridge connector (Software_Fixed, pin 3) <- audio engine subunit <- host pin and offload pin
//     connectors (Software_IO); the audio engine -> loopback pin connector (Software_IO)
//
// Parts point to each other in the direction of the signal: EnumPartsIncoming walks from the
// endpoint towards the wave filter's pins. A connector's local id is its pin number, with
// localIdHighWord in the high 16 bits; subunits have local ids from 0x100 on. The endpoint's
// connector 0 carries the number of the offload pin. Filter devices are found with
// IMMDeviceEnumerator::GetDevice by their ids and hand out IDeviceTopology and IKsControl; an
// endpoint with a DSP hands out the DSP's IKsControl too.

#include <windows.h>

#include <vector>

namespace sim {

// What a subunit on the path answers to IPart::Activate.
enum class Selector { None, Input, Output };

enum class TopologyShape {
    Standard,  // as drawn above
    Direct,    // the endpoint's connector 0 is itself an unconnected Software_IO connector (the
               // offload pin), on a topology whose device (the endpoint) carries the DSP
    NoParts,   // the connector the endpoint is connected to has no parts behind it
};

struct TopologyConfig {
    TopologyShape shape = TopologyShape::Standard;
    bool topologyFilter = true;  // false: the endpoint's connector leads to the wave filter's bridge
    // Subunits between the endpoint's connector and the audio engine, endpoint side first; they
    // stand in the topology filter, or in the wave filter when there is none.
    std::vector<Selector> subunits = {Selector::Output, Selector::None};
    UINT localIdHighWord = 0;
};

}  // namespace sim
