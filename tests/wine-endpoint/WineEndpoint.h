// Wine's own audio endpoints as the tests meet them.
#pragma once

#include <windows.h>
#include <mmdeviceapi.h>
#include <objbase.h>
#include <wrl/client.h>

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "DllUnderTest.h"
#include "core/ParameterCatalogue.h"

namespace kelix::test {

// message + "[0x%.8x]%s" as the library writes a failure.
inline std::wstring FailureText(const std::wstring& message, HRESULT hr) {
    wchar_t code[16];
    _snwprintf(code, 16, L"[0x%.8x]", static_cast<unsigned>(hr));
    return message + code + SystemText(hr);
}

// Whether the Wine audio setup these tests need is required to be there: under
// ctest, which names an ALSA configuration for them (ALSA_CONFIG_PATH), it is,
// so a missing setup fails; run by hand without one, the tests skip instead.
inline bool Required() { return GetEnvironmentVariableW(L"ALSA_CONFIG_PATH", nullptr, 0) != 0; }

// Wine keeps an endpoint's store in the registry, one value per property key
// named "{FMTID},pid" under the endpoint's Properties key; the store outlives
// every program of the prefix. Deletes the values of every catalogue key from
// the default render endpoint's store, so that a test starts from a store that
// holds none of the effect's values (ctest gives the tests that write Wine's
// store one lock, so no other test writes it meanwhile).
inline void ClearCatalogueValuesOfTheDefaultEndpoint() {
    Microsoft::WRL::ComPtr<IMMDeviceEnumerator> enumerator;
    ASSERT_EQ(CoCreateInstance(__uuidof(MMDeviceEnumerator), nullptr, CLSCTX_ALL, IID_PPV_ARGS(&enumerator)), S_OK);
    Microsoft::WRL::ComPtr<IMMDevice> device;
    ASSERT_EQ(enumerator->GetDefaultAudioEndpoint(eRender, eConsole, &device), S_OK);
    wchar_t* id = nullptr;
    ASSERT_EQ(device->GetId(&id), S_OK);
    const std::wstring deviceId = id;
    CoTaskMemFree(id);

    // "{0.0.0.00000000}.{GUID}": the key is named by the GUID.
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
        const std::wstring name = std::wstring(guid) + L"," + std::to_wstring(info.key.pid);
        const LSTATUS status = RegDeleteValueW(key, name.c_str());
        EXPECT_TRUE(status == ERROR_SUCCESS || status == ERROR_FILE_NOT_FOUND) << parameter << ": " << status;
    }
    RegCloseKey(key);
}

}  // namespace kelix::test
