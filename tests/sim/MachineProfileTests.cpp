// Machine profiles: the shipped ones install, a saved profile brings back what
// the endpoints and modules held, and a profile that does not read names its
// field and installs nothing.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include <wrl/client.h>

#include "SimTestSupport.h"
#include "sim/MachineProfile.h"
#include "sim/RegistryOverride.h"

namespace sim {
namespace {

constexpr PROPERTYKEY kPostGain = {{0xF112024A, 0xFE30, 0x42A8, {0x80, 0xAB, 0x8D, 0xD8, 0x25, 0xA0, 0x6F, 0x78}}, 4};
constexpr wchar_t kSpeakers[] = L"{0.0.0.00000000}.{6b1d7c40-5c2e-4f0a-9d3e-0a1b2c3d4e01}";

std::string ReadFile(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

std::string Profile(const char* name) { return ReadFile(std::filesystem::path(KELIX_PROFILES_DIR) / name); }

// The platform's default render endpoint, through the enumerator a product creates.
std::wstring DefaultRenderId(Platform& platform) {
    Microsoft::WRL::ComPtr<IMMDeviceEnumerator> enumerator;
    EXPECT_EQ(platform.CreateClassFactory()->CreateInstance(nullptr, IID_PPV_ARGS(&enumerator)), S_OK);
    Microsoft::WRL::ComPtr<IMMDevice> device;
    if (FAILED(enumerator->GetDefaultAudioEndpoint(eRender, eConsole, &device))) return {};
    LPWSTR id = nullptr;
    EXPECT_EQ(device->GetId(&id), S_OK);
    std::wstring text = id;
    CoTaskMemFree(id);
    return text;
}

TEST(MachineProfileTest, ShippedProfilesInstallAndSaveAsTheyAre) {
    const struct {
        const char* file;
        const wchar_t* defaultId;
        StoreAccess access;
    } cases[] = {
        {"laptop-speakers.json", kSpeakers, StoreAccess::ReadWrite},
        {"amd-laptop.json", L"{0.0.0.00000000}.{a3d0c0de-0000-4000-8000-00000000a001}", StoreAccess::ReadWrite},
        {"headset-without-dsp.json", L"{0.0.0.00000000}.{4ead5e70-0000-4000-8000-00000000b001}", StoreAccess::ReadWrite},
        {"two-endpoints.json", L"{0.0.0.00000000}.{2e2d0000-0000-4000-8000-00000000c001}", StoreAccess::ReadWrite},
        {"read-only-store.json", L"{0.0.0.00000000}.{4ead0000-0000-4000-8000-00000000d001}", StoreAccess::ReadOnly},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.file);
        Platform platform;
        RegistryOverride registry;
        MachineProfile profile(Profile(c.file));
        ASSERT_NO_THROW(profile.Install(platform, registry));
        EXPECT_EQ(DefaultRenderId(platform), c.defaultId);
        ASSERT_NE(platform.Find(c.defaultId), nullptr);
        EXPECT_EQ(platform.Find(c.defaultId)->Access(), c.access);
        // A machine nobody changed saves as a profile that saves the same again.
        const std::string saved = profile.Save();
        Platform second;
        RegistryOverride secondRegistry;
        MachineProfile reloaded(saved);
        reloaded.Install(second, secondRegistry);
        EXPECT_EQ(reloaded.Save(), saved);
        EXPECT_EQ(platform.TotalReferences(), 0);
    }
}

TEST(MachineProfileTest, SavedProfileBringsBackStoreAndModules) {
    std::string saved;
    {
        Platform platform;
        RegistryOverride registry;
        MachineProfile profile(Profile("laptop-speakers.json"));
        profile.Install(platform, registry);
        PROPVARIANT gain{};
        gain.vt = VT_I4;
        gain.lVal = -4;
        ASSERT_EQ(platform.Find(kSpeakers)->SetValue(kPostGain, gain), S_OK);
        saved = profile.Save();
    }
    EXPECT_NE(saved.find("\"value\": -4"), std::string::npos) << saved;

    Platform platform;
    RegistryOverride registry;
    MachineProfile again(saved);
    again.Install(platform, registry);
    PROPVARIANT value{};
    ASSERT_EQ(platform.Find(kSpeakers)->GetValue(kPostGain, &value), S_OK);
    EXPECT_EQ(value.vt, VT_I4);
    EXPECT_EQ(value.lVal, -4);
    EXPECT_EQ(again.Save(), saved);  // a second run sees one machine
}

TEST(MachineProfileTest, BadProfilesNameTheFieldAndInstallNothing) {
    const struct {
        std::string json;
        std::string message;
    } cases[] = {
        {"{", "not JSON"},
        {R"({"format": 2, "endpoints": []})", "profile.format: format 1 is the one this build reads"},
        {R"({"format": 1})", "profile: missing \"endpoints\""},
        {R"({"format": 1, "endpoints": [{"id": "a", "guid": "{00000000-0000-0000-0000-000000000001}"}]})",
         "profile.endpoints[0]: missing \"friendlyName\""},
        {R"({"format": 1, "endpoints": [{"id": "a", "guid": "x", "friendlyName": "A"}]})",
         "profile.endpoints[0].guid: not a GUID in braces"},
        {R"({"format": 1, "endpoints": [{"id": "a", "guid": "{00000000-0000-0000-0000-000000000001}",
             "friendlyName": "A", "state": "asleep"}]})",
         "profile.endpoints[0].state: \"asleep\" is none of active, disabled, notpresent, unplugged"},
        {R"({"format": 1, "endpoints": [{"id": "a", "guid": "{00000000-0000-0000-0000-000000000001}",
             "friendlyName": "A", "formFactor": -1}]})",
         "profile.endpoints[0].formFactor: out of range 0..4294967295"},
        {R"({"format": 1, "endpoints": [{"id": "a", "guid": "{00000000-0000-0000-0000-000000000001}",
             "friendlyName": "A", "values": [{"key": "{F112024A-FE30-42A8-80AB-8DD825A06F78},4", "type": "r8",
             "value": 1}]}]})",
         "profile.endpoints[0].values[0].type: \"r8\" is none of i4, ui4, i4vector, blob, text"},
        {R"({"format": 1, "endpoints": [{"id": "a", "guid": "{00000000-0000-0000-0000-000000000001}",
             "friendlyName": "A", "dsp": {"modules": [{"id": "{1}"}]}}]})",
         "profile.endpoints[0].dsp.modules[0].id: not a GUID in braces"},
        {R"({"format": 1, "endpoints": [{"id": "a", "guid": "{00000000-0000-0000-0000-000000000001}",
             "friendlyName": "A", "dsp": {"failures": [{"request": "ParameterSet", "hresult": "0x00000001"}]}}]})",
         "profile.endpoints[0].dsp.failures[0].hresult: not a failure code"},
        {R"({"format": 1, "endpoints": [{"id": "a", "guid": "{00000000-0000-0000-0000-000000000001}",
             "friendlyName": "A"}, {"id": "a", "guid": "{00000000-0000-0000-0000-000000000002}", "friendlyName": "B"}]})",
         "profile.endpoints[1].id: used by an earlier endpoint"},
        {R"({"format": 1, "endpoints": [{"id": "a", "guid": "{00000000-0000-0000-0000-000000000001}",
             "friendlyName": "A", "dsp": {"mutation": {"seed": 1, "percent": 101}}}]})",
         "profile.endpoints[0].dsp.mutation.percent: out of range 0..100"},
        {R"({"format": 1, "endpoints": [], "failures": [{"method": "IMMDevice::Explode", "hresult": "0x80004005"}]})",
         "profile.failures[0].method: \"IMMDevice::Explode\" is no method of the simulated platform"},
    };
    for (const auto& c : cases) {
        try {
            MachineProfile profile(c.json);
            ADD_FAILURE() << "accepted: " << c.json;
        } catch (const ProfileError& error) {
            EXPECT_EQ(std::string(error.what()).substr(0, c.message.size()), c.message) << error.what();
        }
    }
}

