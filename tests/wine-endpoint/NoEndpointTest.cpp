// Wine without any audio endpoint: opening the default goes on with the empty id.
#include <gtest/gtest.h>

#include "LogCapture.h"
#include "WineEndpoint.h"

namespace kelix::test {
namespace {

TEST(NoEndpointTest, OpenDefaultGoesOnWithTheEmptyId) {
    LogCapture log;
    DllUnderTest dll;
    ASSERT_TRUE(dll.Loaded());
    Microsoft::WRL::ComPtr<IMMDeviceEnumerator> enumerator;
    ASSERT_EQ(CoCreateInstance(__uuidof(MMDeviceEnumerator), nullptr, CLSCTX_ALL, IID_PPV_ARGS(&enumerator)), S_OK);
    Microsoft::WRL::ComPtr<IMMDevice> device;
    const HRESULT noDefault = enumerator->GetDefaultAudioEndpoint(eRender, eConsole, &device);
    if (SUCCEEDED(noDefault)) {
        if (Required()) FAIL() << "Wine shows an endpoint although ALSA has no device";
        GTEST_SKIP() << "this Wine shows an endpoint";
    }
    // What the store route answers for the empty id is the platform's own result.
    const HRESULT emptyId = enumerator->GetDevice(L"", &device);
    ASSERT_TRUE(FAILED(emptyId)) << Hex(emptyId);

    wchar_t* const sentinel = reinterpret_cast<wchar_t*>(0x5E47);
    wchar_t* handle = sentinel;
    EXPECT_EQ(dll.Open(&handle, nullptr), emptyId) << Hex(emptyId);
    EXPECT_EQ(handle, sentinel);
    EXPECT_TRUE(log.Has(2, L"Kelix3PexControl.cpp", L"`anonymous-namespace'::GetDefaultDeviceId",
                        FailureText(L"Failed to get default device. ", noDefault)));
    EXPECT_TRUE(log.Has(2, L"ApoController.cpp", L"ApoController::Open", FailureText(L"Failed to find device[]: ", emptyId)));
}

}  // namespace
}  // namespace kelix::test
