#include "core/Guid.h"

namespace kelix {
namespace {

void AppendHex(std::wstring& out, std::uint64_t value, int digits) {
    constexpr wchar_t kDigits[] = L"0123456789ABCDEF";
    for (int shift = (digits - 1) * 4; shift >= 0; shift -= 4) {
        out.push_back(kDigits[(value >> shift) & 0xF]);
    }
}

}  // namespace

std::wstring GuidText(const Guid& guid) {
    std::wstring text;
    text.reserve(38);
    text.push_back(L'{');
    AppendHex(text, guid.data1, 8);
    text.push_back(L'-');
    AppendHex(text, guid.data2, 4);
    text.push_back(L'-');
    AppendHex(text, guid.data3, 4);
    text.push_back(L'-');
    AppendHex(text, guid.data4[0], 2);
    AppendHex(text, guid.data4[1], 2);
    text.push_back(L'-');
    for (int i = 2; i < 8; ++i) AppendHex(text, guid.data4[i], 2);
    text.push_back(L'}');
    return text;
}

}  // namespace kelix