TEST(MachineProfileTest, FailuresAndModuleValuesOfTheProfileAreInstalled) {
    const std::string json = R"({"format": 1,
        "failures": [{"method": "IMMDeviceEnumerator::GetDefaultAudioEndpoint", "hresult": "0x80070005", "times": 1}],
        "endpoints": [{"id": "a", "guid": "{00000000-0000-0000-0000-000000000001}", "friendlyName": "A",
                       "dsp": {"modules": [{"id": "{CBDD3DB0-85AE-4466-B18D-504FD8E7082B}",
                                            "parameters": [{"index": 21, "words": [7]}, {"index": 32, "bytes": "0a0b"}]}],
                               "failures": [{"request": "Version", "hresult": 2147942431}]}},
                      {"id": "b", "guid": "{00000000-0000-0000-0000-000000000002}", "friendlyName": "B",
                       "removed": true, "dsp": {"mutation": {"seed": 3, "percent": 40}}}]})";
    Platform platform;
    RegistryOverride registry;
    MachineProfile profile(json);
    profile.Install(platform, registry);
    EXPECT_EQ(DefaultRenderId(platform), L"");   // the one failing call
    EXPECT_EQ(DefaultRenderId(platform), L"a");
    EXPECT_EQ(platform.Find(L"b")->State(), static_cast<DWORD>(DEVICE_STATE_NOTPRESENT));  // removed
    EXPECT_FALSE(platform.Find(L"b")->Present(platform.Find(L"b")->Ticket()));
    const std::string saved = profile.Save();
    EXPECT_NE(saved.find("\"index\": 21,\n"), std::string::npos) << saved;
    EXPECT_NE(saved.find("\"bytes\": \"0a0b\""), std::string::npos) << saved;
    EXPECT_NE(saved.find("\"request\": \"Version\""), std::string::npos) << saved;
}

}  // namespace
}  // namespace sim
