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
};

TEST_F(SimTopology, OnlyEndpointsWithADspHaveATopology) {
    ComPtr<IDeviceTopology> topology;
    EXPECT_HR(E_NOINTERFACE, Device(kRender)->Activate(__uuidof(IDeviceTopology), CLSCTX_ALL, nullptr, &topology));
    platform.AttachDsp(*platform.Find(kRender), platform.AddDsp({}));
    EXPECT_TRUE(Activate<IDeviceTopology>(kRender));
    EXPECT_TRUE(Activate<IKsControl>(kRender));
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
