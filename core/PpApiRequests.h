// Wire format of the post-processing (PP API) kernel-streaming requests that
// reach the DSP firmware, of the AMD property set, and of the audio-engine
// descriptor request that finds a filter's offload pin. Every record is built
// as little-endian bytes, exactly as it goes to IKsControl::KsProperty.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "core/Guid.h"

namespace kelix {

// The PP API property set.
inline constexpr Guid kPpPropertySet{0xBAE9CE37, 0xAA99, 0x4BC7, {0x9B, 0xDF, 0x4C, 0xBF, 0x3D, 0x23, 0xE1, 0xB9}};
// Tag of every PP request of 48 bytes or more (the value of AUDIO_SIGNALPROCESSINGMODE_DEFAULT).
inline constexpr Guid kPpRequestTag{0xC18E2F7E, 0x933D, 0x4965, {0xB7, 0xD1, 0x1E, 0xEF, 0x22, 0x8D, 0x2A, 0xF3}};
// The AMD property set.
inline constexpr Guid kAmdPropertySet{0x8207FCBD, 0xC81A, 0x441B, {0x96, 0xB5, 0x4A, 0x0C, 0xF0, 0x86, 0x65, 0xAD}};
// KSPROPSETID_AudioEngine.
inline constexpr Guid kAudioEnginePropertySet{0x3A2F82DC, 0x886F, 0x4BAA, {0x9E, 0xB4, 0x08, 0x2B, 0x90, 0x25, 0xC5, 0x36}};

inline constexpr std::uint32_t kKsPropertyGet = 0x1;        // KSPROPERTY_TYPE_GET
inline constexpr std::uint32_t kKsPropertySet = 0x2;        // KSPROPERTY_TYPE_SET
inline constexpr std::uint32_t kKsPropertyTopology = 0x10000000;  // KSPROPERTY_TYPE_TOPOLOGY

// Property ids of the PP set.
enum PpPropertyId : std::uint32_t {
    kPpVersion = 0,             // GET, short header; reply: u32 API version
    kPpModuleList = 1,          // GET, module header; reply: the module list
    kPpModuleEnable = 2,        // GET or SET, 69 bytes; data: one enable byte
    kPpModuleParameter = 3,     // GET or SET, 73 bytes; data: a parameter value buffer
    kPpModuleRequest = 5,       // SET, 68 bytes; data: 8 bytes
    kPpInstantiationState = 6,  // GET, 68 bytes; reply: one byte
};
// Property ids of the AMD set.
enum AmdPropertyId : std::uint32_t {
    kAmdParameter = 0,      // SET (and GET), 48 bytes; data: an AMD value buffer
    kAmdInstantiation = 1,  // GET, 48 bytes; reply: 8 bytes, the first non-zero when instantiated
};
inline constexpr std::uint32_t kAudioEngineDescriptorId = 6;  // KSPROPERTY_AUDIOENGINE_DESCRIPTOR

inline constexpr std::uint32_t kPpApiVersion = 1;  // the only version this library speaks

// Record and buffer sizes.
inline constexpr std::size_t kPpShortHeaderSize = 32;
inline constexpr std::size_t kPpModuleHeaderSize = 48;
inline constexpr std::size_t kPpModuleRequestSize = 68;
inline constexpr std::size_t kPpModuleEnableRequestSize = 69;
inline constexpr std::size_t kPpModuleParameterRequestSize = 73;
inline constexpr std::size_t kAmdRequestSize = 48;
inline constexpr std::size_t kAudioEngineRequestSize = 32;
inline constexpr std::size_t kPpVersionReplySize = 5;  // one more than the u32 compared, kept as the firmware expects
inline constexpr std::size_t kPpModuleRequestDataSize = 8;
inline constexpr std::size_t kAmdInstantiationReplySize = 8;
inline constexpr std::size_t kAudioEngineDescriptorSize = 12;
// Parameter value buffers: a u32 value length followed by the value bytes, the rest zero.
inline constexpr std::size_t kPpParameterBufferSize = 64004;
inline constexpr std::size_t kAmdParameterBufferSize = 4096;

// Addressing of one module behind one pin.
struct PpModuleAddress {
    std::uint32_t pinId = 0;
    std::uint32_t moduleType = 0;
    Guid moduleId{};
};

template <std::size_t Size>
using KsRecord = std::array<std::uint8_t, Size>;

// 32 bytes: set, id, flags, pin id, reserved 0 (the layout of a KSP_PIN).
KsRecord<kPpShortHeaderSize> PpShortHeader(std::uint32_t propertyId, std::uint32_t flags, std::uint32_t pinId);
// 48 bytes: the short header and the request tag.
KsRecord<kPpModuleHeaderSize> PpModuleHeader(std::uint32_t propertyId, std::uint32_t flags, std::uint32_t pinId);
// 68 bytes: the module header, module type and module id (ids 5 and 6).
KsRecord<kPpModuleRequestSize> PpModuleRequest(std::uint32_t propertyId, std::uint32_t flags,
                                               const PpModuleAddress& module);
// 69 bytes: the module enable request (id 2) with its trailing byte.
KsRecord<kPpModuleEnableRequestSize> PpModuleEnableRequest(std::uint32_t flags, const PpModuleAddress& module,
                                                           std::uint8_t trailing);
// 73 bytes: the module parameter request (id 3), the parameter index and a trailing byte.
KsRecord<kPpModuleParameterRequestSize> PpModuleParameterRequest(std::uint32_t flags, const PpModuleAddress& module,
                                                                 std::uint32_t parameterIndex, std::uint8_t trailing);
// 48 bytes: AMD instantiation query (id 1, GET) of one module id.
KsRecord<kAmdRequestSize> AmdInstantiationRequest(const Guid& moduleId);
// 48 bytes: AMD parameter request (id 0) with the entry's module id and type and the parameter index.
KsRecord<kAmdRequestSize> AmdParameterRequest(std::uint32_t flags, const Guid& moduleId, std::uint32_t moduleType,
                                              std::uint32_t parameterIndex);
// 32 bytes: KSP_NODE of KSPROPERTY_AUDIOENGINE_DESCRIPTOR, GET with the topology flag.
KsRecord<kAudioEngineRequestSize> AudioEngineDescriptorRequest(std::uint32_t nodeId);

// KSAUDIOENGINE_DESCRIPTOR.
struct AudioEngineDescriptor {
    std::uint32_t hostPinId = 0;
    std::uint32_t offloadPinId = 0;
    std::uint32_t loopbackPinId = 0;
};
// Nothing when fewer than 12 bytes were received.
std::optional<AudioEngineDescriptor> ParseAudioEngineDescriptor(std::span<const std::uint8_t> reply);

// A parameter value buffer of bufferSize bytes (kPpParameterBufferSize or kAmdParameterBufferSize):
// the value length, the value, zeros. Nothing when the value does not fit behind the length.
std::optional<std::vector<std::uint8_t>> ParameterValueBuffer(std::size_t bufferSize,
                                                             std::span<const std::uint8_t> value);

// The parameter value buffer of parameter writes, kept from one write to the
// next: Fill gives exactly the bytes of ParameterValueBuffer(bufferSize, value),
// but allocates the largest buffer once and zeroes only what the previous value
// occupied. A SET leaves its data buffer as it was sent, which this relies on.
class KeptValueBuffer {
public:
    // The bufferSize bytes to send (at most kPpParameterBufferSize); empty when the
    // value does not fit behind the length word.
    std::span<std::uint8_t> Fill(std::size_t bufferSize, std::span<const std::uint8_t> value);

private:
    std::unique_ptr<std::uint8_t[]> bytes_;
    std::size_t used_ = 0;  // the leading bytes that may be non-zero
};

// Little-endian u32 at offset; 0 when the four bytes are not all inside.
std::uint32_t ReadU32(std::span<const std::uint8_t> bytes, std::size_t offset);

}  // namespace kelix
