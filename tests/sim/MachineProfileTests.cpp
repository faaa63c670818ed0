// Machine profiles: the shipped ones install, a saved profile brings back what
// the endpoints and modules held, and a profile that does not read names its
// field and installs nothing.
#include <filesystem>
#include <fstream>
#include <sstream>

#include <mmreg.h>

#include <cstring>
#include <tuple>

#include "SimTestSupport.h"
#include "sim/MachineProfile.h"
#include "sim/RegistryOverride.h"

namespace sim {
namespace {

// The platform's default render endpoint, through the enumerator a product creates.
std::wstring DefaultRenderId(Platform& platform) {
    simtest::ComPtr<IMMDeviceEnumerator> enumerator;
    EXPECT_EQ(platform.CreateClassFactory()->CreateInstance(nullptr, IID_PPV_ARGS(&enumerator)), S_OK);
    simtest::ComPtr<IMMDevice> device;
    return SUCCEEDED(enumerator->GetDefaultAudioEndpoint(eRender, eConsole, &device)) ? simtest::IdOf(device.Get()) : L"";
}

// A machine nobody changed saves as a profile that saves the same again, with its default: each
// profile shipped.
TEST(MachineProfileTest, ShippedProfilesInstallAndSaveAsTheyAre) {
    int installed = 0;
    for (const auto& file : std::filesystem::directory_iterator(KELIX_PROFILES_DIR)) {
        SCOPED_TRACE(file.path().string());
        ++installed;
        Platform platform;
        RegistryOverride registry;
        std::stringstream text;
        text << std::ifstream(file.path(), std::ios::binary).rdbuf();
        MachineProfile profile(text.str());
        ASSERT_NO_THROW(profile.Install(platform, registry));
        const std::wstring defaultId = DefaultRenderId(platform);
        ASSERT_NE(platform.Find(defaultId), nullptr);
        const std::string saved = profile.Save();
        Platform second;
        RegistryOverride secondRegistry;
        MachineProfile reloaded(saved);
        reloaded.Install(second, secondRegistry);
        EXPECT_EQ(reloaded.Save(), saved);
        EXPECT_EQ(DefaultRenderId(second), defaultId);
        EXPECT_EQ(platform.TotalReferences(), 0);
    }
    EXPECT_GT(installed, 0) << "no profile in " KELIX_PROFILES_DIR;
}

TEST(MachineProfileTest, BadProfilesNameTheFieldAndInstallNothing) {
    const struct {
        std::string json;
        std::string message;
    } cases[] = {
        {"{", "not JSON"},
        {R"({"format": 2, "endpoints": []})", "profile.format: format 1 is the one this build reads"},
        {R"({"format": 1})", "profile: missing \"endpoints\""},
        {R"({"format": 1, "endpoints": [{"id": "a", "guid": "{00000000-0000-0000-0000-000000000001}",
             "friendlyName": "A", "state": "asleep"}]})",
         "profile.endpoints[0].state: \"asleep\" is none of active, disabled, notpresent, unplugged"},
        {R"({"format": 1, "endpoints": [{"id": "a", "guid": "{00000000-0000-0000-0000-000000000001}",
             "friendlyName": "A", "formFactor": -1}]})",
         "profile.endpoints[0].formFactor: out of range 0..4294967295"},
        {R"({"format": 1, "endpoints": [{"id": "a", "guid": "{00000000-0000-0000-0000-000000000001}",
             "friendlyName": "A", "dsp": {"failures": [{"request": "ParameterSet", "hresult": "0x00000001"}]}}]})",
         "profile.endpoints[0].dsp.failures[0].hresult: not a failure code"},
        {R"({"format": 1, "endpoints": [{"id": "a", "guid": "{00000000-0000-0000-0000-000000000001}",
             "friendlyName": "A"}, {"id": "a", "guid": "{00000000-0000-0000-0000-000000000002}", "friendlyName": "B"}]})",
         "profile.endpoints[1].id: used by an earlier endpoint"},
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

