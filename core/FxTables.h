// Tables of the effect version detection: installed effect class ids to version
// names, FX slot class ids to slot names, the FX keys to probe per family, and
// the Windows signal-processing modes. Lookups are exact: case and braces count.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/Guid.h"
#include "core/ParameterCatalogue.h"

namespace kelix {

// Property set of the Windows audio FX keys ({D04E05A6-594B-4FB6-A80D-01AF5EED7D1D}).
inline constexpr Guid kFmtidAudioFx{0xD04E05A6, 0x594B, 0x4FB6, {0xA8, 0x0D, 0x01, 0xAF, 0x5E, 0xED, 0x7D, 0x1D}};

// "{efc7a7b3-40a7-4601-abc1-878cd5eae544}" -> "pex2.10"; lower case with braces.
std::optional<std::wstring_view> LookupApoVersion(std::wstring_view classId);
// "{0ebd8506-17bb-4ae7-ad76-e86f99a425e9}" -> "APO_MFX"; lower case with braces.
std::optional<std::wstring_view> LookupFxSlot(std::wstring_view classId);
// "C18E2F7E-933D-4965-B7D1-1EEF228D2AF3" -> "AUDIO_SIGNALPROCESSINGMODE_DEFAULT"; upper case without braces.
std::optional<std::wstring_view> LookupSignalProcessingMode(std::wstring_view mode);

// The FX keys whose class ids name the installed effect of a family, in
// probing order. Only 1001 and 2001 have a list; any other id is a
// programming fault (std::out_of_range).
const std::vector<PropertyKey>& ProbeKeysFor(ParameterId versionId);

// ASCII lower case, character by character (class id texts are ASCII).
std::wstring LowerAscii(std::wstring_view text);

}  // namespace kelix
