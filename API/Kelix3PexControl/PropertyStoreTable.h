// The open property stores, one per device id, each holding the one reference
// that IMMDevice::OpenPropertyStore returned, and whether it answered that its
// device was removed (then the next open of the id opens the device again).
#pragma once

#include <windows.h>
#include <propsys.h>
#include <wrl/client.h>

#include <map>
#include <string>
#include <string_view>

#include "core/DeviceIdOrder.h"

namespace kelix {

class PropertyStoreTable {
public:
    PropertyStoreTable() = default;
    // Stores still open at unload are deliberately not released: their server
    // may already be gone when the library is unloaded at process exit.
    ~PropertyStoreTable();
    PropertyStoreTable(const PropertyStoreTable&) = delete;
    PropertyStoreTable& operator=(const PropertyStoreTable&) = delete;

    IPropertyStore* Find(const wchar_t* deviceId) const;
    void Insert(const wchar_t* deviceId, Microsoft::WRL::ComPtr<IPropertyStore> store);
    // Releases and forgets the store; gives its address, or null when none was open.
    IPropertyStore* Remove(const wchar_t* deviceId);
    bool Empty() const { return stores_.empty(); }
    // The store of the device answered AUDCLNT_E_DEVICE_INVALIDATED.
    void MarkInvalidated(const wchar_t* deviceId);
    bool Invalidated(const wchar_t* deviceId) const;

    static PropertyStoreTable& Instance();

private:
    // Looked up by the caller's text as it is: a lookup makes no string.
    struct Entry {
        Microsoft::WRL::ComPtr<IPropertyStore> store;
        bool invalidated = false;
    };
    std::map<std::wstring, Entry, DeviceIdLess> stores_;
};

}  // namespace kelix
