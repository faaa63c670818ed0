// The caller-layout path with no slack at all: the caller's bytes (on the way
// in) or the stored value (on the way out) end exactly where an inaccessible
// page begins, and so does the caller's output buffer. Reading or writing one
// byte past a stated size faults, whatever the sanitizers see of the memory.
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "core/ValueLayouts.h"

namespace {

constexpr kelix::ParameterId kIds[] = {1105, 1114, 1119, 1122, 1123, 1156, 1161, 1162, 1170,
                                       2105, 2107, 2108, 2109, 2116, 2122, 3002};

// kRoom readable and writable bytes with an inaccessible page right behind them.
class GuardedRegion {
public:
    static constexpr std::size_t kRoom = std::size_t{1} << 16;

    GuardedRegion() {
        const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
        void* base = mmap(nullptr, kRoom + page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (base == MAP_FAILED) std::abort();
        base_ = static_cast<std::uint8_t*>(base);
        if (mprotect(base_ + kRoom, page, PROT_NONE) != 0) std::abort();
    }

    // The last `size` bytes before the guard page.
    std::uint8_t* End(std::size_t size) const { return base_ + kRoom - size; }

private:
    std::uint8_t* base_ = nullptr;
};

}  // namespace

// Input: id selector, mode bits (0: inbound, 1: null value or buffer), the caller's output
// size (16 bits, outbound), then the caller's bytes or the stored value.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const GuardedRegion in;
    static const GuardedRegion out;
    if (size < 4 || size - 4 > GuardedRegion::kRoom) return 0;
    const kelix::ParameterId id = kIds[data[0] % std::size(kIds)];
    const bool inbound = (data[1] & 1) != 0;
    const bool null = (data[1] & 2) != 0;
    const std::uint32_t callerSize = (std::uint32_t{data[2]} << 8 | data[3]) % 4200;
    const auto bytes = static_cast<std::uint32_t>(size - 4);
    std::uint8_t* value = in.End(bytes);
    std::memcpy(value, data + 4, bytes);

    if (inbound) {
        (void)kelix::CallerToStored(id, null ? nullptr : value, bytes);
        return 0;
    }
    std::uint8_t* buffer = null ? nullptr : out.End(callerSize);
    std::uint32_t reported = callerSize;
    const kelix::CopyResult result = kelix::StoredToCaller(id, value, bytes, buffer, &reported);
    // A successful read never reports more bytes than the buffer holds.
    if (result.status == kelix::LayoutStatus::Ok && (buffer == nullptr || reported > callerSize)) std::abort();
    return 0;
}
