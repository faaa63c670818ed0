#pragma once

// The audio DSP behind a simulated KS filter: the filter's answer to the audio-engine descriptor
// request and the DSP firmware that implements the post-processing (PP API) property set and the
// AMD property set. It checks every request strictly, as a driver would, and answers a malformed
// one with a failure; it records every request it receives, so that tests can assert the bytes
// on the wire.
//
//   sim::Dsp& dsp = platform.AddDsp({.modules = {{.id = kModuleId, .type = 2, .name = "krelo",
//                                                 .version = "1.4.2"}}});
//   platform.AttachDsp(speakers, dsp);   // speakers' connector 0 leads to the DSP's wave filter
//   ... run the product; dsp.Requests(), dsp.Parameter(kModuleId, 127)
//
// Failures it answers (HRESULT_FROM_WIN32 of the KS status a driver would give):
//   0x80070492 ERROR_SET_NOT_FOUND      a property set this filter does not carry
//   0x80070490 ERROR_NOT_FOUND          an unknown property id, module id or AMD row
//   0x80070057 E_INVALIDARG             a record of the wrong length, flags, pin, tag, reserved or
//                                       trailing value, or a value length beyond its buffer
//   0x8007007A ERROR_INSUFFICIENT_BUFFER a data buffer too small for the reply
//   0x800703E6 ERROR_NOACCESS           a null buffer with a nonzero length
//   0x80004003 E_POINTER                a null property or bytes-returned pointer

#include <windows.h>

#include <map>
#include <mutex>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace sim {

// One module of the firmware's PP API module list.
struct DspModule {
    GUID id{};
    UINT32 type = 2;            // descriptor type: 0 SFX, 1 MFX, 2 EFX; any other value is sent as it is
    std::string name{};         // 8-bit text; 64 characters or more fill the field without a terminator
    std::string version{};      // 8-bit text of the descriptor, the same way
    bool enabled = true;        // module enable state (PP id 2)
    bool instantiated = true;   // instantiation state (PP id 6)
};

// One row of the AMD property set.
struct AmdModule {
    GUID id{};
    bool instantiated = true;  // first byte of the AMD instantiation reply
};

struct DspConfig {
    UINT32 hostPin = 0;         // audio-engine descriptor: host, offload and loopback pins
    UINT32 offloadPin = 1;
    UINT32 loopbackPin = 2;
    bool audioEngine = true;    // the wave filter answers KSPROPERTY_AUDIOENGINE_DESCRIPTOR
    bool ppApi = true;          // the firmware carries the PP API property set
    std::vector<UINT32> ppPins{};  // pins that answer PP requests; empty: the offload pin only
    UINT32 apiVersion = 1;      // reply of the version request
    std::vector<DspModule> modules{};     // the module list, in order
    std::vector<AmdModule> amdModules{};  // rows of the AMD property set; empty: no AMD set
    bool recordRequests = true;  // false: Requests() stays empty and a request costs no copy of it
};

// Kinds of request, for failure injection.
enum class DspRequest {
    AudioEngineDescriptor,
    Version,
    ModuleListSize,  // the module list request with no data buffer
    ModuleList,
    ModuleEnableGet,
    ModuleEnableSet,
    ParameterGet,
    ParameterSet,
    ModuleRequest,   // PP id 5
    InstantiationState,
    AmdInstantiation,
    AmdParameterGet,
    AmdParameterSet,
};

// One IKsControl::KsProperty call as received.
struct KsRequest {
    std::wstring device;          // device id of the filter (or endpoint) whose IKsControl received it
    std::vector<BYTE> property;   // the PropertyLength bytes of the property record
    std::vector<BYTE> data;       // the DataLength bytes of the data buffer before the call; empty when null
    ULONG dataLength = 0;
    bool nullData = false;
    HRESULT result = S_OK;
    ULONG bytesReturned = 0;

    // Fields of the KSPROPERTY at the front of the record (zero when the record is shorter).
    GUID Set() const;
    ULONG Id() const;
    ULONG Flags() const;
    ULONG Word(size_t offset) const;  // u32 at offset, 0 when outside
};

// A misbehaving driver: a share of the answers of the wave filter comes back mutated, each
// mutation drawn from a pseudo-random sequence of a fixed seed (std::mt19937, the same seed gives
// the same answers on every toolchain). A mutated answer is one of: a failure code of
// kMutationFailures (what the driver wrote stays); a byte count below what was written, the bytes
// after it left as they were before the call (within the buffer's first 64 KiB); a byte count above it (up to 0xFFFFFFFF, the bytes
// past the real answer left as they were); random bytes, never the byte kMutationMark, in place of
// what was written; for the module list an absurd size answer (64,005 bytes up to 0xFFFFFFFF) or a
// list whose count word is absurd.
struct DspMutation {
    UINT32 seed = 1;
    UINT32 percent = 25;  // share of answers mutated, 0-100
};
inline const HRESULT kMutationFailures[] = {HRESULT_FROM_WIN32(ERROR_GEN_FAILURE), HRESULT_FROM_WIN32(ERROR_MORE_DATA),
                                            HRESULT_FROM_WIN32(ERROR_NOT_FOUND), HRESULT_FROM_WIN32(ERROR_DEVICE_REMOVED),
                                            E_FAIL};
