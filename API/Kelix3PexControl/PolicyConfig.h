// The audio policy-configuration object of Windows and the one operation of
// its interface that the library uses: reading an endpoint's FX property
// store. The interface is not published; only the slot of GetPropertyValue
// (the eleventh, after IUnknown's three) is relied on.
#pragma once

#include <windows.h>
#include <propidl.h>
#include <propsys.h>
#include <unknwn.h>

namespace kelix {

// {294935CE-F637-4E7C-A41B-AB255460B862}
inline constexpr CLSID kClsidPolicyConfig = {0x294935CE, 0xF637, 0x4E7C, {0xA4, 0x1B, 0xAB, 0x25, 0x54, 0x60, 0xB8, 0x62}};
// {568B9108-44BF-40B4-9006-86AFE5B5A620}
inline constexpr IID kIidPolicyConfigVistaClient = {0x568B9108, 0x44BF, 0x40B4, {0x90, 0x06, 0x86, 0xAF, 0xE5, 0xB5, 0xA6, 0x20}};

struct IPolicyConfigVistaClient : public IUnknown {
    // Slots 3 to 9: operations the library never calls.
    virtual HRESULT STDMETHODCALLTYPE Unused3() = 0;
    virtual HRESULT STDMETHODCALLTYPE Unused4() = 0;
    virtual HRESULT STDMETHODCALLTYPE Unused5() = 0;
    virtual HRESULT STDMETHODCALLTYPE Unused6() = 0;
    virtual HRESULT STDMETHODCALLTYPE Unused7() = 0;
    virtual HRESULT STDMETHODCALLTYPE Unused8() = 0;
    virtual HRESULT STDMETHODCALLTYPE Unused9() = 0;
    // Slot 10: a value of the endpoint's FX store (fxStore TRUE) or its device store.
    virtual HRESULT STDMETHODCALLTYPE GetPropertyValue(LPCWSTR deviceId, BOOL fxStore, const PROPERTYKEY& key,
                                                       PROPVARIANT* value) = 0;

protected:
    ~IPolicyConfigVistaClient() = default;  // released, never deleted
};

}  // namespace kelix
