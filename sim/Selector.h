#pragma once

#include <windows.h>
#include <devicetopology.h>

#include <memory>

#include "sim/TopologyModel.h"
#include "sim/TrackedObject.h"

namespace sim {

// IAudioInputSelector or IAudioOutputSelector of a subunit (IPart::Activate). A selection is
// the local id of the subunit itself or of one of its incoming parts; any other id answers
// E_INVALIDARG. The selection lives in the part's model, shared by every hand-out.
template <class Interface>
class SelectorControl final : public Interface, private TrackedObject {
public:
    static HRESULT Create(std::shared_ptr<PlatformState> state, PartModel& model, REFIID riid, void** out) noexcept;

    // IUnknown
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** out) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;

    // IAudioInputSelector / IAudioOutputSelector
    HRESULT STDMETHODCALLTYPE GetSelection(UINT* selected) override;
    HRESULT STDMETHODCALLTYPE SetSelection(UINT select, LPCGUID eventContext) override;

private:
    SelectorControl(std::shared_ptr<PlatformState> state, PartModel& model) noexcept;
    ~SelectorControl() override = default;

    PartModel& model_;
};

using InputSelector = SelectorControl<IAudioInputSelector>;
using OutputSelector = SelectorControl<IAudioOutputSelector>;

}  // namespace sim
