#include "core/ValueLayouts.h"

#include <algorithm>
#include <cstring>

namespace kelix {
namespace {

// Parameters made of fixed arrays: an optional count word, then `arrays`
// arrays of `length` words. Stored, each array is preceded by its length.
enum class Tail {
    Fixed,           // every array copied whole on the way out
    RemainingBytes,  // the last array: as many bytes as the stored value still holds (S - 92)
    StopWhenShort,   // arrays after the first stop at the first the stored value does not hold whole
};
struct ArrayLayout {
    ParameterId id;
    bool count;
    std::uint32_t arrays;
    std::uint32_t length;
    Tail tail;
};
constexpr ArrayLayout kArrayLayouts[] = {
    {1114, true, 2, 20, Tail::RemainingBytes},  // pex_ieq_bands
    {1122, true, 2, 20, Tail::RemainingBytes},  // pex_graphic_equalizer_bands
    {1119, true, 11, 20, Tail::StopWhenShort},  // pex_audio_optimizer_bands
    {1123, true, 4, 20, Tail::Fixed},           // pex_regulator_tuning
    {1170, true, 4, 20, Tail::Fixed},           // pex_woofer_regulator_tuning
    {2108, false, 2, 20, Tail::Fixed},          // krelo_regulator_thresholds
    {2109, false, 1, 20, Tail::Fixed},          // krelo_regulator_isolated_bands
    {2122, false, 1, 8, Tail::Fixed},           // krelo_regulator_stress_amount
};

constexpr ParameterId kPartialOutputMode = 1156;
constexpr ParameterId kInitInfo = 1161;
constexpr ParameterId kDrcMetadata = 1162;
constexpr ParameterId kFilterConfig = 2105;
constexpr ParameterId kOptimizerGains = 2107;
constexpr ParameterId kCompressorTuning = 2116;

constexpr std::uint32_t kInitInfoHead = 10;      // words before the inserted length word
constexpr std::uint32_t kInitInfoTail = 32;
constexpr std::uint32_t kDrcMetadataWords = 18;
constexpr std::uint32_t kRecordWords = 6;
constexpr std::uint32_t kCompressorBufferSize = 100;  // count word and four records
constexpr std::int32_t kCompressorRecords = 4;

const ArrayLayout* FindArrayLayout(ParameterId id) {
    for (const ArrayLayout& layout : kArrayLayouts) {
        if (layout.id == id) return &layout;
    }
    return nullptr;
}

std::int32_t Word(const std::uint8_t* bytes, std::size_t index) {
    std::int32_t word;
    std::memcpy(&word, bytes + index * 4, sizeof word);
    return word;
}

std::int32_t* PutWords(std::int32_t* to, const std::uint8_t* bytes, std::size_t first, std::size_t count) {
    if (count != 0) std::memcpy(to, bytes + first * 4, count * 4);
    return to + count;
}

StoredShape Invalid() {
    StoredShape shape;
    shape.status = LayoutStatus::InvalidArgument;
    return shape;
}

StoredShape Vector(std::uint64_t words, std::uint32_t count = 0) {
    StoredShape shape;
    shape.scalar = false;
    shape.wordCount = static_cast<std::uint32_t>(words);
    shape.count = count;
    return shape;
}

// Words of a filter configuration's N bytes, the last one zero-padded.
std::uint32_t FilterDataWords(std::uint32_t n) {
    return (n + 3) / 4;
}

// A count-sized layout: `headerBytes` of header, then `count` items of `itemBytes`.
bool CountFits(std::int32_t count, std::uint32_t headerBytes, std::uint32_t itemBytes, std::uint32_t size) {
    return count >= 0 && std::uint64_t{headerBytes} + std::uint64_t{itemBytes} * static_cast<std::uint32_t>(count) <= size;
}

// Bytes of a fixed array layout's caller structure.
std::uint32_t CallerBytes(const ArrayLayout& layout) {
    return (static_cast<std::uint32_t>(layout.count) + layout.arrays * layout.length) * 4;
}

std::uint32_t StoredWords(const ArrayLayout& layout) {
    return static_cast<std::uint32_t>(layout.count) + layout.arrays * (layout.length + 1);
}

void ArrayToStored(const ArrayLayout& layout, const std::uint8_t* value, std::int32_t* to) {
    if (layout.count) {
        std::memcpy(to++, value, 4);
        value += 4;
    }
    const std::size_t arrayBytes = std::size_t{layout.length} * 4;
    for (std::uint32_t array = 0; array < layout.arrays; ++array, to += layout.length, value += arrayBytes) {
        *to++ = static_cast<std::int32_t>(layout.length);
        std::memcpy(to, value, arrayBytes);
    }
}

// Copies from the stored bytes to the caller's bytes, clipped to both.
class BoundedCopy {
public:
    BoundedCopy(const std::uint8_t* data, std::uint32_t dataBytes, std::uint8_t* buffer, std::uint32_t size)
        : data_(data), dataBytes_(data != nullptr ? dataBytes : 0), buffer_(buffer), size_(size) {}

