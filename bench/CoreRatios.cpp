// The portable core's conversions of the largest caller layouts against a plain
// copy of the same bytes: what the conversion adds over moving the value. Rows
// go to standard output as Markdown table rows (see bench/Ratio.h).
#include <chrono>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "bench/Ratio.h"
#include "core/DspValueShaping.h"
#include "core/ValueLayouts.h"

namespace {

// Keeps the compiler from dropping work whose result is not used.
template <typename T>
void Keep(T const& value) {
    asm volatile("" : : "g"(&value) : "memory");
}

double Now() {
    return std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

std::vector<std::uint8_t> Words(std::vector<std::int32_t> words) {
    std::vector<std::uint8_t> bytes(words.size() * 4);
    std::memcpy(bytes.data(), words.data(), bytes.size());
    return bytes;
}

// count, then `arrays` arrays of `length` words.
std::vector<std::uint8_t> CountedArrays(std::int32_t count, int arrays, int length) {
    std::vector<std::int32_t> words{count};
    for (int i = 0; i < arrays * length; ++i) words.push_back(i * 7 - 300);
    return Words(words);
}

std::vector<std::uint8_t> FilterConfig(std::int32_t bytes) {
    std::vector<std::uint8_t> value(4 + static_cast<size_t>(bytes));
    std::memcpy(value.data(), &bytes, 4);
    for (std::int32_t i = 0; i < bytes; ++i) value[4 + static_cast<size_t>(i)] = static_cast<std::uint8_t>(i);
    return value;
}

// The stored form of a caller value, as the store would hand it back.
std::vector<std::uint8_t> Stored(kelix::ParameterId id, std::vector<std::uint8_t> caller) {
    const kelix::StoredValue stored = kelix::CallerToStored(id, caller.data(), static_cast<std::uint32_t>(caller.size()));
    return Words(stored.words);
}

// A side that copies `bytes` bytes once per iteration.
bench::Side Copy(std::size_t bytes) {
    return [bytes](long n) {
        std::vector<std::uint8_t> from(bytes, 0x5A), to(bytes);
        const double start = Now();
        for (long i = 0; i < n; ++i) {
            std::memcpy(to.data(), from.data(), bytes);
            Keep(to.data());
        }
        return Now() - start;
    };
}

void Row(const std::string& what, const bench::Side& conversion, std::size_t bytes) {
    bench::PrintRow("P4", what + " / memcpy of " + std::to_string(bytes) + " bytes",
                    bench::MeasureRatio(conversion, Copy(bytes)), 4.0, "");
}

// As the DLL converts: measured, then written into the elements the PROPVARIANT owns.
void SetRow(const std::string& what, kelix::ParameterId id, std::vector<std::uint8_t> caller) {
    Row(what + " caller to stored", [id, caller](long n) mutable {
        const auto size = static_cast<std::uint32_t>(caller.size());
        std::vector<std::int32_t> elements(kelix::MeasureStored(id, caller.data(), size).wordCount);
        const double start = Now();
        for (long i = 0; i < n; ++i) {
            const kelix::StoredShape shape = kelix::MeasureStored(id, caller.data(), size);
            kelix::WriteStored(id, caller.data(), size, shape, elements.data());
            Keep(shape);
            Keep(elements.data());
        }
        return Now() - start;
    }, caller.size());
}

void GetRow(const std::string& what, kelix::ParameterId id, const std::vector<std::uint8_t>& caller) {
    const std::vector<std::uint8_t> stored = Stored(id, caller);
    Row(what + " stored to caller", [id, stored, size = caller.size()](long n) {
        std::vector<std::uint8_t> buffer(size);
        const double start = Now();
        for (long i = 0; i < n; ++i) {
            std::uint32_t room = static_cast<std::uint32_t>(buffer.size());
            const kelix::CopyResult result = kelix::StoredToCaller(id, stored.data(), static_cast<std::uint32_t>(stored.size()),
                                                                   buffer.data(), &room);
            Keep(result);
            Keep(buffer.data());
        }
        return Now() - start;
    }, caller.size());
}

}  // namespace

int main() {
    const std::vector<std::uint8_t> optimizerBands = CountedArrays(11, 11, 20);  // 1119, 884 bytes
    const std::vector<std::uint8_t> filter = FilterConfig(static_cast<std::int32_t>(kelix::kFilterConfigCapacity));
    const std::vector<std::uint8_t> compressor = CountedArrays(4, 4, 6);  // 2116, four records, 100 bytes
    SetRow("1119", 1119, optimizerBands);
    GetRow("1119", 1119, optimizerBands);
    SetRow("2105 at 2044 bytes", 2105, filter);
    GetRow("2105 at 2044 bytes", 2105, filter);
    SetRow("2116 with 4 records", 2116, compressor);
    GetRow("2116 with 4 records", 2116, compressor);
    // The DSP route takes 2116 as the store holds it, each record behind its length word.
    const std::vector<std::uint8_t> blob = Stored(2116, compressor);
    Row("2116 DSP reshaping", [&blob](long n) {
        std::vector<std::uint8_t> sent(blob.size());
        const double start = Now();
        for (long i = 0; i < n; ++i) {
            const std::uint32_t bytes =
                kelix::ReshapeBlobForDsp(2116, blob.data(), static_cast<std::uint32_t>(blob.size()), false, sent.data());
            Keep(bytes);
            Keep(sent.data());
        }
        return Now() - start;
    }, blob.size());
    return 0;
}
