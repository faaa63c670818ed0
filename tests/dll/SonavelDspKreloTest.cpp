// The DSP module access class and the DSP controller, for what the exports
// cannot reach: selection of all modules, index validation per module version,
// and the controller on a device with one family.
#include <gtest/gtest.h>

#include "DspController.h"
#include "KsScenario.h"
#include "SonavelDspKrelo.h"

namespace kelix::test {
namespace {

class SonavelDspKreloTest : public testing::Test {
protected:
    void TearDown() override {
        dsp.ClearModuleList();
        EXPECT_EQ(platform.References("IKsControl"), 0);
    }
    sim::Platform platform;
    sim::Installation installed{platform};
    CSonavelDspKrelo& dsp = CSonavelDspKrelo::Instance();
};

// Without modules every call is refused; with all modules selected (-1) a parameter goes to
// each in order until the first failure.
TEST_F(SonavelDspKreloTest, EmptyListThenAllModulesInOrder) {
    dsp.ClearModuleList();
    UINT32 enabled = 0;
    BYTE reply[kModuleReplySize];
    const BYTE value[4] = {9, 0, 0, 0};
    int call = 0;  // in this order: select -1 and 0, set a parameter, set and get the enable, get a parameter
    for (HRESULT hr : {dsp.SelectModule(-1), dsp.SelectModule(0), dsp.SetModuleParam(20, value, 4),
                       dsp.SetModuleEnable(1), dsp.GetModuleEnable(&enabled), dsp.GetModuleParam(reply, 20)}) {
        EXPECT_EQ(hr, E_FAIL) << "call " << call++;
    }
    EXPECT_FALSE(dsp.SelectedIsVersion100());

    sim::Endpoint& endpoint =
        AddEndpoint(platform, {L"{0.0.0.00000000}.{all-modules}", L"{0F0F0F0F-0000-4000-8000-000000000001}"});
    sim::Dsp& firmware = AttachDsp(platform, endpoint, {.modules = {{.id = kModule142, .name = "full", .version = "1.4.2"},
                                                                    {.id = kModule100, .name = "early", .version = "1.0.0"}}});
    ASSERT_EQ(dsp.RefreshModules(), S_OK);
    firmware.ClearRequests();
    UINT32 count = 0;
    ASSERT_EQ(dsp.GetModuleCount(&count), S_OK);
    ASSERT_EQ(count, 2u);
    EXPECT_EQ(dsp.SelectModule(-2), E_FAIL);
    EXPECT_EQ(dsp.SelectModule(2), E_FAIL);
    ASSERT_EQ(dsp.SelectModule(-1), S_OK);
    EXPECT_FALSE(dsp.SelectedIsVersion100());  // the first module reads for -1

    // 40 is valid for "1.4.2" but not for "1.0.0": the first is set, then E_INVALIDARG.
    EXPECT_EQ(dsp.SetModuleParam(40, value, 4), E_INVALIDARG);
    EXPECT_TRUE(firmware.Parameter(kModule142, 40).has_value());
    EXPECT_FALSE(firmware.Parameter(kModule100, 40).has_value());
    EXPECT_EQ(firmware.Requests().size(), 1u);

    // Initialisation items are sent to every module without validation.
    firmware.ClearRequests();
    EXPECT_EQ(dsp.SetModuleParam(5, value, 4), S_OK);
    EXPECT_EQ(firmware.Requests().size(), 2u);
    EXPECT_TRUE(Logged(4, L"CSonavelDspKrelo::SetModuleParam", L"Speakers - [max_num_channels]"));

    // A failure at the first module stops there.
    firmware.ClearRequests();
    const HRESULT fault = HRESULT_FROM_WIN32(ERROR_GEN_FAILURE);
    firmware.Fail(sim::DspRequest::ParameterSet, fault, 1);
    EXPECT_EQ(dsp.SetModuleParam(21, value, 4), fault);
    EXPECT_EQ(firmware.Requests().size(), 1u);
    EXPECT_TRUE(Logged(3, L"CSonavelDspKrelo::SetModuleParam", Failure(L"Failed to set PP module parameter!: ", fault)));

    // Values beyond the buffer are refused before anything is sent.
    firmware.ClearRequests();
    std::vector<BYTE> large(64001, 1);
    EXPECT_EQ(dsp.SetModuleParam(21, large.data(), 64001), E_INVALIDARG);
    EXPECT_EQ(dsp.SetModuleParam(21, nullptr, 4), E_INVALIDARG);
    EXPECT_TRUE(firmware.Requests().empty());
    ASSERT_EQ(dsp.SelectModule(1), S_OK);
    EXPECT_TRUE(dsp.SelectedIsVersion100());
}

TEST_F(SonavelDspKreloTest, DeviceWithOnlyThePexModule) {
    const wchar_t kPexOnly[] = L"{0.0.0.00000000}.{pex-only}";
    sim::Endpoint& endpoint = AddEndpoint(platform, {kPexOnly, L"{0F0F0F0F-0000-4000-8000-000000000003}"});
    AttachDsp(platform, endpoint, {.modules = {{.id = kModulePex, .name = "pex", .version = "2.10"}}});
    ASSERT_EQ(DspController::Open(kPexOnly), S_OK);
    EXPECT_TRUE(Logged(4, L"DspController::Open", L"DSP module index: " + std::wstring(kPexOnly) + L"[0, -10]"));
    EXPECT_FALSE(DspController::FamilyMissing(kPexOnly, 1105));
    EXPECT_TRUE(DspController::FamilyMissing(kPexOnly, 2104));
    EXPECT_FALSE(DspController::FamilyMissing(kPexOnly, 3002));  // of neither family
    EXPECT_EQ(DspController::SelectModule(kPexOnly, 1105), S_OK);
    EXPECT_EQ(DspController::SelectModule(kPexOnly, 2104), E_INVALIDARG);
    EXPECT_EQ(DspController::SelectModule(kPexOnly, 3002), E_INVALIDARG);
    // A second open keeps the modules found at the first.
    EXPECT_EQ(DspController::Open(kPexOnly), S_OK);
    EXPECT_TRUE(Logged(4, L"DspController::Open", L"DSP module for device[" + std::wstring(kPexOnly) + L"] is already opened."));
    EXPECT_EQ(DspController::Close(kPexOnly), S_OK);
    EXPECT_TRUE(DspController::FamilyMissing(kPexOnly, 1105));
}

}  // namespace
}  // namespace kelix::test
