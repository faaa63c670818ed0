#include "core/ModuleList.h"

#include <algorithm>
#include <cstring>

#include "core/PpApiRequests.h"

namespace kelix {

ModuleList ParseModuleList(std::span<const std::uint8_t> bytes) {
    ModuleList list;
    if (bytes.size() < kModuleListHeaderSize) return list;
    list.totalSize = ReadU32(bytes, 0);
    list.count = ReadU32(bytes, 4);
    const std::size_t fitting = (bytes.size() - kModuleListHeaderSize) / kModuleDescriptorSize;
    const std::size_t count = std::min<std::size_t>(list.count, fitting);
    if (count == 0) return list;
    list.descriptors.resize(count);
    // The descriptor is plain bytes in the wire layout (little-endian, as every target of this library).
    std::memcpy(list.descriptors.data(), bytes.data() + kModuleListHeaderSize, count * kModuleDescriptorSize);
    return list;
}

std::string_view DescriptorText(const char (&field)[kModuleTextSize]) {
    const char* end = std::find(field, field + kModuleTextSize, '\0');
    return std::string_view(field, static_cast<std::size_t>(end - field));
}

void SetDescriptorText(char (&field)[kModuleTextSize], std::string_view text) {
    const std::size_t length = std::min(text.size(), kModuleTextSize - 1);
    std::fill(field, field + kModuleTextSize, '\0');
    std::copy_n(text.data(), length, field);
}

std::wstring WidenText(std::string_view text) {
    std::wstring wide;
    wide.reserve(text.size());
    for (char c : text) wide.push_back(static_cast<wchar_t>(static_cast<unsigned char>(c)));
    return wide;
}

const wchar_t* ModuleTypeName(std::uint32_t type) {
    constexpr const wchar_t* kNames[] = {L"SFX", L"MFX", L"EFX"};
    return type < std::size(kNames) ? kNames[type] : L"Unknown module type";
}

}  // namespace kelix
