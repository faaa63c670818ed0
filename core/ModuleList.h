// The module list that the DSP firmware answers to the PP API module list
// request, and its 148-byte module descriptors. The parser trusts nothing in
// the reply: what does not fit in the bytes received yields nothing.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "core/Guid.h"

namespace kelix {

inline constexpr std::size_t kModuleListHeaderSize = 8;
inline constexpr std::size_t kModuleDescriptorSize = 148;
inline constexpr std::size_t kModuleTextSize = 64;

// One module descriptor, laid out as on the wire (and as the module info record).
struct ModuleDescriptor {
    std::uint32_t type;           // 0 SFX, 1 MFX, 2 EFX
    Guid id;
    char name[kModuleTextSize];     // 8-bit text, NUL-terminated when shorter than the field
    char version[kModuleTextSize];  // the same
};
static_assert(sizeof(ModuleDescriptor) == kModuleDescriptorSize);

struct ModuleList {
    std::uint32_t totalSize = 0;  // "modules size" of the header; 0 when the header is incomplete
    std::uint32_t count = 0;      // module count of the header; 0 when the header is incomplete
    // The descriptors that lie wholly inside the bytes received, at most `count`.
    std::vector<ModuleDescriptor> descriptors;
};

// Parses a reply of `bytes` (the bytes the request returned, not the buffer's size).
ModuleList ParseModuleList(std::span<const std::uint8_t> bytes);

// The text of a descriptor field: up to its first NUL, or all 64 bytes when it has none.
std::string_view DescriptorText(const char (&field)[kModuleTextSize]);
// Writes at most 63 characters of text and a NUL, zero-filling the rest of the field.
void SetDescriptorText(char (&field)[kModuleTextSize], std::string_view text);
// Each byte as the UTF-16 unit of the same value.
std::wstring WidenText(std::string_view text);

// "SFX", "MFX", "EFX", or "Unknown module type".
const wchar_t* ModuleTypeName(std::uint32_t type);

}  // namespace kelix
