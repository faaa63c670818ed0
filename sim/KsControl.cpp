#include "sim/KsControl.h"

#include <new>
#include <utility>

namespace sim {

KsControl::KsControl(std::shared_ptr<PlatformState> state, const TopologyModel& filter)
    : TrackedObject(std::move(state), Kind::KsControl),
      dsp_(*filter.dsp),
      device_(filter.deviceId),
      wave_(filter.wave),
      endpoint_(filter.endpoint),
      ticket_(filter.endpoint != nullptr ? filter.endpoint->Ticket() : 0) {}

HRESULT KsControl::Create(std::shared_ptr<PlatformState> state, const TopologyModel& filter, REFIID riid,
                          void** out) noexcept {
    ClearOut(out);
    if (out == nullptr) return E_POINTER;
    try {
        return Hand(new (std::nothrow) KsControl(std::move(state), filter), riid, out);
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

HRESULT KsControl::QueryInterface(REFIID riid, void** out) {
    ClearOut(out);
    if (out == nullptr) return E_POINTER;
    if (riid == __uuidof(IUnknown) || riid == __uuidof(IKsControl)) {
        *out = static_cast<IKsControl*>(this);
        AddRef();
        return S_OK;
    }
    return E_NOINTERFACE;
}

ULONG KsControl::AddRef() { return AddRefTracked(); }

ULONG KsControl::Release() { return ReleaseTracked(); }

HRESULT KsControl::KsProperty(PKSPROPERTY property, ULONG propertyLength, void* data, ULONG dataLength,
                              ULONG* bytesReturned) {
    if (const HRESULT hr = Enter("IKsControl::KsProperty"); FAILED(hr)) return hr;
    if (endpoint_ != nullptr && !endpoint_->Present(ticket_)) return kDriverDeviceRemoved;
    return dsp_.KsProperty(device_, wave_, property, propertyLength, data, dataLength, bytesReturned);
}

HRESULT KsControl::KsMethod(PKSMETHOD /*method*/, ULONG /*methodLength*/, void* /*data*/, ULONG /*dataLength*/,
                            ULONG* /*bytesReturned*/) {
    if (const HRESULT hr = Enter("IKsControl::KsMethod"); FAILED(hr)) return hr;
    return HRESULT_FROM_WIN32(ERROR_SET_NOT_FOUND);
}

HRESULT KsControl::KsEvent(PKSEVENT /*event*/, ULONG /*eventLength*/, void* /*data*/, ULONG /*dataLength*/,
                           ULONG* /*bytesReturned*/) {
    if (const HRESULT hr = Enter("IKsControl::KsEvent"); FAILED(hr)) return hr;
    return HRESULT_FROM_WIN32(ERROR_SET_NOT_FOUND);
}

}  // namespace sim
