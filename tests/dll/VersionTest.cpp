// The version query (1001, 2001) through GetPexParam: class ids of the FX keys
// served by the simulated policy-configuration object, wrappers resolved
// through the redirected HKEY_LOCAL_MACHINE.
#include <gtest/gtest.h>

#include <optional>

#include "SimulatedEndpointTest.h"
#include "sim/RegistryOverride.h"

namespace kelix::test {
namespace {

constexpr wchar_t kWrapperKey[] = L"SOFTWARE\\Sonavel\\Wrapper\\";
constexpr wchar_t kMfxSlot[] = L"{0EBD8506-17BB-4AE7-AD76-E86F99A425E9}";  // APO_MFX, as Windows writes it
constexpr wchar_t kEfxSlot[] = L"{0ebd8507-17bb-4ae7-ad76-e86f99a425e9}";  // APO_EFX
constexpr wchar_t kPex25[] = L"{d9916fa0-99f7-11e7-bf21-6c0b849889e1}";
constexpr wchar_t kPex210[] = L"{EFC7A7B3-40A7-4601-ABC1-878CD5EAE544}";

struct FxValue {
    DWORD pid;
    std::vector<std::wstring> classIds;
    VARTYPE type = VT_LPWSTR;  // VT_LPWSTR or VT_BSTR; more than one: a VT_LPWSTR vector
};
struct Wrapper {
    const wchar_t* slot;
    DWORD type;  // the registry type the class id is stored as
    std::wstring classId;
};

using VersionTest = SimulatedEndpointTest;

// Failures of the platform give the empty text (the size negotiation itself is the bad-input
// matrix's to check).
TEST_F(VersionTest, ClassIdsMapThroughTheKeysInOrder) {
    sim::RegistryOverride registry;
    ASSERT_EQ(registry.Result(), ERROR_SUCCESS);
    const auto registerFx = [&](const FxValue& fx) {
        std::vector<LPWSTR> texts;
        for (const std::wstring& id : fx.classIds) texts.push_back(const_cast<LPWSTR>(id.c_str()));
        PROPVARIANT value;
        value.vt = texts.size() > 1 ? VT_VECTOR | VT_LPWSTR : fx.type;
        value.calpwstr = {static_cast<ULONG>(texts.size()), texts.data()};
        if (value.vt == VT_LPWSTR) value.pwszVal = texts[0];
        if (value.vt == VT_BSTR) value.bstrVal = SysAllocString(texts[0]);
        EXPECT_EQ(speakers.SetFxValue(FxKey(fx.pid), value), S_OK);
        if (value.vt == VT_BSTR) SysFreeString(value.bstrVal);
    };
    // The version text, or nothing when the query fails.
    const auto version = [&](std::int32_t id) {
        wchar_t* handle = OpenSpeakers();
        UINT32 size = 0;
        std::optional<std::wstring> text;
        EXPECT_EQ(dll.Get(handle, id, nullptr, &size, 1), E_INVALIDARG);
        std::vector<wchar_t> buffer(size / 2, L'#');  // exactly what was asked for: the text and its terminator
        UINT32 room = size;
        if (SUCCEEDED(dll.Get(handle, id, buffer.data(), &room, 1))) {
            EXPECT_EQ(room, size - 2);
            EXPECT_EQ(buffer.back(), L'\0');
            text = std::wstring(buffer.data());
        }
        EXPECT_EQ(dll.Close(handle), S_OK);
        EXPECT_EQ(platform.TotalReferences(), 0);
        return text;
    };
    struct Case {
        const char* name;
        std::int32_t id;
        std::vector<FxValue> fx;
        std::vector<Wrapper> wrappers;
        std::wstring version;
        const char* failing = nullptr;  // a platform method that fails for the case
        HRESULT failure = S_OK;
    };
    const Case cases[] = {
        {"stream effect", 1001, {{5, {kPex25}}}, {}, L"pex2.5"},
        {"composite stream before stream", 1001,
         {{5, {kPex25}}, {13, {L"{1bedaecc-55f6-4149-95d9-a707a2fb4134}"}}}, {}, L"pex2.10-lite"},
        {"wrapper named in the registry", 1001, {{13, {kMfxSlot}}}, {{L"APO_MFX", REG_SZ, kPex210}}, L"pex2.10"},
        {"wrapper as REG_EXPAND_SZ", 1001, {{13, {kMfxSlot}}, {5, {kPex25}}}, {{L"APO_MFX", REG_EXPAND_SZ, kPex210}},
         L"pex2.10"},
        {"wrapper as REG_BINARY is skipped", 1001, {{13, {kMfxSlot}}, {5, {kPex25}}},
         {{L"APO_MFX", REG_BINARY, kPex210}}, L"pex2.5"},
        {"wrapper without a registry value, next slot", 1001,
         {{13, {kEfxSlot}}, {5, {L"{d9916f9f-99f7-11e7-bf21-6c0b849889e1}"}}}, {}, L"pex2.5-gaming"},
        {"composite endpoint before composite mode", 2001,
         {{14, {L"{97acd2ab-83ec-494b-9fe4-922bce1bd691}"}}, {15, {L"{6e4dd785-e58a-4a6a-81d9-5eb9eb434eda}"}}}, {},
         L"krelo1.3"},
        {"vector, first known id wins", 2001,
         {{7, {L"{00000000-0000-0000-0000-000000000000}", L"{d9916f9c-99f7-11e7-bf21-6c0b849889e1}",
               L"{d9916f9e-99f7-11e7-bf21-6c0b849889e1}"}}},
         {}, L"krelo1.2"},
        {"vector of unknown ids, nothing read past its end", 2001,
         {{7, {L"{00000000-0000-0000-0000-000000000000}", L"{12345678-0000-0000-0000-000000000000}"}}}, {}, L""},
        {"BSTR values", 2001, {{6, {L"{d9916f9d-99f7-11e7-bf21-6c0b849889e1}"}, VT_BSTR}}, {}, L"krelo1.0-gaming"},
        {"the other family's effect", 2001, {{5, {kPex25}}}, {}, L""},
        {"no effect", 1001, {}, {}, L""},
        {"unknown class id", 1001, {{5, {L"{12345678-0000-0000-0000-000000000000}"}}}, {}, L""},
        {"a key that cannot be read", 1001, {{5, {kPex25}}}, {}, L"", "IPolicyConfigVistaClient::GetPropertyValue",
         E_ACCESSDENIED},
        {"no policy-configuration object", 1001, {{5, {kPex25}}}, {}, L"", "CoCreateInstance(PolicyConfig)",
         REGDB_E_CLASSNOTREG},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        for (const FxValue& fx : c.fx) registerFx(fx);
        for (const Wrapper& w : c.wrappers) {
            const DWORD bytes = static_cast<DWORD>((w.classId.size() + 1) * sizeof(wchar_t));
            ASSERT_EQ(registry.SetValue(kWrapperKey, w.slot, w.type, w.classId.c_str(), bytes), 0);
        }
        if (c.failing != nullptr) platform.FailMethod(c.failing, c.failure);
        EXPECT_EQ(version(c.id), c.version);
        platform.ClearFailures();
        // Next case: a clean FX store and registry.
        for (const FxValue& fx : c.fx) speakers.SetFxValue(FxKey(fx.pid), PROPVARIANT{});
        registry.DeleteKey(L"SOFTWARE\\Sonavel");
    }
    // Each query without the object (the size, then the text) says so.
    const std::wstring missing = L"Cannot create instance for IPolicyConfigVistaClient. " + Failure(REGDB_E_CLASSNOTREG);
    EXPECT_TRUE(log.Has(2, kExports, L"`anonymous-namespace'::GetApoVersion", missing, 2));
}

}  // namespace
}  // namespace kelix::test
