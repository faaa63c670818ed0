// The topology walk against Wine's own endpoint: it has no device topology
// (Activate answers E_NOINTERFACE), so the walk ends there, cleanly and without a module.
#include <windows.h>
#include <mmdeviceapi.h>
#include <wrl/client.h>

#include <gtest/gtest.h>

#include <string>

#include "DllUnderTest.h"
#include "WineEndpoint.h"
#include "LogCapture.h"
#include "PPAPIHelper.h"

using Microsoft::WRL::ComPtr;

namespace kelix::test {
namespace {

std::wstring Failure(const std::wstring& message, HRESULT hr) {
    wchar_t code[16];
    _snwprintf(code, 16, L"[0x%.8x]", static_cast<unsigned>(hr));
    return message + code + SystemText(hr);
}

TEST(WineTopologyWalkTest, EndsWithoutAModuleAtTheMissingTopology) {
    LogCapture log;
    ComPtr<IMMDeviceEnumerator> enumerator;
    ASSERT_EQ(CoCreateInstance(__uuidof(MMDeviceEnumerator), nullptr, CLSCTX_ALL, IID_PPV_ARGS(&enumerator)), S_OK);
    ComPtr<IMMDeviceCollection> devices;
    ASSERT_EQ(enumerator->EnumAudioEndpoints(eRender, DEVICE_STATE_ACTIVE, &devices), S_OK);
    UINT count = 0;
    ASSERT_EQ(devices->GetCount(&count), S_OK);
    if (count == 0) {
        if (Required()) FAIL() << "Wine shows no endpoint with the ALSA null device";
        GTEST_SKIP() << "Wine shows no endpoint: ALSA null device not configured";
    }

    CPPAPIHelper helper;
    EXPECT_EQ(helper.PPInitialize(GUID_NULL), E_NOINTERFACE);
    EXPECT_TRUE(helper.Modules().empty());
    EXPECT_TRUE(log.Has(4, L"PPAPIHelper.cpp", L"CPPAPIHelper::PPInitialize", L"Devices count: " + std::to_wstring(count)));
    EXPECT_TRUE(log.Has(3, L"PPAPIHelper.cpp", L"CPPAPIHelper::PPInitialize",
                        Failure(L"Device activation failed! ", E_NOINTERFACE)));

    EXPECT_EQ(helper.SonavelModuleExist(devices.Get(), 0, 0), E_NOINTERFACE);
    EXPECT_TRUE(log.Has(3, L"PPAPIHelper.cpp", L"CPPAPIHelper::SonavelModuleExist",
                        Failure(L"Failed to active device IDeviceTopology: ", E_NOINTERFACE)));
}

}  // namespace
}  // namespace kelix::test
