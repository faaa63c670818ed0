// The DSP route's tables: catalogue id -> DSP parameter index and DSP-side
// name, the names of the initialisation-information items, and per module
// version the list of short names that bounds the indices a module accepts.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/ParameterCatalogue.h"

namespace kelix {

struct DspRoute {
    std::int32_t index;  // the DSP parameter index the requests carry
    const wchar_t* name; // e.g. L"krelo-post-gain", for log lines
};

// The route of an id on the DSP route, or nothing when the DSP does not serve it.
std::optional<DspRoute> LookupDspRoute(ParameterId id);
std::size_t DspRouteCount();

// Indices below this are initialisation-information items, named but not validated.
inline constexpr std::uint32_t kInitInfoCount = 7;
const std::wstring& InitInfoName(std::uint32_t index);  // index < kInitInfoCount

// A module version's short-name list: entry k names index base + k.
struct VersionList {
    const std::vector<std::wstring>* names;
    std::int32_t base;
};
// By prefix, first match: "1.4.2" the full KRELO list, "1.3.1" its first 14
// entries, "2.10" the PEX list, anything else the early KRELO list.
VersionList SelectVersionList(std::wstring_view moduleVersion);

// index - base as an unsigned 32-bit offset: indices below the base wrap and fail.
bool IsIndexInList(std::int32_t index, const VersionList& list);

}  // namespace kelix
