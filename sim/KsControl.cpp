#include "sim/KsControl.h"

#include <new>
#include <utility>

namespace sim {

KsControl::KsControl(std::shared_ptr<PlatformState> state, Dsp& dsp, std::wstring device, bool wave) noexcept
    : TrackedObject(std::move(state), Kind::KsControl), dsp_(dsp), device_(std::move(device)), wave_(wave) {}

HRESULT KsControl::Create(std::shared_ptr<PlatformState> state, Dsp& dsp, std::wstring device, bool wave,
                          REFIID riid, void** out) noexcept {
    ClearOut(out);
    if (out == nullptr) return E_POINTER;
    return Hand(new (std::nothrow) KsControl(std::move(state), dsp, std::move(device), wave), riid, out);
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
