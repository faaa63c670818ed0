#include "core/ValueText.h"

#include <cstring>

namespace kelix {
namespace {

constexpr ParameterId kFilterConfigId = 2105;

void AppendDecimal(std::wstring& text, std::int64_t value) {
    wchar_t digits[24];
    wchar_t* end = digits + 24;
    wchar_t* first = end;
    std::uint64_t magnitude = value < 0 ? 0 - static_cast<std::uint64_t>(value) : static_cast<std::uint64_t>(value);
    do {
        *--first = static_cast<wchar_t>(L'0' + magnitude % 10);
        magnitude /= 10;
    } while (magnitude != 0);
    if (value < 0) *--first = L'-';
    text.append(first, end);
}

template <typename ElementAt>
std::wstring JoinDecimal(bool empty, std::size_t count, ElementAt element) {
    if (empty || count == 0) return L"NULL";
    std::wstring text;
    text.reserve(count * 8);
    for (std::size_t i = 0; i < count; ++i) {
        if (i != 0) text += L", ";
        AppendDecimal(text, element(i));
    }
    return text;
}

}  // namespace

std::wstring Int32ListText(const std::int32_t* values, std::size_t count) {
    return JoinDecimal(values == nullptr, count, [values](std::size_t i) { return values[i]; });
}

std::wstring ByteListText(const std::uint8_t* bytes, std::size_t count) {
    return JoinDecimal(bytes == nullptr, count, [bytes](std::size_t i) { return unsigned{bytes[i]}; });
}

std::wstring Int32WordsText(const std::uint8_t* bytes, std::size_t count) {
    return JoinDecimal(bytes == nullptr, count, [bytes](std::size_t i) {
        std::int32_t word;
        std::memcpy(&word, bytes + i * 4, sizeof word);
        return word;
    });
}

std::wstring CountedValueText(ParameterId id, const std::uint8_t* data, std::uint32_t size) {
    if (id == kFilterConfigId) return ByteListText(data, size);
    return Int32WordsText(data, size / 4);
}

}  // namespace kelix
