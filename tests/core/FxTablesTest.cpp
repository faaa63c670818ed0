#include <gtest/gtest.h>

#include <stdexcept>

#include "core/FxTables.h"

namespace kelix {
namespace {

TEST(FxTablesTest, LookupsMatchTheWholeKeyExactly) {
    struct Case {
        std::optional<std::wstring_view> (*lookup)(std::wstring_view);
        const wchar_t* key;
        std::optional<std::wstring_view> name;
    };
    const Case cases[] = {
        {LookupApoVersion, L"{efc7a7b3-40a7-4601-abc1-878cd5eae544}", L"pex2.10"},
        {LookupApoVersion, L"{EFC7A7B3-40A7-4601-ABC1-878CD5EAE544}", std::nullopt},
        {LookupApoVersion, L"efc7a7b3-40a7-4601-abc1-878cd5eae544", std::nullopt},
        {LookupApoVersion, L"{97acd2ab-83ec-494b-9fe4-922bce1bd691}", L"krelo1.4"},
        {LookupFxSlot, L"{0ebd8512-17bb-4ae7-ad76-e86f99a425e9}", L"APO_OMFX"},
        {LookupFxSlot, L"{0EBD8512-17BB-4AE7-AD76-E86F99A425E9}", std::nullopt},
        {LookupSignalProcessingMode, L"B26FEB0D-EC94-477C-9494-D1AB8E753F6E", L"AUDIO_SIGNALPROCESSINGMODE_MOVIE"},
        {LookupSignalProcessingMode, L"{B26FEB0D-EC94-477C-9494-D1AB8E753F6E}", std::nullopt},
        {LookupSignalProcessingMode, L"b26feb0d-ec94-477c-9494-d1ab8e753f6e", std::nullopt},
    };
    for (const Case& c : cases) EXPECT_EQ(c.lookup(c.key), c.name) << std::wstring(c.key).size();
}

TEST(FxTablesTest, ProbeKeysPerFamilyInOrder) {
    const auto pids = [](ParameterId id) {
        std::vector<std::uint32_t> out;
        for (const PropertyKey& key : ProbeKeysFor(id)) {
            EXPECT_EQ(key.fmtid, kFmtidAudioFx);
            out.push_back(key.pid);
        }
        return out;
    };
    EXPECT_EQ(pids(1001), (std::vector<std::uint32_t>{13, 5}));
    EXPECT_EQ(pids(2001), (std::vector<std::uint32_t>{15, 14, 7, 6}));
    try {
        ProbeKeysFor(1002);
        ADD_FAILURE() << "no probe keys for 1002";
    } catch (const std::out_of_range& fault) {
        EXPECT_STREQ(fault.what(), "invalid map<K, T> key");
    }
}

TEST(FxTablesTest, LowerAsciiTouchesOnlyLetters) {
    EXPECT_EQ(LowerAscii(L"{AEFC7-Z@[}"), L"{aefc7-z@[}");  // both ends of A..Z, and their neighbours
    EXPECT_EQ(LowerAscii(L"\u00C9x"), L"\u00C9x");
}

}  // namespace
}  // namespace kelix
