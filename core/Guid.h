// Portable GUID and property key, laid out exactly like the Windows GUID and
// PROPERTYKEY so that the Windows layer can copy them byte for byte.
#pragma once

#include <compare>
#include <cstdint>
#include <string>

namespace kelix {

struct Guid {
    std::uint32_t data1;
    std::uint16_t data2;
    std::uint16_t data3;
    std::uint8_t data4[8];

    friend constexpr bool operator==(const Guid&, const Guid&) = default;
    friend constexpr auto operator<=>(const Guid&, const Guid&) = default;
};
static_assert(sizeof(Guid) == 16);

struct PropertyKey {
    Guid fmtid;
    std::uint32_t pid;

    friend constexpr bool operator==(const PropertyKey&, const PropertyKey&) = default;
};
static_assert(sizeof(PropertyKey) == 20);

// Registry form: braces, upper-case hexadecimal, every field at full width,
// e.g. "{F112024A-FE30-42A8-80AB-8DD825A06F78}".
std::wstring GuidText(const Guid& guid);

}  // namespace kelix
