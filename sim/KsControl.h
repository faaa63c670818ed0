#pragma once

#include <windows.h>
#include <devicetopology.h>

#include <memory>
#include <string>

#include "sim/Dsp.h"
#include "sim/TopologyModel.h"
#include "sim/TrackedObject.h"

namespace sim {

// IKsControl of a simulated KS filter (or of an endpoint with a DSP): property requests go to
// the DSP, which answers and records them; methods and events are not supported. Once the
// endpoint the filter serves is removed, every request answers kDriverDeviceRemoved.
class KsControl final : public IKsControl, private TrackedObject {
public:
    static HRESULT Create(std::shared_ptr<PlatformState> state, const TopologyModel& filter, REFIID riid,
                          void** out) noexcept;

    // IUnknown
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** out) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;

    // IKsControl
    HRESULT STDMETHODCALLTYPE KsProperty(PKSPROPERTY property, ULONG propertyLength, void* data, ULONG dataLength,
                                         ULONG* bytesReturned) override;
    HRESULT STDMETHODCALLTYPE KsMethod(PKSMETHOD method, ULONG methodLength, void* data, ULONG dataLength,
                                       ULONG* bytesReturned) override;
    HRESULT STDMETHODCALLTYPE KsEvent(PKSEVENT event, ULONG eventLength, void* data, ULONG dataLength,
                                      ULONG* bytesReturned) override;

private:
    KsControl(std::shared_ptr<PlatformState> state, const TopologyModel& filter);
    ~KsControl() override = default;

    Dsp& dsp_;
    const std::wstring device_;
    const bool wave_;
    const Endpoint* const endpoint_;
    const unsigned ticket_;
};

}  // namespace sim
