#pragma once

#include <windows.h>
#include <mmdeviceapi.h>
#include <propsys.h>

#include <cstddef>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "sim/ValueStore.h"

namespace sim {

// What IMMDevice::OpenPropertyStore allows on an endpoint.
//   ReadWrite: STGM_READ, STGM_WRITE and STGM_READWRITE.
//   ReadOnly:  STGM_READ only; write modes answer E_ACCESSDENIED.
//   None:      every mode answers E_ACCESSDENIED (like a store a standard user may not open).
enum class StoreAccess { ReadWrite, ReadOnly, None };

// What the objects of a removed endpoint answer: its property stores AUDCLNT_E_DEVICE_INVALIDATED,
// the IKsControl of its filters ERROR_DEVICE_REMOVED as a driver gives it.
inline constexpr HRESULT kDeviceInvalidated = static_cast<HRESULT>(0x88890004);
inline const HRESULT kDriverDeviceRemoved = HRESULT_FROM_WIN32(ERROR_DEVICE_REMOVED);

struct EndpointConfig {
    std::wstring id;                     // IMMDevice::GetId, e.g. L"{0.0.0.00000000}.{render-1}"; unique, not empty
    EDataFlow flow = eRender;            // eRender or eCapture
    DWORD state = DEVICE_STATE_ACTIVE;   // exactly one DEVICE_STATE_* bit
    StoreAccess access = StoreAccess::ReadWrite;
};

// One simulated audio endpoint: its identity and the backing values of its property store.
// Owned by the Platform at a stable address. Thread-safe: tests may change it while the
// product holds objects of it on other threads.
class Endpoint {
public:
    explicit Endpoint(EndpointConfig config);
    Endpoint(const Endpoint&) = delete;
    Endpoint& operator=(const Endpoint&) = delete;

    const std::wstring& Id() const;
    EDataFlow Flow() const;

    // Access applies to stores opened afterwards; stores already open keep their mode.
    void SetAccess(StoreAccess access);
    StoreAccess Access() const;
    // IMMDevice::GetState; also decides what EnumAudioEndpoints and the default lookup see.
    void SetState(DWORD state);
    DWORD State() const;

    // Removal at run time, as of a USB device pulled out: the endpoint leaves the enumeration
    // and the default choice (DEVICE_STATE_NOTPRESENT; IMMDeviceEnumerator::GetDevice still
    // finds it), and every object handed out for it so far goes dead for good (see
    // kDeviceInvalidated). Restore makes it active again, with the values it held: objects handed
    // out from then on work. Both do nothing when the endpoint already is in that state.
    void Remove();
    void Restore();
    // An object takes a ticket when it is made; it is dead while the endpoint is removed and
    // once the endpoint was removed after the ticket was taken.
    unsigned Ticket() const;
    bool Present(unsigned ticket) const;

    // Backing values of the endpoint's property store; they outlive every IPropertyStore handed out.
    // SetValue stores a deep copy (PropVariantCopy semantics), replacing an earlier value of the key
    // in place; a VT_EMPTY value is stored like any other. Keys keep the order of their first write,
    // which is the order of IPropertyStore::GetAt.
    HRESULT SetValue(const PROPERTYKEY& key, const PROPVARIANT& value);
    // Copies the value out into *out (overwritten, not cleared first; the caller clears it).
    // VT_EMPTY and S_OK when the key is absent; E_POINTER for a null out.
    HRESULT GetValue(const PROPERTYKEY& key, PROPVARIANT* out) const;
    bool Has(const PROPERTYKEY& key) const;
    size_t ValueCount() const;
    // The key at position index in GetAt order; false when index is out of range.
    bool KeyAt(size_t index, PROPERTYKEY* key) const;

    // Values of the endpoint's FX store (the effect registrations), which the
    // policy-configuration object serves; same semantics as the values above.
    HRESULT SetFxValue(const PROPERTYKEY& key, const PROPVARIANT& value);
    HRESULT GetFxValue(const PROPERTYKEY& key, PROPVARIANT* out) const;

private:
    const std::wstring id_;
    const EDataFlow flow_;
    mutable std::mutex mutex_;
    DWORD state_;
    DWORD stateBeforeRemoval_ = DEVICE_STATE_ACTIVE;
    bool removed_ = false;
    unsigned removals_ = 0;
    StoreAccess access_;
    ValueStore values_;
    ValueStore fxValues_;
};

}  // namespace sim
