#pragma once

// The simulated audio platform: a stand-in for the MMDevice API of Windows Core Audio that a
// process installs for itself, so that the product's own
//   CoCreateInstance(CLSID_MMDeviceEnumerator, nullptr, CLSCTX_ALL, IID_IMMDeviceEnumerator, ...)
// reaches simulated endpoints instead of the system's.
//
//   sim::Platform platform;
//   sim::Endpoint& speakers = platform.AddEndpoint({L"{0.0.0.00000000}.{speakers}", eRender});
//   sim::Installation installed(platform);   // COM initialised on this thread
//   ... run the product; check platform.Calls("IPropertyStore::SetValue"), speakers.GetValue(...),
//   and platform.TotalReferences() == 0 once it has released everything.

#include <windows.h>
#include <mmdeviceapi.h>
#include <wrl/client.h>

#include <memory>
#include <string>
#include <vector>

#include "sim/Dsp.h"
#include "sim/Endpoint.h"
#include "sim/Installation.h"
#include "sim/Topology.h"

namespace sim {

class PlatformState;

// Owns the endpoints and watches every simulated object it hands out. A Platform must outlive
// its objects: check TotalReferences() == 0 before it goes. (Objects still alive then keep the
// shared state and do not crash, and the destructor reports them with OutputDebugString.)
// Thread-safe.
class Platform {
public:
    Platform();
    ~Platform();
    Platform(const Platform&) = delete;
    Platform& operator=(const Platform&) = delete;

    // Throws std::invalid_argument for an empty or duplicate id, a flow other than eRender or
    // eCapture, or a state that is not exactly one DEVICE_STATE_* bit.
    Endpoint& AddEndpoint(EndpointConfig config);
    // An endpoint plugged in at run time ahead of the endpoint `before` in every enumeration, as a
    // USB device that the system lists first. Throws as above, and when `before` is not an endpoint.
    // Endpoint::Remove and Endpoint::Restore take one out and bring it back.
    Endpoint& PlugEndpoint(EndpointConfig config, const std::wstring& before);
    // Default endpoint for (flow, role). Without a call, the first added active endpoint of that
    // flow serves every role. The chosen endpoint must be an active endpoint of that flow when it
    // is asked for, otherwise GetDefaultAudioEndpoint answers 0x80070490. An empty id returns
    // (flow, role) to the automatic choice. Throws std::invalid_argument for eAll or a bad role.
    void SetDefault(EDataFlow flow, ERole role, const std::wstring& id);
    Endpoint* Find(const std::wstring& id);

    // Failure injection by method name, e.g. "IMMDeviceEnumerator::GetDevice",
    // "IMMDevice::OpenPropertyStore", "IPropertyStore::GetValue", and
    // "CoCreateInstance(MMDeviceEnumerator)" / "CoCreateInstance(PolicyConfig)" for the class
    // factories' CreateInstance.
    // times = -1: every call until ClearFailures; otherwise the next `times` calls. The failing call
    // returns hr and writes nothing through its out-parameters except the documented null-on-failure
    // (interface pointers and GetId's string). QueryInterface, AddRef and Release are not methods
    // here, except a part's query between IPart and IConnector ("IConnector::QueryInterface(IPart)",
    // "IPart::QueryInterface(IConnector)"), which fails with E_NOINTERFACE whatever hr is. Throws
    // std::invalid_argument for an unknown name or a success hr.
    void FailMethod(const std::string& method, HRESULT hr, int times = -1);
    // Only the call-th call of method from now on (1: the next one) fails with hr.
    void FailMethodCall(const std::string& method, int call, HRESULT hr);
    // Only the call-th platform call from now (1: the next one) fails with hr, whatever its method.
    void FailCall(int call, HRESULT hr);
    void ClearFailures();
    // Records every platform call from now on, by method name in call order, until
    // RecordCalls(false); each RecordCalls(true) starts a new record.
    void RecordCalls(bool on);
    std::vector<std::string> RecordedCalls() const;
    // How often a method was called (failed calls included). Throws for an unknown name.
    int Calls(const std::string& method) const;
    // The methods called at least once, e.g. to make each call of a sequence fail in turn.
    std::vector<std::string> CalledMethods() const;

    // A DSP (sim/Dsp.h) and the device topology that leads an endpoint to it (sim/Topology.h).
    // Several endpoints may attach one DSP; each gets filters of its own. An endpoint without a
    // DSP has no device topology: Activate(IDeviceTopology) answers E_NOINTERFACE. Throws
    // std::invalid_argument for an endpoint of another platform or one attached already.
    Dsp& AddDsp(DspConfig config);
    void AttachDsp(Endpoint& endpoint, Dsp& dsp, TopologyConfig topology = {});

    // References held on live simulated objects, by kind: "IMMDeviceEnumerator",
    // "IMMDeviceCollection", "IMMDevice" (endpoints, and the KS filters of device topologies),
    // "IPropertyStore" (IMMEndpoint counts with its IMMDevice object), "IPolicyConfigVistaClient",
    // "IDeviceTopology", "IPart" (IConnector and ISubunit count with their part), "IPartsList",
    // "IAudioInputSelector", "IAudioOutputSelector", "IKsControl". Throws std::invalid_argument
    // for an unknown kind.
    long References(const std::string& kind) const;
    long TotalReferences() const;
    // Live simulated objects, by the same kinds.
    long Objects(const std::string& kind) const;
    long TotalObjects() const;

    // A new class object of CLSID_MMDeviceEnumerator for this platform (what Installation
    // registers); also lets a test create an enumerator without registering anything.
    Microsoft::WRL::ComPtr<IClassFactory> CreateClassFactory() const;
    // A new class object of the policy-configuration class, which serves the endpoints' FX
    // stores ("CoCreateInstance(PolicyConfig)", "IPolicyConfigVistaClient::GetPropertyValue").
    Microsoft::WRL::ComPtr<IClassFactory> CreatePolicyConfigFactory() const;

private:
    std::shared_ptr<PlatformState> state_;
};

}  // namespace sim
