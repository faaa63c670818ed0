#include "core/FxTables.h"

#include <map>

#include "core/CheckedLookup.h"

namespace kelix {
namespace {

using NameTable = std::map<std::wstring, std::wstring, std::less<>>;

const NameTable& ApoVersions() {
    static const NameTable table{
        {L"{d9916fa0-99f7-11e7-bf21-6c0b849889e1}", L"pex2.5"},
        {L"{d9916f9f-99f7-11e7-bf21-6c0b849889e1}", L"pex2.5-gaming"},
        {L"{efc7a7b3-40a7-4601-abc1-878cd5eae544}", L"pex2.10"},
        {L"{1bedaecc-55f6-4149-95d9-a707a2fb4134}", L"pex2.10-lite"},
        {L"{d9916f9e-99f7-11e7-bf21-6c0b849889e1}", L"krelo1.0"},
        {L"{d9916f9c-99f7-11e7-bf21-6c0b849889e1}", L"krelo1.2"},
        {L"{d9916f9d-99f7-11e7-bf21-6c0b849889e1}", L"krelo1.0-gaming"},
        {L"{6e4dd785-e58a-4a6a-81d9-5eb9eb434eda}", L"krelo1.3"},
        {L"{97acd2ab-83ec-494b-9fe4-922bce1bd691}", L"krelo1.4"},
    };
    return table;
}

const NameTable& FxSlots() {
    static const NameTable table{
        {L"{0ebd8505-17bb-4ae7-ad76-e86f99a425e9}", L"APO_SFX"},
        {L"{0ebd8511-17bb-4ae7-ad76-e86f99a425e9}", L"APO_OSFX"},
        {L"{0ebd8506-17bb-4ae7-ad76-e86f99a425e9}", L"APO_MFX"},
        {L"{0ebd8507-17bb-4ae7-ad76-e86f99a425e9}", L"APO_EFX"},
        {L"{0ebd8512-17bb-4ae7-ad76-e86f99a425e9}", L"APO_OMFX"},
    };
    return table;
}

const NameTable& SignalProcessingModes() {
    static const NameTable table{
        {L"C18E2F7E-933D-4965-B7D1-1EEF228D2AF3", L"AUDIO_SIGNALPROCESSINGMODE_DEFAULT"},
        {L"9E90EA20-B493-4FD1-A1A8-7E1361A956CF", L"AUDIO_SIGNALPROCESSINGMODE_RAW"},
        {L"98951333-B9CD-48B1-A0A3-FF40682D73F7", L"AUDIO_SIGNALPROCESSINGMODE_COMMUNICATIONS"},
        {L"FC1CFC9B-B9D6-4CFA-B5E0-4BB2166878B2", L"AUDIO_SIGNALPROCESSINGMODE_SPEECH"},
        {L"9CF2A70B-F377-403B-BD6B-360863E0355C", L"AUDIO_SIGNALPROCESSINGMODE_NOTIFICATION"},
        {L"4780004E-7133-41D8-8C74-660DADD2C0EE", L"AUDIO_SIGNALPROCESSINGMODE_MEDIA"},
        {L"B26FEB0D-EC94-477C-9494-D1AB8E753F6E", L"AUDIO_SIGNALPROCESSINGMODE_MOVIE"},
    };
    return table;
}

// Stream effects for PEX; endpoint before mode effects for KRELO, composite keys first.
const std::map<ParameterId, std::vector<PropertyKey>>& ProbeKeys() {
    static const std::map<ParameterId, std::vector<PropertyKey>> table{
        {1001, {{kFmtidAudioFx, 13}, {kFmtidAudioFx, 5}}},
        {2001, {{kFmtidAudioFx, 15}, {kFmtidAudioFx, 14}, {kFmtidAudioFx, 7}, {kFmtidAudioFx, 6}}},
    };
    return table;
}

std::optional<std::wstring_view> Lookup(const NameTable& table, std::wstring_view key) {
    const auto found = table.find(key);
    if (found == table.end()) return std::nullopt;
    return std::wstring_view(found->second);
}

}  // namespace

std::optional<std::wstring_view> LookupApoVersion(std::wstring_view classId) { return Lookup(ApoVersions(), classId); }

std::optional<std::wstring_view> LookupFxSlot(std::wstring_view classId) { return Lookup(FxSlots(), classId); }

std::optional<std::wstring_view> LookupSignalProcessingMode(std::wstring_view mode) {
    return Lookup(SignalProcessingModes(), mode);
}

const std::vector<PropertyKey>& ProbeKeysFor(ParameterId versionId) { return CheckedAt(ProbeKeys(), versionId); }

std::wstring LowerAscii(std::wstring_view text) {
    std::wstring lower(text);
    for (wchar_t& c : lower) {
        if (c >= L'A' && c <= L'Z') c = static_cast<wchar_t>(c - L'A' + L'a');
    }
    return lower;
}

}  // namespace kelix
