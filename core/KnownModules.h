// The effect modules this library knows on the DSP: the module ids of the PP
// API module list with the version text the library gives each, and the AMD
// module rows probed through the AMD property set.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "core/Guid.h"

namespace kelix {

struct KnownModule {
    Guid id;
    std::string_view version;  // e.g. "1.4.2", "2.10.0-lite"
};

// The version text of a module id of the PP API module list; nothing for an
// unspecific module. Rows are tested in order, the first match wins.
std::optional<std::string_view> KnownModuleVersion(const Guid& moduleId);

// The AMD module rows, in the order they are probed.
std::span<const KnownModule> AmdModules();

// Module type of every module found through the AMD property set (EFX).
inline constexpr std::uint32_t kAmdModuleType = 2;

}  // namespace kelix