inline constexpr BYTE kMutationMark = 0x5A;

// What the mutation did so far.
struct DspMutationCounts {
    long answers = 0;         // answers mutated, the kinds below together
    long failures = 0;
    long shortCounts = 0;
    long overlongCounts = 0;
    long randomBytes = 0;
    long absurdLists = 0;
    ULONG largestListRead = 0;  // the largest data buffer a module-list read was given (mutated or not)
};

// Thread-safe. Owned by the Platform at a stable address (Platform::AddDsp).
class Dsp {
public:
    explicit Dsp(DspConfig config);
    Dsp(const Dsp&) = delete;
    Dsp& operator=(const Dsp&) = delete;

    // The configuration with the modules' current enable states.
    DspConfig Config() const;

    // The next `times` requests of a kind (-1: every one until ClearFailures) answer hr, a failure,
    // before any check.
    void Fail(DspRequest kind, HRESULT hr, int times = -1);
    void ClearFailures();

    // Malformed replies. The size query answers `size` instead of the list's size.
    void SetModuleListSize(UINT32 size);
    // The size query answers this result with the size in the byte count, as drivers that say
    // "more data" (HRESULT_FROM_WIN32(ERROR_MORE_DATA) and the like) do.
    void SetModuleListSizeResult(HRESULT hr);
    // The list read answers these bytes instead of the encoded module list (and the size query
    // their count, unless SetModuleListSize says otherwise).
    void SetModuleListReply(std::vector<BYTE> reply);

    // Parameter values per module id (PP or AMD row) and DSP parameter index: SET requests store
    // the value, GET requests answer it (length word, value, zeros); an index never written answers
    // zeros in the layout the library expects there (kelix::DefaultDspReply).
    void SetParameter(const GUID& module, UINT32 index, std::vector<BYTE> value);
    std::optional<std::vector<BYTE>> Parameter(const GUID& module, UINT32 index) const;
    // Every value written to a module, by index in ascending order.
    std::vector<std::pair<UINT32, std::vector<BYTE>>> Parameters(const GUID& module) const;
    // GET replies of (module, index) carry this length word instead of the stored value's length;
    // the stored bytes follow, then zeros up to that length (at most the value room of the buffer).
    void SetParameterReplyLength(const GUID& module, UINT32 index, UINT32 length);

    // Mutates answers from now on (percent 0: none), counting afresh.
    void Mutate(DspMutation mutation);
    DspMutationCounts MutationCounts() const;

    // Enable state of a PP module; false for an unknown id.
    bool Enabled(const GUID& module) const;

    std::vector<KsRequest> Requests() const;
    void ClearRequests();

    // IKsControl::KsProperty of a filter of this DSP: `wave` for the wave filter (audio engine
    // and firmware), false for a topology filter in front of it (carries neither).
    HRESULT KsProperty(const std::wstring& device, bool wave, const void* property, ULONG propertyLength,
                       void* data, ULONG dataLength, ULONG* bytesReturned) noexcept;

private:
    struct Failure {
        HRESULT hr = S_OK;
        int remaining = 0;
    };
    using ParameterKey = std::pair<std::string, UINT32>;  // the module id's 16 bytes, the index

    HRESULT Answer(bool wave, const std::vector<BYTE>& property, BYTE* data, ULONG dataLength, ULONG* written);
    HRESULT InjectedFailure(DspRequest kind);
    HRESULT Mutated(HRESULT hr, BYTE* data, ULONG dataLength, const std::vector<BYTE>& before, ULONG* written);
    HRESULT AnswerPp(const std::vector<BYTE>& property, BYTE* data, ULONG dataLength, ULONG* written);
    HRESULT AnswerAmd(const std::vector<BYTE>& property, BYTE* data, ULONG dataLength, ULONG* written);
    HRESULT AnswerParameter(const GUID& module, UINT32 index, bool set, size_t bufferSize, BYTE* data,
                            ULONG dataLength, ULONG* written);
    std::vector<BYTE> ModuleList() const;
    DspModule* FindModule(const GUID& id, UINT32 type);
    const AmdModule* FindAmdRow(const GUID& id) const;

    mutable std::mutex mutex_;
    DspConfig config_;
    std::map<DspRequest, Failure> failures_;
    std::optional<UINT32> listSize_;
    HRESULT listSizeResult_ = S_OK;
    std::optional<std::vector<BYTE>> listReply_;
    std::map<ParameterKey, std::vector<BYTE>> parameters_;
    std::map<ParameterKey, UINT32> replyLengths_;
    std::vector<KsRequest> requests_;
    std::optional<DspRequest> answering_;  // the kind of the request being answered, once known
    DspMutation mutation_{1, 0};
    std::mt19937 random_;
    DspMutationCounts counts_;
};

}  // namespace sim