// The store values Windows keeps for every endpoint, from the profile or its defaults, as a
// client reads them.
TEST(MachineProfileTest, EndpointDescriptionAsWindowsKeepsIt) {
    const PROPERTYKEY friendlyName = {{0xA45C254E, 0xDF1C, 0x4EFD, {0x80, 0x20, 0x67, 0xD1, 0x46, 0xA8, 0x50, 0xE0}}, 14};
    const PROPERTYKEY description = {friendlyName.fmtid, 2};
    const PROPERTYKEY interfaceName = {{0x026E516E, 0xB814, 0x414B, {0x83, 0xCD, 0x85, 0x6D, 0x6F, 0xEF, 0x48, 0x22}}, 2};
    const PROPERTYKEY interfacePath = {{0x233164C8, 0x1B2C, 0x4C7D, {0xBC, 0x68, 0xB6, 0x71, 0x68, 0x7A, 0x25, 0x67}}, 1};
    const PROPERTYKEY deviceFormat = {{0xF19F064D, 0x082C, 0x4E27, {0xBC, 0x73, 0x68, 0x82, 0xA1, 0xBB, 0x8E, 0x4C}}, 0};
    const struct {
        const char* fields;
        const wchar_t* id;
        std::wstring names[4];  // friendly name, description, interface name, interface path
        DWORD rate;
        WORD channels, bits;
        DWORD channelMask;
        bool isFloat;
    } cases[] = {
        {"", L"{0.0.0.00000000}.{a}",
         {L"Speakers (Kelix3 simulated)", L"Speakers", L"Kelix3 simulated",
          L"\\\\?\\SWD#MMDEVAPI#{0.0.0.00000000}.{a}#{e6327cad-dcec-4949-ae8a-991e976a79d2}"},
         48000, 2, 32, 3, true},
        {R"(, "flow": "capture", "description": "Microphone", "interface": "USB Audio",
            "deviceFormat": {"sampleRate": 44100, "channels": 1, "bits": 16, "type": "pcm"})", L"{0.0.1.00000000}.{m}",
         {L"Microphone (USB Audio)", L"Microphone", L"USB Audio",
          L"\\\\?\\SWD#MMDEVAPI#{0.0.1.00000000}.{m}#{2eef81be-33fa-4800-9670-1cd474972c3f}"},
         44100, 1, 16, 4, false},
        // An older profile's whole name, split into its parts; one without parts stays as given.
        {R"j(, "friendlyName": "Speakers (Realtek(R) Audio)", "deviceFormat": {"channels": 6})j", L"{0.0.0.00000000}.{b}",
         {L"Speakers (Realtek(R) Audio)", L"Speakers", L"Realtek(R) Audio",
          L"\\\\?\\SWD#MMDEVAPI#{0.0.0.00000000}.{b}#{e6327cad-dcec-4949-ae8a-991e976a79d2}"},
         48000, 6, 32, 0x3F, true},
        {R"(, "friendlyName": "Out: default", "interface": "Out: default", "interfacePath": "\\\\?\\wine#1")",
         L"{0.0.0.00000000}.{c}", {L"Out: default", L"Out: default", L"Out: default", L"\\\\?\\wine#1"},
         48000, 2, 32, 3, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.fields);
        const std::string json = R"({"format": 1, "endpoints": [{"id": ")" + Utf8(c.id) +
                                 R"(", "guid": "{00000000-0000-0000-0000-000000000001}")" + c.fields + "}]}";
        Platform platform;
        RegistryOverride registry;
        MachineProfile profile(json);
        profile.Install(platform, registry);
        const Endpoint& endpoint = *platform.Find(c.id);
        const PROPERTYKEY texts[] = {friendlyName, description, interfaceName, interfacePath};
        for (size_t i = 0; i < 4; ++i) {
            PROPVARIANT value{};
            ASSERT_EQ(endpoint.GetValue(texts[i], &value), S_OK);
            ASSERT_EQ(value.vt, VT_LPWSTR) << i;
            EXPECT_EQ(std::wstring(value.pwszVal), c.names[i]);
            PropVariantClear(&value);
        }
        PROPVARIANT value{};
        ASSERT_EQ(endpoint.GetValue(deviceFormat, &value), S_OK);
        ASSERT_EQ(value.vt, VT_BLOB);
        ASSERT_EQ(value.blob.cbSize, sizeof(WAVEFORMATEXTENSIBLE));
        WAVEFORMATEXTENSIBLE format;
        std::memcpy(&format, value.blob.pBlobData, sizeof format);
        PropVariantClear(&value);
        // What the profile asked for, and what the fields of a format say of each other.
        const WAVEFORMATEX& f = format.Format;
        EXPECT_EQ(std::tuple(f.nSamplesPerSec, f.nChannels, f.wBitsPerSample, format.dwChannelMask, format.SubFormat.Data1),
                  std::tuple(c.rate, c.channels, c.bits, c.channelMask, c.isFloat ? DWORD{WAVE_FORMAT_IEEE_FLOAT} : DWORD{WAVE_FORMAT_PCM}));
        EXPECT_EQ(std::tuple(f.wFormatTag, f.cbSize, f.nBlockAlign, f.nAvgBytesPerSec, format.Samples.wValidBitsPerSample),
                  std::tuple(WORD{WAVE_FORMAT_EXTENSIBLE}, WORD{22}, WORD(c.channels * c.bits / 8), c.rate * c.channels * c.bits / 8,
                             c.bits));
        EXPECT_EQ(format.SubFormat.Data4[7], 0x71);
        // The described values stand in fields of their own, not among the saved values.
        EXPECT_NE(profile.Save().find("\"values\": []"), std::string::npos) << profile.Save();
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
