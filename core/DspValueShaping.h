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
// They are never more than the blob's: `into` has room for `size` bytes, and
// the count written is returned.
std::uint32_t ReshapeBlobForDsp(ParameterId id, const std::uint8_t* blob, std::uint32_t size, bool moduleIsVersion100,
                                std::uint8_t* into);
// The same, into a vector of their own.
std::vector<std::uint8_t> ReshapeBlobForDsp(ParameterId id, const std::uint8_t* blob, std::uint32_t size,
                                            bool moduleIsVersion100);

// "%d.%d.%d" of a module version text ("1.4.1-lite" gives 1, 4, 1); nothing
// unless three numbers are found.
std::optional<std::array<int, 3>> ParseModuleVersion(std::wstring_view text);

// What a module's reply to a parameter read carries, by DSP parameter index;
// the one description of the replies, which the simulated firmware follows too.
enum class ReplyLayout {
    Value,             // the value as written (one word for scalars)
    InformationBlock,  // a block of fixed size (InformationBlockSize)
    // A caller structure in the property store's word layout, length words
    // included: the ieq bands (index 142, as 1114 is stored; the caller's
    // 164 bytes are the reply less 8) and the regulator tuning (index 153, as
    // 1123 is stored; the caller's 324 bytes are the reply less 16).
    StoreLayout1114,
    StoreLayout1123,
    // The partial output mode (index 130): its caller structure [first, n,
    // v[n]] behind one word holding the number of words that follow.
    CountedWords,
};
ReplyLayout DspReplyLayout(std::uint32_t index);

// Sizes of the information blocks: regulator tuning info (30) 160 bytes on
// modules below "1.4.1" and 720 from it on, vis bands (31) 80, compressor
// tuning info (41) 352, limiter gain (42) 4.
std::optional<std::uint32_t> InformationBlockSize(std::uint32_t index, std::wstring_view moduleVersion);

// The reply of a module that was never written at index: zeros in the reply's layout.
std::vector<std::uint8_t> DefaultDspReply(std::uint32_t index, std::wstring_view moduleVersion);

struct DspReadResult {
    LayoutStatus status = LayoutStatus::Ok;  // InvalidArgument: the caller's buffer is too small
    // Written back to the caller's size: the bytes of the caller's structure
    // (never more than the buffer holds; the reply's length when the id copies
    // nothing), or the size needed when the buffer is too small.
    std::uint32_t size = 0;
    bool copied = false;                     // something was written into the caller's buffer
};

// Shapes a module's reply of `length` bytes into the caller's buffer of
// `callerSize` bytes (which may be null) for id, as the DSP route reads it. A
// buffer that is too small is left untouched.
DspReadResult ShapeDspReply(ParameterId id, const std::uint8_t* reply, std::uint32_t length,
                            std::wstring_view moduleVersion, std::uint8_t* buffer, std::uint32_t callerSize);

}  // namespace kelix
