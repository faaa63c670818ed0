// The parameter catalogue: parameter id -> name and the property key under
// which the effect reads that parameter from the endpoint's FX property store.
#pragma once

#include <cstdint>
#include <map>
#include <string_view>

#include "core/Guid.h"

namespace kelix {

using ParameterId = std::int32_t;

// Property sets of the catalogue rows.
inline constexpr Guid kFmtidPexBypass{0x0C5E4949, 0x7A67, 0x4B9E, {0x90, 0x69, 0x1D, 0x62, 0x59, 0x68, 0x24, 0x36}};
inline constexpr Guid kFmtidPexFormFactor{0xDD0DF94B, 0x53A2, 0x4A92, {0x85, 0x4E, 0x91, 0xF4, 0x2E, 0x28, 0xFD, 0x7B}};
inline constexpr Guid kFmtidPexVirtualizerBypass{0xDC827E12, 0x807B, 0x4FBB, {0x8E, 0x3C, 0x6C, 0x62, 0x98, 0x1D, 0xD3, 0xC9}};
inline constexpr Guid kFmtidPexTuning{0xF112024A, 0xFE30, 0x42A8, {0x80, 0xAB, 0x8D, 0xD8, 0x25, 0xA0, 0x6F, 0x78}};
inline constexpr Guid kFmtidKreloTuning{0x5510C7AB, 0xDFC2, 0x40D0, {0xA9, 0x8B, 0x5F, 0x77, 0xF6, 0x97, 0x00, 0x5E}};
inline constexpr Guid kFmtidNsBypass{0x5B5E03CB, 0x8070, 0x420D, {0xB7, 0x94, 0x8A, 0x28, 0xC8, 0x9F, 0x62, 0x74}};

// The form-factor override row ("pex_formfactor").
inline constexpr ParameterId kParameterFormFactorOverride = 1004;

struct ParameterInfo {
    PropertyKey key;
    const wchar_t* name;  // lower snake case with the family prefix, e.g. L"pex_postgain"
};

struct ParameterLookup {
    std::wstring_view name;  // empty when not found
    PropertyKey key{};       // all zero when not found
    bool found = false;
};

// Every row, ordered by id; built once on first use and never changed.
const std::map<ParameterId, ParameterInfo>& ParameterCatalogue();

// Exact-id lookup; ids without a row (1001, 1003, 2001, 2003, gaps) are not found.
ParameterLookup LookupParameter(ParameterId id);

}  // namespace kelix
