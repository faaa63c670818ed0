// Portable pieces of the HRESULT text of log lines.
#pragma once

#include <cstdint>
#include <string>

namespace kelix {

// Text for a code the system has no message for: "IDispatch error #N" for
// 0x80040201..0x8004FFFF with N = low word - 0x200, else "Unknown error 0x%0lX".
std::wstring FallbackHResultText(std::uint32_t hr);

// A system message without its one trailing line feed and the carriage return before it.
std::wstring TrimSystemMessage(std::wstring text);

}  // namespace kelix
