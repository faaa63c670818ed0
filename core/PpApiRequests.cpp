#include "core/PpApiRequests.h"

#include <algorithm>

namespace kelix {
namespace {

// Writes little-endian fields into a record from the front.
template <std::size_t Size>
class RecordWriter {
public:
    RecordWriter& U32(std::uint32_t value) {
        for (int shift = 0; shift < 32; shift += 8) record_[at_++] = static_cast<std::uint8_t>(value >> shift);
        return *this;
    }
    RecordWriter& U16(std::uint16_t value) {
        record_[at_++] = static_cast<std::uint8_t>(value);
        record_[at_++] = static_cast<std::uint8_t>(value >> 8);
        return *this;
    }
    RecordWriter& Byte(std::uint8_t value) {
        record_[at_++] = value;
        return *this;
    }
    // The usual in-memory GUID layout: data1..data3 little-endian, data4 as it stands.
    RecordWriter& Id(const Guid& guid) {
        U32(guid.data1).U16(guid.data2).U16(guid.data3);
        for (std::uint8_t byte : guid.data4) Byte(byte);
        return *this;
    }
    // Continues behind a shorter record that forms the front of this one.
    template <std::size_t Front>
    RecordWriter& Prefix(const KsRecord<Front>& front) {
        static_assert(Front <= Size);
        std::copy(front.begin(), front.end(), record_.begin());
        at_ = Front;
        return *this;
    }
    KsRecord<Size> Done() const { return record_; }

private:
    KsRecord<Size> record_{};
    std::size_t at_ = 0;
};

}  // namespace

KsRecord<kPpShortHeaderSize> PpShortHeader(std::uint32_t propertyId, std::uint32_t flags, std::uint32_t pinId) {
    return RecordWriter<kPpShortHeaderSize>().Id(kPpPropertySet).U32(propertyId).U32(flags).U32(pinId).U32(0).Done();
}

KsRecord<kPpModuleHeaderSize> PpModuleHeader(std::uint32_t propertyId, std::uint32_t flags, std::uint32_t pinId) {
    return RecordWriter<kPpModuleHeaderSize>()
        .Prefix(PpShortHeader(propertyId, flags, pinId))
        .Id(kPpRequestTag)
        .Done();
}

KsRecord<kPpModuleRequestSize> PpModuleRequest(std::uint32_t propertyId, std::uint32_t flags,
                                               const PpModuleAddress& module) {
    return RecordWriter<kPpModuleRequestSize>()
        .Prefix(PpModuleHeader(propertyId, flags, module.pinId))
        .U32(module.moduleType)
        .Id(module.moduleId)
        .Done();
}

KsRecord<kPpModuleEnableRequestSize> PpModuleEnableRequest(std::uint32_t flags, const PpModuleAddress& module,
                                                           std::uint8_t trailing) {
    return RecordWriter<kPpModuleEnableRequestSize>()
        .Prefix(PpModuleRequest(kPpModuleEnable, flags, module))
        .Byte(trailing)
        .Done();
}

KsRecord<kPpModuleParameterRequestSize> PpModuleParameterRequest(std::uint32_t flags, const PpModuleAddress& module,
                                                                 std::uint32_t parameterIndex, std::uint8_t trailing) {
    return RecordWriter<kPpModuleParameterRequestSize>()
        .Prefix(PpModuleRequest(kPpModuleParameter, flags, module))
        .U32(parameterIndex)
        .Byte(trailing)
        .Done();
}

KsRecord<kAmdRequestSize> AmdInstantiationRequest(const Guid& moduleId) {
    return RecordWriter<kAmdRequestSize>()
        .Id(kAmdPropertySet)
        .U32(kAmdInstantiation)
        .U32(kKsPropertyGet)
        .Id(moduleId)
        .U32(2)
        .U32(0)
        .Done();
}

KsRecord<kAmdRequestSize> AmdParameterRequest(std::uint32_t flags, const Guid& moduleId, std::uint32_t moduleType,
                                              std::uint32_t parameterIndex) {
    return RecordWriter<kAmdRequestSize>()
        .Id(kAmdPropertySet)
        .U32(kAmdParameter)
        .U32(flags)
        .Id(moduleId)
        .U32(moduleType)
        .U32(parameterIndex)
        .Done();
}

KsRecord<kAudioEngineRequestSize> AudioEngineDescriptorRequest(std::uint32_t nodeId) {
    return RecordWriter<kAudioEngineRequestSize>()
        .Id(kAudioEnginePropertySet)
        .U32(kAudioEngineDescriptorId)
        .U32(kKsPropertyGet | kKsPropertyTopology)
        .U32(nodeId)
        .U32(0)
        .Done();
}

std::uint32_t ReadU32(std::span<const std::uint8_t> bytes, std::size_t offset) {
    if (offset > bytes.size() || bytes.size() - offset < 4) return 0;
    std::uint32_t value = 0;
    for (int i = 3; i >= 0; --i) value = (value << 8) | bytes[offset + static_cast<std::size_t>(i)];
    return value;
}

std::optional<AudioEngineDescriptor> ParseAudioEngineDescriptor(std::span<const std::uint8_t> reply) {
    if (reply.size() < kAudioEngineDescriptorSize) return std::nullopt;
    return AudioEngineDescriptor{ReadU32(reply, 0), ReadU32(reply, 4), ReadU32(reply, 8)};
}

std::optional<std::vector<std::uint8_t>> ParameterValueBuffer(std::size_t bufferSize,
                                                             std::span<const std::uint8_t> value) {
    if (bufferSize < 4 || value.size() > bufferSize - 4) return std::nullopt;
    std::vector<std::uint8_t> buffer(bufferSize, 0);
    const auto length = static_cast<std::uint32_t>(value.size());
    for (int i = 0; i < 4; ++i) buffer[static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(length >> (8 * i));
    std::copy(value.begin(), value.end(), buffer.begin() + 4);
    return buffer;
}

std::span<std::uint8_t> KeptValueBuffer::Fill(std::size_t bufferSize, std::span<const std::uint8_t> value) {
    if (bufferSize < 4 || bufferSize > kPpParameterBufferSize || value.size() > bufferSize - 4) return {};
    if (!bytes_) bytes_ = std::make_unique<std::uint8_t[]>(kPpParameterBufferSize);  // zero-filled
    const std::size_t end = 4 + value.size();
    if (used_ > end) std::fill(bytes_.get() + end, bytes_.get() + used_, std::uint8_t{0});
    const auto length = static_cast<std::uint32_t>(value.size());
    for (int i = 0; i < 4; ++i) bytes_[static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(length >> (8 * i));
    std::copy(value.begin(), value.end(), bytes_.get() + 4);
    used_ = end;
    return {bytes_.get(), bufferSize};
}

}  // namespace kelix