    void Bytes(std::uint64_t to, std::uint64_t from, std::uint64_t count) const {
        if (to >= size_ || from >= dataBytes_) return;
        count = std::min({count, size_ - to, dataBytes_ - from});
        std::memcpy(buffer_ + to, data_ + from, static_cast<std::size_t>(count));
    }
    void Words(std::uint64_t to, std::uint64_t fromWord, std::uint64_t count) const {
        Bytes(to, fromWord * 4, count * 4);
    }
    std::int32_t StoredWord(std::size_t index) const {
        if ((index + 1) * 4 > dataBytes_) return 0;
        return Word(data_, index);
    }
    void Put(std::uint64_t to, std::int32_t word) const {
        if (to + 4 <= size_) std::memcpy(buffer_ + to, &word, 4);
    }

private:
    const std::uint8_t* data_;
    std::uint64_t dataBytes_;
    std::uint8_t* buffer_;
    std::uint64_t size_;
};

void ArrayToCaller(const ArrayLayout& layout, const BoundedCopy& copy, std::uint32_t storedBytes) {
    std::uint64_t to = 0;
    std::uint64_t word = 0;
    if (layout.count) {
        copy.Words(to, word++, 1);
        to += 4;
    }
    const std::uint32_t stride = layout.length + 1;
    for (std::uint32_t array = 0; array < layout.arrays; ++array, to += layout.length * 4, word += stride) {
        const std::uint64_t first = word + 1;  // behind the length word
        if (array > 0 && layout.tail == Tail::StopWhenShort && storedBytes / 4 < first + layout.length) return;
        if (array == layout.arrays - 1 && layout.tail == Tail::RemainingBytes) {
            if (storedBytes > first * 4) copy.Bytes(to, first * 4, storedBytes - first * 4);
            return;
        }
        copy.Words(to, first, layout.length);
    }
}

}  // namespace

StoredShape MeasureStored(ParameterId id, std::uint8_t* value, std::uint32_t size) {
    if (id == kDrcMetadata) {
        if (value != nullptr && size != 0 && size < kDrcMetadataWords * 4) return Invalid();
        return Vector(kDrcMetadataWords);
    }
    if (value == nullptr) return Invalid();
    if (const ArrayLayout* layout = FindArrayLayout(id)) {
        if (size < CallerBytes(*layout)) return Invalid();
        return Vector(StoredWords(*layout));
    }

    switch (id) {
        case kPartialOutputMode: {  // first; n; v[n]
            if (size < 8) return Invalid();
            const std::int32_t n = Word(value, 1);
            if (!CountFits(n, 8, 4, size)) return Invalid();
            return Vector(2 + std::uint64_t{static_cast<std::uint32_t>(n)}, static_cast<std::uint32_t>(n));
        }
        case kInitInfo:  // head[10]; tail[32], stored with the tail's length between them
            if (size < (kInitInfoHead + kInitInfoTail) * 4) return Invalid();
            return Vector(kInitInfoHead + 1 + kInitInfoTail);
        case kFilterConfig: {  // byte count N (unsigned); N bytes, stored zero-padded to whole words
            if (size < 4) return Invalid();
            std::uint32_t n;
            std::memcpy(&n, value, 4);
            std::optional<std::int32_t> cleared;
            if (n > kFilterConfigCapacity) {
                cleared = static_cast<std::int32_t>(n);
                n = 0;
                std::memset(value, 0, 4);  // the caller's count is cleared, by design
            } else if (std::uint64_t{n} + 4 > size) {
                return Invalid();
            }
            StoredShape shape = Vector(1 + FilterDataWords(n), n);
            shape.filterCleared = cleared;
            return shape;
        }
        case kOptimizerGains: {  // n; v[n]
            if (size < 4) return Invalid();
            const std::int32_t n = Word(value, 0);
            if (!CountFits(n, 4, 4, size)) return Invalid();
            return Vector(1 + std::uint64_t{static_cast<std::uint32_t>(n)}, static_cast<std::uint32_t>(n));
        }
        case kCompressorTuning: {  // n; n records of six words, stored each behind its length
            if (size < 4) return Invalid();
            const std::int32_t n = Word(value, 0);
            if (!CountFits(n, 4, kRecordWords * 4, size)) return Invalid();
            return Vector(1 + std::uint64_t{static_cast<std::uint32_t>(n)} * (kRecordWords + 1), static_cast<std::uint32_t>(n));
        }
        default: {
            if (size < 4) return Invalid();
            StoredShape shape;
            shape.value = Word(value, 0);
            return shape;
        }
    }
}

void WriteStored(ParameterId id, const std::uint8_t* value, std::uint32_t size, const StoredShape& shape,
                 std::int32_t* words) {
    if (id == kDrcMetadata) {
        if (value == nullptr || size == 0) {
            std::fill_n(words, kDrcMetadataWords, 0);
        } else {
            PutWords(words, value, 0, kDrcMetadataWords);
        }
        return;
    }
    if (const ArrayLayout* layout = FindArrayLayout(id)) {
        ArrayToStored(*layout, value, words);
        return;
    }
    // Counts come from the shape, never again from the caller's bytes, which a
    // client could change in between: exactly shape.wordCount words are written.
    const std::uint32_t n = shape.count;
    switch (id) {
        case kPartialOutputMode:
            words = PutWords(words, value, 0, 1);
            *words++ = static_cast<std::int32_t>(n);
            PutWords(words, value, 2, n);
            break;
        case kInitInfo:
            words = PutWords(words, value, 0, kInitInfoHead);
            *words++ = static_cast<std::int32_t>(kInitInfoTail);
            PutWords(words, value, kInitInfoHead, kInitInfoTail);
            break;
        case kFilterConfig: {
            words[0] = static_cast<std::int32_t>(n);
            const std::uint32_t dataWords = FilterDataWords(n);
            if (dataWords != 0) {
                words[dataWords] = 0;  // the padding of the last word
                std::memcpy(words + 1, value + 4, n);
            }
            break;
        }
        case kOptimizerGains:
            *words++ = static_cast<std::int32_t>(n);
            PutWords(words, value, 1, n);
            break;
        case kCompressorTuning:
            *words++ = static_cast<std::int32_t>(n);
            for (std::uint32_t record = 0; record < n; ++record) {
                *words++ = static_cast<std::int32_t>(kRecordWords);
                words = PutWords(words, value, 1 + std::size_t{record} * kRecordWords, kRecordWords);
            }
            break;
        default:
            break;
    }
}

StoredValue CallerToStored(ParameterId id, std::uint8_t* value, std::uint32_t size) {
    StoredValue stored;
    static_cast<StoredShape&>(stored) = MeasureStored(id, value, size);
    if (stored.status == LayoutStatus::Ok && !stored.scalar) {
        stored.words.resize(stored.wordCount);
        WriteStored(id, value, size, stored, stored.words.data());
    }
    return stored;
}

CopyResult StoredToCaller(ParameterId id, const std::uint8_t* data, std::uint32_t dataBytes, std::uint8_t* buffer,
                          std::uint32_t* size) {
    CopyResult result;
    if (buffer != nullptr) std::memset(buffer, 0, *size);
    if (id == kPartialOutputMode && data == nullptr) {  // no value to measure: the size stays as it is
        result.status = LayoutStatus::InvalidArgument;
        return result;
    }
    const std::uint32_t s = data != nullptr ? dataBytes : 0;  // the stored value's size in bytes
    const BoundedCopy copy(data, s, buffer, *size);

    // The size the caller needs. Computed in 32 bits as the layouts define it;
    // a stored value shorter than its layout asks for more than any buffer holds.
    const ArrayLayout* layout = FindArrayLayout(id);
    std::uint32_t need = 4;
    if (layout != nullptr) {
        need = s - 4 * layout->arrays;
    } else {
        switch (id) {
            case kPartialOutputMode: {  // first, n and the n values
                const std::uint64_t bytes = 8 + std::uint64_t{static_cast<std::uint32_t>(copy.StoredWord(1))} * 4;
                need = static_cast<std::uint32_t>(std::min<std::uint64_t>(bytes, UINT32_MAX));
                break;
            }
            case kInitInfo: need = s - 4; break;
            case kDrcMetadata:
            case kFilterConfig:
            case kOptimizerGains: need = s; break;
            case kCompressorTuning: need = kCompressorBufferSize; break;
            default: break;
        }
    }
    if (buffer == nullptr || *size < need) {
        *size = need;
        result.status = LayoutStatus::InvalidArgument;
        return result;
    }

    if (layout != nullptr) {
        ArrayToCaller(*layout, copy, s);
        return result;
    }
    switch (id) {
        case kPartialOutputMode: {
            // The buffer holds the whole value (need); the rest of it is already zero.
            copy.Words(0, 0, 2 + std::uint64_t{static_cast<std::uint32_t>(copy.StoredWord(1))});
            break;
        }
        case kInitInfo:
            copy.Words(0, 0, kInitInfoHead);
            copy.Bytes(kInitInfoHead * 4, (kInitInfoHead + 1) * 4, static_cast<std::uint32_t>(copy.StoredWord(kInitInfoHead)));
            break;
        case kDrcMetadata:
            copy.Bytes(0, 0, s);
            break;
        case kFilterConfig: {
            const auto n = static_cast<std::uint32_t>(copy.StoredWord(0));
            if (n > kFilterConfigCapacity) {
                result.filterCleared = n;
                copy.Put(0, 0);
                break;
            }
            copy.Put(0, static_cast<std::int32_t>(n));
            copy.Bytes(4, 4, n);
            break;
        }
        case kOptimizerGains: {
            const std::int32_t n = copy.StoredWord(0);
            copy.Put(0, n);
            copy.Words(4, 1, static_cast<std::uint32_t>(n));
            break;
        }
        case kCompressorTuning: {
            const std::int32_t n = copy.StoredWord(0);
            copy.Put(0, n);
            if (n > kCompressorRecords) {
                result.status = LayoutStatus::OutOfMemory;
                break;
            }
            // Four records always fit the buffer (need); a stored value that holds
            // every record whole is copied without clipping.
            const bool whole = n > 0 && (1 + std::uint64_t{static_cast<std::uint32_t>(n)} * (kRecordWords + 1)) * 4 <= s;
            for (std::int32_t record = 0; record < n; ++record) {
                const std::uint32_t to = 4 + record * kRecordWords * 4, from = record * (kRecordWords + 1) + 2;
                if (whole) {
                    std::memcpy(buffer + to, data + from * 4, kRecordWords * 4);
                } else {
                    copy.Words(to, from, kRecordWords);
                }
            }
            break;
        }
        default:
            copy.Bytes(0, 0, 4);
            break;
    }
    return result;
}

}  // namespace kelix
