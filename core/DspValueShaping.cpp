#include "core/DspValueShaping.h"

#include "core/DspParameterTables.h"

#include <algorithm>
#include <cstring>
#include <cwctype>

namespace kelix {
namespace {

std::uint32_t ReadU32(const std::uint8_t* bytes) {
    std::uint32_t word;
    std::memcpy(&word, bytes, 4);
    return word;
}

void Put(std::uint8_t* buffer, std::uint32_t size, std::uint32_t at, std::uint32_t word) {
    if (std::uint64_t{at} + 4 <= size) std::memcpy(buffer + at, &word, 4);
}

// Copies count bytes of the reply from `from` to the buffer at `to`, clipped to both.
void Copy(std::uint8_t* buffer, std::uint32_t size, std::uint32_t to, const std::uint8_t* reply, std::uint32_t length,
          std::uint32_t from, std::uint64_t count) {
    if (to >= size || from >= length) return;
    count = std::min<std::uint64_t>({count, size - to, length - from});
    std::memcpy(buffer + to, reply + from, static_cast<std::size_t>(count));
}

// The DSP parameter index of a catalogue id on the DSP route, if it has one.
std::optional<std::uint32_t> DspIndexOf(ParameterId id) {
    const std::optional<DspRoute> route = LookupDspRoute(id);
    if (!route) return std::nullopt;
    return static_cast<std::uint32_t>(route->index);
}

ReplyLayout ReplyLayoutOf(ParameterId id) {
    const auto index = DspIndexOf(id);
    return index ? DspReplyLayout(*index) : ReplyLayout::Value;
}

// The replies that carry a caller structure. False when the id has none: then
// nothing is copied and the read still succeeds.
bool RebuildCallerStructure(ParameterId id, const std::uint8_t* reply, std::uint32_t length, std::uint8_t* buffer,
                            std::uint32_t callerSize, DspReadResult& result) {
    const auto tooSmall = [&](std::uint64_t need) {
        result.status = LayoutStatus::InvalidArgument;
        result.size = static_cast<std::uint32_t>(std::min<std::uint64_t>(need, UINT32_MAX));
        return true;
    };
    const ReplyLayout layout = ReplyLayoutOf(id);
    switch (layout) {
        case ReplyLayout::StoreLayout1114:
        case ReplyLayout::StoreLayout1123: {  // the caller's structure is the store layout without length words
            // Measured first: a buffer that is too small is left as it was.
            const ParameterId storeLayout = layout == ReplyLayout::StoreLayout1114 ? 1114 : 1123;
            std::uint32_t need = 0;
            StoredToCaller(storeLayout, reply, length, nullptr, &need);
            if (buffer == nullptr || callerSize < need) return tooSmall(need);
            std::uint32_t size = callerSize;
            if (StoredToCaller(storeLayout, reply, length, buffer, &size).status != LayoutStatus::Ok) {
                return tooSmall(size);
            }
            result.size = length - (layout == ReplyLayout::StoreLayout1114 ? 8 : 16);
            return true;
        }
        case ReplyLayout::CountedWords: {  // [word count, caller structure]
            const std::uint32_t need = length >= 4 ? length - 4 : 0;
            if (callerSize < need) return tooSmall(need);
            Copy(buffer, callerSize, 0, reply, length, 4, need);
            result.size = need;
            return true;
        }
        case ReplyLayout::Value:
        case ReplyLayout::InformationBlock:
            break;
    }
    return false;
}

}  // namespace

std::uint32_t ReshapeBlobForDsp(ParameterId id, const std::uint8_t* blob, std::uint32_t size, bool moduleIsVersion100,
                                std::uint8_t* into) {
    if (blob == nullptr || size == 0) return 0;
    if (id == 2109 || id == 2122 || (id == 2107 && moduleIsVersion100)) {  // without the first word
        if (size < 4) return 0;
        std::memcpy(into, blob + 4, size - 4);
        return size - 4;
    }
    const std::uint32_t words = size / 4;
    std::uint8_t* to = into;
    const auto wordsFrom = [&](std::uint32_t first, std::uint32_t count) {
        std::memcpy(to, blob + std::size_t{first} * 4, std::size_t{count} * 4);
        to += std::size_t{count} * 4;
    };
    switch (id) {
        case 2108: {  // [k, ...]: drop k, then the word at position k
            if (words == 0) break;
            const std::int32_t k = static_cast<std::int32_t>(ReadU32(blob));
            if (k >= 0 && static_cast<std::uint32_t>(k) < words - 1) {
                wordsFrom(1, static_cast<std::uint32_t>(k));
                wordsFrom(static_cast<std::uint32_t>(k) + 2, words - 2 - static_cast<std::uint32_t>(k));
            } else {
                wordsFrom(1, words - 1);
            }
            break;
        }
        case 2116: {  // [n, (6, six words) x n]: drop each record's length word
            if (words == 0) break;
            const std::int32_t n = static_cast<std::int32_t>(ReadU32(blob));
            std::memcpy(to, blob, 4);  // n
            to += 4;
            std::uint32_t position = 1;
            for (std::int32_t record = 0; record < n && position < words; ++record, position += 7) {
                if (words - position > 6) {  // a whole record
                    std::memcpy(to, blob + (std::size_t{position} + 1) * 4, 24);
                    to += 24;
                } else {
                    wordsFrom(position + 1, words - position - 1);
                }
            }
            if (position < words) wordsFrom(position, words - position);
            break;
        }
        default:
            std::memcpy(into, blob, size);
            return size;
    }
    if (size % 4 != 0) {  // the bytes after the last whole word go as they are
        std::memcpy(to, blob + std::size_t{words} * 4, size % 4);
        to += size % 4;
    }
    return static_cast<std::uint32_t>(to - into);
}

std::vector<std::uint8_t> ReshapeBlobForDsp(ParameterId id, const std::uint8_t* blob, std::uint32_t size,
                                            bool moduleIsVersion100) {
    std::vector<std::uint8_t> bytes(blob != nullptr ? size : 0);
    bytes.resize(ReshapeBlobForDsp(id, blob, size, moduleIsVersion100, bytes.data()));
    return bytes;
}

std::optional<std::array<int, 3>> ParseModuleVersion(std::wstring_view text) {
    std::array<int, 3> numbers{};
    std::size_t at = 0;
    for (std::size_t part = 0; part < 3; ++part) {
        if (part > 0) {
            if (at >= text.size() || text[at] != L'.') return std::nullopt;
            ++at;
        }
        while (at < text.size() && std::iswspace(text[at])) ++at;
        bool negative = false;
        if (at < text.size() && (text[at] == L'-' || text[at] == L'+')) negative = text[at++] == L'-';
        const std::size_t digits = at;
        long long value = 0;
        while (at < text.size() && text[at] >= L'0' && text[at] <= L'9') {
            value = std::min<long long>(value * 10 + (text[at++] - L'0'), 0x7FFFFFFF);
        }
        if (at == digits) return std::nullopt;
        numbers[part] = static_cast<int>(negative ? -value : value);
    }
    return numbers;
}

ReplyLayout DspReplyLayout(std::uint32_t index) {
    switch (index) {
        case 30:
        case 31:
        case 41:
        case 42: return ReplyLayout::InformationBlock;
        case 142: return ReplyLayout::StoreLayout1114;
        case 153: return ReplyLayout::StoreLayout1123;
        case 130: return ReplyLayout::CountedWords;
        default: return ReplyLayout::Value;
    }
}

std::optional<std::uint32_t> InformationBlockSize(std::uint32_t index, std::wstring_view moduleVersion) {
    switch (index) {
        case 30: {  // regulator_tuning_info
            const auto version = ParseModuleVersion(moduleVersion);
            const bool older = version && *version < std::array<int, 3>{1, 4, 1};
            return older ? 160u : 720u;
        }
        case 31: return 80;   // vis_bands
        case 41: return 352;  // mb_compressor_tuning_info
        case 42: return 4;    // mb_compressor_limiter_gain
        default: return std::nullopt;
    }
}

std::vector<std::uint8_t> DefaultDspReply(std::uint32_t index, std::wstring_view moduleVersion) {
    std::vector<std::int32_t> words;
    switch (DspReplyLayout(index)) {
        case ReplyLayout::InformationBlock:
            return std::vector<std::uint8_t>(*InformationBlockSize(index, moduleVersion), 0);
        case ReplyLayout::StoreLayout1114:  // count 0 and two arrays of 20
        case ReplyLayout::StoreLayout1123: {  // count 0 and four arrays of 20
            const int arrays = DspReplyLayout(index) == ReplyLayout::StoreLayout1114 ? 2 : 4;
            words.push_back(0);
            for (int array = 0; array < arrays; ++array) {
                words.push_back(20);
                words.insert(words.end(), 20, 0);
            }
            break;
        }
        case ReplyLayout::CountedWords:  // first 0, n 0
            words = {2, 0, 0};
            break;
        case ReplyLayout::Value:
            return {};
    }
    std::vector<std::uint8_t> bytes(words.size() * 4);
    std::memcpy(bytes.data(), words.data(), bytes.size());
    return bytes;
}

DspReadResult ShapeDspReply(ParameterId id, const std::uint8_t* reply, std::uint32_t length,
                            std::wstring_view moduleVersion, std::uint8_t* buffer, std::uint32_t callerSize) {
    DspReadResult result;
    result.size = length;
    if (reply == nullptr) length = 0;
    if (buffer == nullptr) callerSize = 0;
    const auto tooSmall = [&](std::uint64_t need) {
        result.status = LayoutStatus::InvalidArgument;
        result.size = static_cast<std::uint32_t>(std::min<std::uint64_t>(need, UINT32_MAX));
        return result;
    };
    const auto fits = [&](std::uint64_t need) { return callerSize >= need; };

    if (length == 4) {
        if (!fits(4)) return tooSmall(4);
        Copy(buffer, callerSize, 0, reply, length, 0, 4);
        result.copied = true;
        return result;
    }
    const auto index = DspIndexOf(id);
    const auto fixed = index ? InformationBlockSize(*index, moduleVersion) : std::nullopt;
    if (fixed) {
        result.size = *fixed;
        if (!fits(*fixed)) return tooSmall(*fixed);
        if (length >= *fixed) {
            Copy(buffer, callerSize, 0, reply, length, 0, *fixed);
            result.copied = true;
        }
        return result;
    }
    switch (id) {
        case 1162:  // pex_nelp-drc-metadata
        case 2108:  // the set-side reshaping is not undone on reads
        case 2109:
        case 2116:
        case 2122:
            if (!fits(length)) return tooSmall(length);
            Copy(buffer, callerSize, 0, reply, length, 0, length);
            break;
        case 2105: {  // [n, n bytes]
            const std::uint32_t n = length >= 4 ? std::min(ReadU32(reply), length - 4) : 0;
            if (!fits(std::uint64_t{n} + 4)) return tooSmall(std::uint64_t{n} + 4);
            Put(buffer, callerSize, 0, n);
            Copy(buffer, callerSize, 4, reply, length, 4, n);
            result.size = n + 4;
            break;
        }
        case 2107: {
            if (moduleVersion == L"1.0.0") {  // the module sends the gains without their count
                if (!fits(std::uint64_t{length} + 4)) return tooSmall(std::uint64_t{length} + 4);
                Put(buffer, callerSize, 0, length / 4);
                Copy(buffer, callerSize, 4, reply, length, 0, length);
                result.size = length + 4;
                break;
            }
            const std::uint32_t n = length >= 4 ? std::min(ReadU32(reply), (length - 4) / 4) : 0;
            if (!fits(4 + std::uint64_t{n} * 4)) return tooSmall(4 + std::uint64_t{n} * 4);
            Put(buffer, callerSize, 0, n);
            Copy(buffer, callerSize, 4, reply, length, 4, std::uint64_t{n} * 4);
            result.size = 4 + n * 4;
            break;
        }
        default:
            if (!RebuildCallerStructure(id, reply, length, buffer, callerSize, result)) {
                return result;  // nothing copied; the size is the reply's length all the same
            }
            if (result.status != LayoutStatus::Ok) return result;
            break;
    }
    result.copied = true;
    return result;
}

}  // namespace kelix
