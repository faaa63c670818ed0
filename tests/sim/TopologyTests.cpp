// The device topology of an endpoint with a DSP, walked the way Core Audio clients walk it.
#include <devicetopology.h>

#include <algorithm>
#include <stdexcept>
#include <vector>

#include "API/Kelix3PexControl/KsProperty.h"
#include "SimTestSupport.h"

namespace simtest {
namespace {

class SimTopology : public SimFixture {
protected:
    void SetUp() override {
        SimFixture::SetUp();
        dsp = &platform.AddDsp({.offloadPin = 4});
    }

    template <class T>
    static ComPtr<T> Connected(IConnector* connector) {
        ComPtr<IConnector> other;
        EXPECT_HR(S_OK, connector->GetConnectedTo(&other));
        ComPtr<T> as;
        if (other) {
            EXPECT_HR(S_OK, other.As(&as));
        }
        return as;
    }

    // Connector 0 of an endpoint's topology.
    ComPtr<IConnector> FirstConnector(const wchar_t* endpoint) {
        ComPtr<IDeviceTopology> topology;
        EXPECT_HR(S_OK, Device(endpoint)->Activate(__uuidof(IDeviceTopology), CLSCTX_ALL, nullptr, &topology));
        ComPtr<IConnector> connector;
        if (topology) {
            EXPECT_HR(S_OK, topology->GetConnector(0, &connector));
        }
        return connector;
    }

    static std::vector<ComPtr<IPart>> Incoming(IPart* part) {
        ComPtr<IPartsList> list;
        EXPECT_HR(S_OK, part->EnumPartsIncoming(&list));
        UINT count = 0;
        EXPECT_HR(S_OK, list->GetCount(&count));
        std::vector<ComPtr<IPart>> parts(count);
        for (UINT i = 0; i < count; ++i) EXPECT_HR(S_OK, list->GetPart(i, &parts[i]));
        return parts;
    }

    static UINT LocalId(IPart* part) {
        UINT id = 0;
        EXPECT_HR(S_OK, part->GetLocalId(&id));
        return id;
    }

    static ConnectorType Type(IPart* part) {
        ComPtr<IConnector> connector;
        EXPECT_HR(S_OK, part->QueryInterface(IID_PPV_ARGS(&connector)));
        ConnectorType type = Unknown_Connector;
        if (connector) {
            EXPECT_HR(S_OK, connector->GetType(&type));
        }
        return type;
    }

    static std::wstring DeviceIdOf(IPart* part) {
        ComPtr<IDeviceTopology> topology;
        EXPECT_HR(S_OK, kelix::GetTopologyObject(part, &topology));
        LPWSTR id = nullptr;
        EXPECT_HR(S_OK, topology->GetDeviceId(&id));
        std::wstring copy = id != nullptr ? id : L"";
        CoTaskMemFree(id);
        return copy;
    }

