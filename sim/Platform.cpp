#include "sim/Platform.h"

#include <new>
#include <stdexcept>
#include <string>

#include "sim/ClassFactory.h"
#include "sim/DeviceEnumerator.h"
#include "sim/PlatformState.h"
#include "sim/PolicyConfig.h"

namespace sim {

namespace {

Kind KindNamed(const std::string& name) {
    const auto kind = Ledger::FromName(name);
    if (!kind) throw std::invalid_argument("unknown simulated object kind: " + name);
    return *kind;
}

}  // namespace

Platform::Platform() : state_(std::make_shared<PlatformState>()) {}

Platform::~Platform() {
    if (const long objects = state_->ledger.TotalObjects(); objects != 0) {
        const std::string message = "sim::Platform destroyed with " + std::to_string(objects) +
                                    " live objects holding " + std::to_string(state_->ledger.TotalReferences()) +
                                    " references\n";
        OutputDebugStringA(message.c_str());
    }
}

Endpoint& Platform::AddEndpoint(EndpointConfig config) { return state_->Add(std::move(config)); }

Endpoint& Platform::PlugEndpoint(EndpointConfig config, const std::wstring& before) {
    if (before.empty()) throw std::invalid_argument("no endpoint to plug before");
    return state_->Add(std::move(config), before);
}

void Platform::SetDefault(EDataFlow flow, ERole role, const std::wstring& id) { state_->SetDefault(flow, role, id); }

Endpoint* Platform::Find(const std::wstring& id) { return state_->Find(id); }

void Platform::FailMethod(const std::string& method, HRESULT hr, int times) { state_->methods.Fail(method, hr, times); }

void Platform::FailMethodCall(const std::string& method, int call, HRESULT hr) {
    if (call < 1) throw std::invalid_argument("call counts from 1");
    state_->methods.Fail(method, hr, 1, call - 1);
}

void Platform::FailCall(int call, HRESULT hr) { state_->methods.FailCall(call, hr); }

void Platform::ClearFailures() { state_->methods.Clear(); }

void Platform::RecordCalls(bool on) { state_->methods.SetRecording(on); }

std::vector<std::string> Platform::RecordedCalls() const { return state_->methods.Recorded(); }

int Platform::Calls(const std::string& method) const { return state_->methods.Calls(method); }

std::vector<std::string> Platform::CalledMethods() const { return state_->methods.Called(); }

Dsp& Platform::AddDsp(DspConfig config) { return state_->AddDsp(std::move(config)); }

void Platform::AttachDsp(Endpoint& endpoint, Dsp& dsp, TopologyConfig topology) {
    state_->AttachDsp(endpoint, dsp, topology);
}

long Platform::References(const std::string& kind) const { return state_->ledger.References(KindNamed(kind)); }

long Platform::TotalReferences() const { return state_->ledger.TotalReferences(); }

long Platform::Objects(const std::string& kind) const { return state_->ledger.Objects(KindNamed(kind)); }

long Platform::TotalObjects() const { return state_->ledger.TotalObjects(); }

Microsoft::WRL::ComPtr<IClassFactory> Platform::CreateClassFactory() const {
    Microsoft::WRL::ComPtr<IClassFactory> factory;
    // Attach takes the creation reference.
    factory.Attach(new sim::ClassFactory(state_, "CoCreateInstance(MMDeviceEnumerator)", &DeviceEnumerator::Create));
    return factory;
}

Microsoft::WRL::ComPtr<IClassFactory> Platform::CreatePolicyConfigFactory() const {
    Microsoft::WRL::ComPtr<IClassFactory> factory;
    factory.Attach(new sim::ClassFactory(state_, "CoCreateInstance(PolicyConfig)", &PolicyConfig::Create));
    return factory;
}

}  // namespace sim
