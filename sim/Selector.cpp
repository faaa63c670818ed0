#include "sim/Selector.h"

#include <new>
#include <string_view>
#include <utility>

namespace sim {

namespace {

template <class Interface>
struct SelectorNames;

template <>
struct SelectorNames<IAudioInputSelector> {
    static constexpr Kind kKind = Kind::InputSelector;
    static constexpr std::string_view kGet = "IAudioInputSelector::GetSelection";
    static constexpr std::string_view kSet = "IAudioInputSelector::SetSelection";
};

template <>
struct SelectorNames<IAudioOutputSelector> {
    static constexpr Kind kKind = Kind::OutputSelector;
    static constexpr std::string_view kGet = "IAudioOutputSelector::GetSelection";
    static constexpr std::string_view kSet = "IAudioOutputSelector::SetSelection";
};

}  // namespace

template <class Interface>
SelectorControl<Interface>::SelectorControl(std::shared_ptr<PlatformState> state, PartModel& model) noexcept
    : TrackedObject(std::move(state), SelectorNames<Interface>::kKind), model_(model) {}

template <class Interface>
HRESULT SelectorControl<Interface>::Create(std::shared_ptr<PlatformState> state, PartModel& model, REFIID riid,
                                           void** out) noexcept {
    ClearOut(out);
    if (out == nullptr) return E_POINTER;
    return Hand(new (std::nothrow) SelectorControl(std::move(state), model), riid, out);
}

template <class Interface>
HRESULT SelectorControl<Interface>::QueryInterface(REFIID riid, void** out) {
    ClearOut(out);
    if (out == nullptr) return E_POINTER;
    if (riid == __uuidof(IUnknown) || riid == __uuidof(Interface)) {
        *out = static_cast<Interface*>(this);
        AddRef();
        return S_OK;
    }
    return E_NOINTERFACE;
}

template <class Interface>
ULONG SelectorControl<Interface>::AddRef() {
    return AddRefTracked();
}

template <class Interface>
ULONG SelectorControl<Interface>::Release() {
    return ReleaseTracked();
}

template <class Interface>
HRESULT SelectorControl<Interface>::GetSelection(UINT* selected) {
    if (const HRESULT hr = Enter(SelectorNames<Interface>::kGet); FAILED(hr)) return hr;
    if (selected == nullptr) return E_POINTER;
    *selected = model_.selection;
    return S_OK;
}

template <class Interface>
HRESULT SelectorControl<Interface>::SetSelection(UINT select, LPCGUID /*eventContext*/) {
    if (const HRESULT hr = Enter(SelectorNames<Interface>::kSet); FAILED(hr)) return hr;
    bool valid = select == model_.localId;
    for (const PartModel* input : model_.incoming) valid = valid || select == input->localId;
    if (!valid) return E_INVALIDARG;
    model_.selection = select;
    return S_OK;
}

template class SelectorControl<IAudioInputSelector>;
template class SelectorControl<IAudioOutputSelector>;

}  // namespace sim
