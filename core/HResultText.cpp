#include "core/HResultText.h"

namespace kelix {
namespace {

std::wstring UpperHex(std::uint32_t value) {
    constexpr wchar_t kDigits[] = L"0123456789ABCDEF";
    std::wstring digits;
    do {
        digits.insert(digits.begin(), kDigits[value & 0xF]);
        value >>= 4;
    } while (value != 0);
    return digits;
}

}  // namespace

std::wstring FallbackHResultText(std::uint32_t hr) {
    const std::int32_t dispatchNumber = static_cast<std::int32_t>(hr & 0xFFFF) - 0x200;
    if (hr >= 0x80040200u && hr < 0x80050000u && dispatchNumber != 0) {
        return L"IDispatch error #" + std::to_wstring(dispatchNumber);
    }
    return L"Unknown error 0x" + UpperHex(hr);
}

std::wstring TrimSystemMessage(std::wstring text) {
    if (!text.empty() && text.back() == L'\n') text.pop_back();
    if (!text.empty() && text.back() == L'\r') text.pop_back();
    return text;
}

}  // namespace kelix
