// The device topology of an endpoint with a DSP, as Core Audio clients see it.
#include <devicetopology.h>

#include <algorithm>
#include <vector>

#include "SimTestSupport.h"

namespace simtest {
namespace {

class SimTopology : public SimFixture {
protected:
    template <class T>
    ComPtr<T> Activate(const wchar_t* device) {
        ComPtr<T> object;
        EXPECT_HR(S_OK, Device(device)->Activate(__uuidof(T), CLSCTX_ALL, nullptr, &object));
        return object;
    }

    static ComPtr<IPart> Connector(IDeviceTopology* topology, UINT index) {
        ComPtr<IConnector> connector;
        EXPECT_HR(S_OK, topology->GetConnector(index, &connector));
        ComPtr<IPart> part;
        if (connector) {
            EXPECT_HR(S_OK, connector.As(&part));
        }
        return part;
    }

    static UINT LocalId(IPart* part) {
        UINT id = 0;
        EXPECT_HR(S_OK, part->GetLocalId(&id));
        return id;
    }
};

TEST_F(SimTopology, OnlyEndpointsWithADspHaveATopology) {
    ComPtr<IDeviceTopology> topology;
    EXPECT_HR(E_NOINTERFACE, Device(kRender)->Activate(__uuidof(IDeviceTopology), CLSCTX_ALL, nullptr, &topology));
    platform.AttachDsp(*platform.Find(kRender), platform.AddDsp({}));
    EXPECT_TRUE(Activate<IDeviceTopology>(kRender));
    EXPECT_TRUE(Activate<IKsControl>(kRender));
}

TEST_F(SimTopology, WaveFilterSelectorsAndSignalPaths) {
    sim::Dsp& dsp = platform.AddDsp({.offloadPin = 4});
    platform.AttachDsp(*platform.Find(kRender), dsp,
                       {.topologyFilter = false, .subunits = {sim::Selector::Output}, .localIdHighWord = 1});
    // The endpoint's connector leads to the wave filter's bridge connector, a device of its own.
    ComPtr<IDeviceTopology> wave = Activate<IDeviceTopology>(L"\\\\?\\sim#wave#1");
    EXPECT_TRUE(Activate<IKsControl>(L"\\\\?\\sim#wave#1"));
    ASSERT_TRUE(wave);

    // Connectors: bridge, host, offload, loopback; local ids carry the high word.
    ComPtr<IPart> bridge = Connector(wave.Get(), 0);
    ComPtr<IPart> host = Connector(wave.Get(), 1);
    ComPtr<IPart> offload = Connector(wave.Get(), 2);
    ComPtr<IPart> loopback = Connector(wave.Get(), 3);
    ASSERT_TRUE(bridge && host && offload && loopback);
    EXPECT_EQ(LocalId(offload.Get()), 0x10004u);

    // The selector in front of the bridge takes its own id or an input's, nothing else.
    ComPtr<IPartsList> incoming;
    ASSERT_HR(S_OK, bridge->EnumPartsIncoming(&incoming));
    ComPtr<IPart> selectorPart;
    ASSERT_HR(S_OK, incoming->GetPart(0, &selectorPart));
    ComPtr<IAudioInputSelector> input;
    EXPECT_HR(E_NOINTERFACE, selectorPart->Activate(CLSCTX_ALL, __uuidof(IAudioInputSelector), &input));
    ComPtr<IAudioOutputSelector> output;
    ASSERT_HR(S_OK, selectorPart->Activate(CLSCTX_ALL, __uuidof(IAudioOutputSelector), &output));
    EXPECT_HR(E_INVALIDARG, output->SetSelection(0x7777, nullptr));
    EXPECT_HR(S_OK, output->SetSelection(LocalId(selectorPart.Get()), nullptr));
    UINT selected = 0;
    EXPECT_HR(S_OK, output->GetSelection(&selected));
    EXPECT_EQ(selected, LocalId(selectorPart.Get()));

    // Paths run with the signal inside one topology; a part is a path to itself.
    ComPtr<IPartsList> path;
    ASSERT_HR(S_OK, wave->GetSignalPath(offload.Get(), bridge.Get(), TRUE, &path));
    UINT steps = 0;
    EXPECT_HR(S_OK, path->GetCount(&steps));
    EXPECT_EQ(steps, 4u);  // offload pin, audio engine, selector, bridge
    EXPECT_HR(S_OK, wave->GetSignalPath(offload.Get(), offload.Get(), TRUE, &path));
    EXPECT_HR(S_OK, wave->GetSignalPath(offload.Get(), loopback.Get(), TRUE, &path));
    EXPECT_HR(kNotFound, wave->GetSignalPath(offload.Get(), host.Get(), TRUE, &path));
    ComPtr<IConnector> first;
    ASSERT_HR(S_OK, Activate<IDeviceTopology>(kRender)->GetConnector(0, &first));
    ComPtr<IPart> endpointPart;
    ASSERT_HR(S_OK, first.As(&endpointPart));
    EXPECT_HR(E_INVALIDARG, wave->GetSignalPath(offload.Get(), endpointPart.Get(), TRUE, &path));
}

TEST_F(SimTopology, OneChosenCallOfAMethodFails) {
    platform.AttachDsp(*platform.Find(kRender), platform.AddDsp({}));
    ComPtr<IDeviceTopology> topology = Activate<IDeviceTopology>(kRender);
    platform.FailMethodCall("IDeviceTopology::GetConnector", 2, E_ABORT);
    for (HRESULT expected : {S_OK, E_ABORT, S_OK}) {
        ComPtr<IConnector> connector;
        EXPECT_HR(expected, topology->GetConnector(0, &connector));
    }
    const std::vector<std::string> called = platform.CalledMethods();
    EXPECT_NE(std::find(called.begin(), called.end(), "IDeviceTopology::GetConnector"), called.end());
    EXPECT_EQ(std::find(called.begin(), called.end(), "IPart::Activate"), called.end());
    EXPECT_EQ(platform.References("IDeviceTopology"), 1);
}

}  // namespace
}  // namespace simtest
