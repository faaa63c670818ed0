#include "sim/MethodTable.h"

#include <stdexcept>

namespace sim {

namespace {

// Every method a simulated object implements, except IUnknown's: QueryInterface, AddRef and
// Release are neither counted nor failed, because COM itself calls them a different number of
// times on Windows and under Wine (CoCreateInstance may query the new object again). Only the
// query between a part's IPart and IConnector, which COM never makes, is a method here.
constexpr std::string_view kMethods[] = {
    "CoCreateInstance(MMDeviceEnumerator)",
    "IClassFactory::LockServer",
    "IMMDeviceEnumerator::EnumAudioEndpoints",
    "IMMDeviceEnumerator::GetDefaultAudioEndpoint",
    "IMMDeviceEnumerator::GetDevice",
    "IMMDeviceEnumerator::RegisterEndpointNotificationCallback",
    "IMMDeviceEnumerator::UnregisterEndpointNotificationCallback",
    "IMMDeviceCollection::GetCount",
    "IMMDeviceCollection::Item",
    "IMMDevice::Activate",
    "IMMDevice::OpenPropertyStore",
    "IMMDevice::GetId",
    "IMMDevice::GetState",
    "IMMEndpoint::GetDataFlow",
    "IPropertyStore::GetCount",
    "IPropertyStore::GetAt",
    "IPropertyStore::GetValue",
    "IPropertyStore::SetValue",
    "IPropertyStore::Commit",
    "CoCreateInstance(PolicyConfig)",
    "IPolicyConfigVistaClient::GetPropertyValue",
    "IDeviceTopology::GetConnectorCount",
    "IDeviceTopology::GetConnector",
    "IDeviceTopology::GetSubunitCount",
    "IDeviceTopology::GetSubunit",
    "IDeviceTopology::GetPartById",
    "IDeviceTopology::GetDeviceId",
    "IDeviceTopology::GetSignalPath",
    "IConnector::GetType",
    "IConnector::GetDataFlow",
    "IConnector::ConnectTo",
    "IConnector::Disconnect",
    "IConnector::IsConnected",
    "IConnector::GetConnectedTo",
    "IConnector::GetConnectorIdConnectedTo",
    "IConnector::GetDeviceIdConnectedTo",
    "IConnector::QueryInterface(IPart)",
    "IPart::GetName",
    "IPart::GetLocalId",
    "IPart::GetGlobalId",
    "IPart::GetPartType",
    "IPart::GetSubType",
    "IPart::GetControlInterfaceCount",
    "IPart::GetControlInterface",
    "IPart::EnumPartsIncoming",
    "IPart::EnumPartsOutgoing",
    "IPart::GetTopologyObject",
    "IPart::Activate",
    "IPart::RegisterControlChangeCallback",
    "IPart::UnregisterControlChangeCallback",
    "IPart::QueryInterface(IConnector)",
    "IPartsList::GetCount",
    "IPartsList::GetPart",
    "IAudioInputSelector::GetSelection",
    "IAudioInputSelector::SetSelection",
    "IAudioOutputSelector::GetSelection",
    "IAudioOutputSelector::SetSelection",
    "IKsControl::KsProperty",
    "IKsControl::KsMethod",
    "IKsControl::KsEvent",
};

}  // namespace

MethodTable::MethodTable() {
    for (std::string_view method : kMethods) records_.emplace(std::string(method), Record{});
}

bool MethodTable::Known(std::string_view method) {
    for (std::string_view known : kMethods) {
        if (known == method) return true;
    }
    return false;
}

MethodTable::Record& MethodTable::Lookup(std::string_view method) {
    const auto found = records_.find(method);
    if (found == records_.end()) throw std::invalid_argument("unknown simulated method: " + std::string(method));
    return found->second;
}

const MethodTable::Record& MethodTable::Lookup(std::string_view method) const {
    const auto found = records_.find(method);
    if (found == records_.end()) throw std::invalid_argument("unknown simulated method: " + std::string(method));
    return found->second;
}

HRESULT MethodTable::Enter(std::string_view method) noexcept {
    std::lock_guard lock(mutex_);
    const auto found = records_.find(method);
    if (found == records_.end()) return E_UNEXPECTED;  // a simulated method outside the table: a bug here
    Record& record = found->second;
    ++record.calls;
    if (recording_) sequence_.emplace_back(method);
    if (callsUntilFailure_ > 0 && --callsUntilFailure_ == 0) return callFailure_;
    if (record.remaining == 0) return S_OK;
    if (record.skip > 0) {
        --record.skip;
        return S_OK;
    }
    if (record.remaining > 0) --record.remaining;
    return record.failure;
}

void MethodTable::Fail(std::string_view method, HRESULT hr, int times, int skip) {
    if (times < -1) throw std::invalid_argument("times must be -1 or a count");
    if (skip < 0) throw std::invalid_argument("skip must not be negative");
    if (SUCCEEDED(hr)) throw std::invalid_argument("an injected failure must be a failure HRESULT");
    std::lock_guard lock(mutex_);
    Record& record = Lookup(method);
    record.failure = hr;
    record.remaining = times;
    record.skip = skip;
}

void MethodTable::Clear() {
    std::lock_guard lock(mutex_);
    for (auto& [name, record] : records_) {
        record.failure = S_OK;
        record.remaining = 0;
        record.skip = 0;
    }
    callsUntilFailure_ = 0;
    callFailure_ = S_OK;
}

void MethodTable::SetRecording(bool on) {
    std::lock_guard lock(mutex_);
    recording_ = on;
    if (on) sequence_.clear();
}

std::vector<std::string> MethodTable::Recorded() const {
    std::lock_guard lock(mutex_);
    return sequence_;
}

void MethodTable::FailCall(int call, HRESULT hr) {
    if (call < 1) throw std::invalid_argument("call counts from 1");
    if (SUCCEEDED(hr)) throw std::invalid_argument("an injected failure must be a failure HRESULT");
    std::lock_guard lock(mutex_);
    callsUntilFailure_ = call;
    callFailure_ = hr;
}

std::vector<std::string> MethodTable::Called() const {
    std::vector<std::string> called;
    std::lock_guard lock(mutex_);
    for (std::string_view method : kMethods) {
        if (records_.find(method)->second.calls > 0) called.emplace_back(method);
    }
    return called;
}

int MethodTable::Calls(std::string_view method) const {
    std::lock_guard lock(mutex_);
    return Lookup(method).calls;
}

}  // namespace sim
