// Wine's own audio endpoints as the tests meet them.
#pragma once

#include <windows.h>
#include <mmdeviceapi.h>
#include <objbase.h>
#include <wrl/client.h>

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "core/ParameterCatalogue.h"

namespace kelix::test {

// Wine's default render endpoint and its id, or the lookup's failure.
inline HRESULT DefaultEndpoint(Microsoft::WRL::ComPtr<IMMDevice>& device, std::wstring& id) {
    Microsoft::WRL::ComPtr<IMMDeviceEnumerator> enumerator;
    HRESULT hr = CoCreateInstance(__uuidof(MMDeviceEnumerator), nullptr, CLSCTX_ALL, IID_PPV_ARGS(&enumerator));
    if (SUCCEEDED(hr)) hr = enumerator->GetDefaultAudioEndpoint(eRender, eConsole, &device);
    wchar_t* text = nullptr;
    if (SUCCEEDED(hr)) hr = device->GetId(&text);
    if (SUCCEEDED(hr)) id = text;
    CoTaskMemFree(text);
    return hr;
}

// Wine keeps an endpoint's store in the registry, for the whole prefix and beyond every
// program, one value per key named "{FMTID},pid" under the endpoint's Properties key. Deletes
// the values of every catalogue key from the default render endpoint's store, so that a test
// starts from a store without the effect's values (the tests that write it hold one lock).
inline void ClearCatalogueValuesOfTheDefaultEndpoint() {
    Microsoft::WRL::ComPtr<IMMDevice> device;
    std::wstring deviceId;  // "{0.0.0.00000000}.{GUID}": the key is named by the GUID
    ASSERT_EQ(DefaultEndpoint(device, deviceId), S_OK);
    const std::wstring path = L"Software\\Microsoft\\Windows\\CurrentVersion\\MMDevices\\Audio\\Render\\" +
                              deviceId.substr(deviceId.rfind(L'.') + 1) + L"\\Properties";
    HKEY key = nullptr;
    ASSERT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_SET_VALUE, &key), ERROR_SUCCESS);
    for (const auto& [parameter, info] : ParameterCatalogue()) {
        GUID fmtid;
        static_assert(sizeof fmtid == sizeof info.key.fmtid);
        std::memcpy(&fmtid, &info.key.fmtid, sizeof fmtid);
        wchar_t guid[40];
        StringFromGUID2(fmtid, guid, 40);
        const LSTATUS status = RegDeleteValueW(key, (std::wstring(guid) + L"," + std::to_wstring(info.key.pid)).c_str());
        EXPECT_TRUE(status == ERROR_SUCCESS || status == ERROR_FILE_NOT_FOUND) << parameter << ": " << status;
    }
    RegCloseKey(key);
}

}  // namespace kelix::test
