#pragma once

#include <windows.h>
#include <mmdeviceapi.h>
#include <propsys.h>
#include <wrl/client.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>

#include "sim/Platform.h"

namespace simtest {

using Microsoft::WRL::ComPtr;

inline std::string HrText(HRESULT hr) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%08lX", static_cast<unsigned long>(hr));
    return text;
}

// HRESULTs compared as their hex text, so that a failure prints both.
#define EXPECT_HR(expected, actual) EXPECT_EQ(::simtest::HrText(expected), ::simtest::HrText(actual))
#define ASSERT_HR(expected, actual) ASSERT_EQ(::simtest::HrText(expected), ::simtest::HrText(actual))

inline const HRESULT kNotFound = HRESULT_FROM_WIN32(ERROR_NOT_FOUND);  // 0x80070490

inline std::wstring IdOf(IMMDevice* device) {
    LPWSTR id = nullptr;
    EXPECT_HR(S_OK, device->GetId(&id));
    std::wstring copy = id != nullptr ? id : L"";
    CoTaskMemFree(id);
    return copy;
}

// Written into out-parameters before a call, to see what the call wrote.
template <class T>
T* SentinelPointer() {
    return reinterpret_cast<T*>(static_cast<uintptr_t>(0xBAADF00DBAADF00Dull));
}

// Endpoints of every test: two flows, every state, one read-only store.
inline const wchar_t* const kRender = L"{0.0.0.00000000}.{render-active}";
inline const wchar_t* const kRenderDisabled = L"{0.0.0.00000000}.{render-disabled}";
inline const wchar_t* const kRenderSecond = L"{0.0.0.00000000}.{render-second}";
inline const wchar_t* const kRenderUnplugged = L"{0.0.0.00000000}.{render-unplugged}";
inline const wchar_t* const kCapture = L"{0.0.1.00000000}.{capture-active}";
inline const wchar_t* const kCaptureAbsent = L"{0.0.1.00000000}.{capture-notpresent}";

// COM initialised and the platform installed, as a product test runs. Every test ends with no
// reference left on any simulated object. The MTA, because an STA makes Wine start a desktop
// process that holds the test's output open for a second after it exits.
class SimFixture : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_HR(S_OK, CoInitializeEx(nullptr, COINIT_MULTITHREADED));
        platform.AddEndpoint({kRenderDisabled, eRender, DEVICE_STATE_DISABLED});
        platform.AddEndpoint({kRender, eRender});
        platform.AddEndpoint({kCapture, eCapture});
        platform.AddEndpoint({kRenderSecond, eRender, DEVICE_STATE_ACTIVE, sim::StoreAccess::ReadOnly});
        platform.AddEndpoint({kRenderUnplugged, eRender, DEVICE_STATE_UNPLUGGED});
        platform.AddEndpoint({kCaptureAbsent, eCapture, DEVICE_STATE_NOTPRESENT, sim::StoreAccess::None});
        installation.emplace(platform);
        ASSERT_HR(S_OK, installation->Result());
    }

    void TearDown() override {
        EXPECT_EQ(0, platform.TotalReferences()) << "references left on simulated objects";
        EXPECT_EQ(0, platform.TotalObjects());
        installation.reset();
        CoUninitialize();
    }

    // The way the product gets its enumerator.
    ComPtr<IMMDeviceEnumerator> Enumerator() {
        ComPtr<IMMDeviceEnumerator> enumerator;
        const HRESULT hr = CoCreateInstance(__uuidof(MMDeviceEnumerator), nullptr, CLSCTX_ALL,
                                            __uuidof(IMMDeviceEnumerator), reinterpret_cast<void**>(enumerator.GetAddressOf()));
        EXPECT_HR(S_OK, hr);
        return enumerator;
    }

    ComPtr<IMMDevice> Device(const wchar_t* id) {
        ComPtr<IMMDevice> device;
        EXPECT_HR(S_OK, Enumerator()->GetDevice(id, &device));
        return device;
    }

    sim::Platform platform;
    std::optional<sim::Installation> installation;
};

}  // namespace simtest
