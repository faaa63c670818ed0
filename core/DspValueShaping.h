// Values on the DSP route: caller blobs reshaped into the bytes a module takes,
// and module replies shaped into the caller's buffer.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "core/ParameterCatalogue.h"
#include "core/ValueLayouts.h"

namespace kelix {

// The bytes sent for a VT_BLOB value: 2108 drops its count k and the word at
// position k after it, 2116 the length word of each record, 2109 and 2122
// their first word, 2107 its count on a "1.0.0" module; others go as they are.
std::vector<std::uint8_t> ReshapeBlobForDsp(ParameterId id, const std::uint8_t* blob, std::uint32_t size,
                                            bool moduleIsVersion100);

// "%d.%d.%d" of a module version text ("1.4.1-lite" gives 1, 4, 1); nothing
// unless three numbers are found.
std::optional<std::array<int, 3>> ParseModuleVersion(std::wstring_view text);

// Module replies that carry a caller structure of the property-store layouts
// in the store's own word layout (length words included): the ieq bands
// (1114, like the store's 1114), the regulator tuning (1123, like 1123), and
// the partial output mode (1141), whose reply is its caller structure behind
// one word holding the number of words that follow.
enum class ReplyLayout { None, StoreLayout1114, StoreLayout1123, CountedWords };
ReplyLayout DspReplyLayoutOf(ParameterId id);

struct DspReadResult {
    LayoutStatus status = LayoutStatus::Ok;  // InvalidArgument: the caller's buffer is too small
    std::uint32_t size = 0;                  // written back to the caller's size
    bool copied = false;                     // something was written into the caller's buffer
};

// Shapes a module's reply of `length` bytes into the caller's buffer of
// `callerSize` bytes (which may be null) for id, as the DSP route reads it.
DspReadResult ShapeDspReply(ParameterId id, const std::uint8_t* reply, std::uint32_t length,
                            std::wstring_view moduleVersion, std::uint8_t* buffer, std::uint32_t callerSize);

}  // namespace kelix