    sim::Dsp* dsp = nullptr;
};

TEST_F(SimTopology, EndpointWithoutDspHasNoTopology) {
    ComPtr<IDeviceTopology> topology;
    EXPECT_HR(E_NOINTERFACE, Device(kRender)->Activate(__uuidof(IDeviceTopology), CLSCTX_ALL, nullptr, &topology));
    ComPtr<IKsControl> control;
    EXPECT_HR(E_NOINTERFACE, Device(kRender)->Activate(__uuidof(IKsControl), CLSCTX_ALL, nullptr, &control));
}

TEST_F(SimTopology, StandardPathFromEndpointToTheWaveFilterPins) {
    platform.AttachDsp(*platform.Find(kRender), *dsp, {.subunits = {sim::Selector::Output, sim::Selector::Input}});
    ComPtr<IConnector> first = FirstConnector(kRender);
    ASSERT_TRUE(first);
    BOOL connected = FALSE;
    ASSERT_HR(S_OK, first->IsConnected(&connected));
    EXPECT_TRUE(connected);

    // Topology filter: jack <- output selector <- input selector <- input connector.
    ComPtr<IPart> jack = Connected<IPart>(first.Get());
    ASSERT_TRUE(jack);
    EXPECT_EQ(Type(jack.Get()), Physical_External);
    auto parts = Incoming(jack.Get());
    ASSERT_EQ(parts.size(), 1u);
    ComPtr<IAudioInputSelector> input;
    EXPECT_HR(E_NOINTERFACE, parts[0]->Activate(CLSCTX_ALL, __uuidof(IAudioInputSelector), &input));
    ComPtr<IAudioOutputSelector> output;
    ASSERT_HR(S_OK, parts[0]->Activate(CLSCTX_ALL, __uuidof(IAudioOutputSelector), &output));
    EXPECT_HR(E_INVALIDARG, output->SetSelection(0x7777, nullptr));
    EXPECT_HR(S_OK, output->SetSelection(LocalId(parts[0].Get()), nullptr));
    UINT selected = 0;
    EXPECT_HR(S_OK, output->GetSelection(&selected));
    EXPECT_EQ(selected, LocalId(parts[0].Get()));
    parts = Incoming(parts[0].Get());
    ASSERT_EQ(parts.size(), 1u);
    EXPECT_HR(S_OK, parts[0]->Activate(CLSCTX_ALL, __uuidof(IAudioInputSelector), &input));
    parts = Incoming(parts[0].Get());
    ASSERT_EQ(parts.size(), 1u);
    EXPECT_EQ(Type(parts[0].Get()), Software_Fixed);
    EXPECT_TRUE(Incoming(parts[0].Get()).empty());

    // Wave filter: bridge <- audio engine <- host and offload pins.
    ComPtr<IConnector> topologyInput;
    ASSERT_HR(S_OK, parts[0].As(&topologyInput));
    ComPtr<IPart> bridge = Connected<IPart>(topologyInput.Get());
    ASSERT_TRUE(bridge);
    const std::wstring waveId = DeviceIdOf(bridge.Get());
    EXPECT_EQ(waveId, L"\\\\?\\sim#wave#1");
    parts = Incoming(Incoming(bridge.Get()).at(0).Get());
    ASSERT_EQ(parts.size(), 2u);
    EXPECT_EQ(LocalId(parts[0].Get()), 0u);  // host pin
    EXPECT_EQ(LocalId(parts[1].Get()), 4u);  // offload pin
    EXPECT_EQ(Type(parts[1].Get()), Software_IO);

    // The filter is a device of its own, with the DSP behind its IKsControl.
    ComPtr<IMMDevice> wave = Device(waveId.c_str());
    ASSERT_TRUE(wave);
    EXPECT_EQ(IdOf(wave.Get()), waveId);
    ComPtr<IKsControl> control;
    EXPECT_HR(S_OK, wave->Activate(__uuidof(IKsControl), CLSCTX_ALL, nullptr, &control));
    ComPtr<IMMEndpoint> notAnEndpoint;
    EXPECT_HR(E_NOINTERFACE, wave.As(&notAnEndpoint));

    // Signal paths run with the signal, inside one topology.
    ComPtr<IDeviceTopology> waveTopology;
    ASSERT_HR(S_OK, wave->Activate(__uuidof(IDeviceTopology), CLSCTX_ALL, nullptr, &waveTopology));
    UINT connectors = 0;
    ASSERT_HR(S_OK, waveTopology->GetConnectorCount(&connectors));
    EXPECT_EQ(connectors, 4u);
    ComPtr<IConnector> loopbackConnector;
    ASSERT_HR(S_OK, waveTopology->GetConnector(3, &loopbackConnector));
    ComPtr<IPart> loopback;
    ASSERT_HR(S_OK, loopbackConnector.As(&loopback));
    ComPtr<IPartsList> path;
    ASSERT_HR(S_OK, waveTopology->GetSignalPath(parts[1].Get(), loopback.Get(), TRUE, &path));
    UINT steps = 0;
    EXPECT_HR(S_OK, path->GetCount(&steps));
    EXPECT_EQ(steps, 3u);  // offload pin, audio engine, loopback pin
    path.Reset();
    EXPECT_HR(S_OK, waveTopology->GetSignalPath(parts[1].Get(), parts[1].Get(), TRUE, &path));
    path.Reset();
    EXPECT_HR(kNotFound, waveTopology->GetSignalPath(parts[1].Get(), parts[0].Get(), TRUE, &path));
    EXPECT_HR(E_INVALIDARG, waveTopology->GetSignalPath(parts[1].Get(), jack.Get(), TRUE, &path));
}

TEST_F(SimTopology, ShapesAndLocalIds) {
    platform.AttachDsp(*platform.Find(kRender), *dsp, {.shape = sim::TopologyShape::Direct, .localIdHighWord = 1});
    platform.AttachDsp(*platform.Find(kRenderSecond), *dsp,
                       {.shape = sim::TopologyShape::NoParts, .topologyFilter = false, .localIdHighWord = 1});

    ComPtr<IConnector> offload = FirstConnector(kRender);
    ASSERT_TRUE(offload);
    BOOL connected = TRUE;
    EXPECT_HR(S_OK, offload->IsConnected(&connected));
    EXPECT_FALSE(connected);
    ComPtr<IPart> offloadPart;
    ASSERT_HR(S_OK, offload.As(&offloadPart));
    EXPECT_EQ(Type(offloadPart.Get()), Software_IO);
    EXPECT_EQ(LocalId(offloadPart.Get()), 0x10004u);
    EXPECT_EQ(DeviceIdOf(offloadPart.Get()), kRender);
    ComPtr<IConnector> none;
    EXPECT_HR(kNotFound, offload->GetConnectedTo(&none));

    ComPtr<IConnector> first = FirstConnector(kRenderSecond);
    ASSERT_TRUE(first);
    ComPtr<IPart> bridge = Connected<IPart>(first.Get());
    ASSERT_TRUE(bridge);
    EXPECT_EQ(LocalId(bridge.Get()), 0x10003u);
    EXPECT_TRUE(Incoming(bridge.Get()).empty());

    EXPECT_THROW(platform.AttachDsp(*platform.Find(kRender), *dsp), std::invalid_argument);
    sim::Platform other;
    sim::Endpoint& stranger = other.AddEndpoint({kRender});
    EXPECT_THROW(platform.AttachDsp(stranger, *dsp), std::invalid_argument);
}

TEST_F(SimTopology, OneChosenCallOfAMethodFails) {
    platform.AttachDsp(*platform.Find(kRender), *dsp);
    ComPtr<IDeviceTopology> topology;
    ASSERT_HR(S_OK, Device(kRender)->Activate(__uuidof(IDeviceTopology), CLSCTX_ALL, nullptr, &topology));
    platform.FailMethodCall("IDeviceTopology::GetConnector", 2, E_ABORT);
    for (HRESULT expected : {S_OK, E_ABORT, S_OK}) {
        ComPtr<IConnector> connector;
        EXPECT_HR(expected, topology->GetConnector(0, &connector));
    }
    EXPECT_EQ(platform.Calls("IDeviceTopology::GetConnector"), 3);
    const std::vector<std::string> called = platform.CalledMethods();
    EXPECT_NE(std::find(called.begin(), called.end(), "IDeviceTopology::GetConnector"), called.end());
    EXPECT_EQ(std::find(called.begin(), called.end(), "IPart::Activate"), called.end());
    EXPECT_EQ(platform.References("IDeviceTopology"), 1);
}

}  // namespace
}  // namespace simtest
