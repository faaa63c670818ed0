#include "sim/Dsp.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <new>
#include <string>

#include "core/DspValueShaping.h"
#include "core/KnownModules.h"
#include "core/PpApiRequests.h"

namespace sim {

namespace {

const HRESULT kSetNotFound = HRESULT_FROM_WIN32(ERROR_SET_NOT_FOUND);
const HRESULT kNotFound = HRESULT_FROM_WIN32(ERROR_NOT_FOUND);
const HRESULT kTooSmall = HRESULT_FROM_WIN32(ERROR_INSUFFICIENT_BUFFER);
const HRESULT kNoAccess = HRESULT_FROM_WIN32(ERROR_NOACCESS);
constexpr HRESULT kMalformed = E_INVALIDARG;
constexpr UINT32 kAmdModuleType = 2;

ULONG ReadWord(const std::vector<BYTE>& bytes, size_t offset) {
    if (offset > bytes.size() || bytes.size() - offset < 4) return 0;
    ULONG value;
    std::memcpy(&value, bytes.data() + offset, 4);
    return value;
}

GUID ReadGuid(const std::vector<BYTE>& bytes, size_t offset) {
    GUID value{};
    if (offset <= bytes.size() && bytes.size() - offset >= sizeof value) {
        std::memcpy(&value, bytes.data() + offset, sizeof value);
    }
    return value;
}

bool SameGuid(const GUID& guid, const kelix::Guid& expected) {
    static_assert(sizeof(GUID) == sizeof(kelix::Guid));
    return std::memcmp(&guid, &expected, sizeof guid) == 0;
}

void PutWord(BYTE* at, ULONG value) { std::memcpy(at, &value, 4); }

std::string Key(const GUID& id) { return std::string(reinterpret_cast<const char*>(&id), sizeof id); }

// A descriptor text field of 64 bytes: the text, cut at the field's end, NUL-padded.
void PutText(BYTE* field, const std::string& text) {
    constexpr size_t kTextField = 64;
    std::memcpy(field, text.data(), std::min(text.size(), kTextField));
}

}  // namespace

GUID KsRequest::Set() const { return ReadGuid(property, 0); }
ULONG KsRequest::Id() const { return ReadWord(property, 16); }
ULONG KsRequest::Flags() const { return ReadWord(property, 20); }
ULONG KsRequest::Word(size_t offset) const { return ReadWord(property, offset); }

Dsp::Dsp(DspConfig config) : config_(std::move(config)) {
    if (config_.ppPins.empty()) config_.ppPins.push_back(config_.offloadPin);
}

DspConfig Dsp::Config() const {
    std::lock_guard lock(mutex_);
    return config_;
}

void Dsp::Fail(DspRequest kind, HRESULT hr, int times) {
    std::lock_guard lock(mutex_);
    failures_[kind] = {hr, times};
}

void Dsp::ClearFailures() {
    std::lock_guard lock(mutex_);
    failures_.clear();
}

void Dsp::SetModuleListSize(UINT32 size) {
    std::lock_guard lock(mutex_);
    listSize_ = size;
}

void Dsp::SetModuleListSizeResult(HRESULT hr) {
    std::lock_guard lock(mutex_);
    listSizeResult_ = hr;
}

void Dsp::SetModuleListReply(std::vector<BYTE> reply) {
    std::lock_guard lock(mutex_);
    listReply_ = std::move(reply);
}

void Dsp::SetParameter(const GUID& module, UINT32 index, std::vector<BYTE> value) {
    std::lock_guard lock(mutex_);
    parameters_[{Key(module), index}] = std::move(value);
}

std::optional<std::vector<BYTE>> Dsp::Parameter(const GUID& module, UINT32 index) const {
    std::lock_guard lock(mutex_);
    const auto found = parameters_.find({Key(module), index});
    if (found == parameters_.end()) return std::nullopt;
    return found->second;
}

std::vector<std::pair<UINT32, std::vector<BYTE>>> Dsp::Parameters(const GUID& module) const {
    std::lock_guard lock(mutex_);
    std::vector<std::pair<UINT32, std::vector<BYTE>>> values;
    const std::string key = Key(module);
    for (auto it = parameters_.lower_bound({key, 0}); it != parameters_.end() && it->first.first == key; ++it) {
        values.emplace_back(it->first.second, it->second);
    }
    return values;
}

void Dsp::SetParameterReplyLength(const GUID& module, UINT32 index, UINT32 length) {
    std::lock_guard lock(mutex_);
    replyLengths_[{Key(module), index}] = length;
}

void Dsp::Mutate(DspMutation mutation) {
    std::lock_guard lock(mutex_);
    mutation_ = mutation;
    random_.seed(mutation.seed);
    counts_ = {};
}

DspMutationCounts Dsp::MutationCounts() const {
    std::lock_guard lock(mutex_);
    return counts_;
}

bool Dsp::Enabled(const GUID& module) const {
    std::lock_guard lock(mutex_);
    for (const DspModule& candidate : config_.modules) {
        if (IsEqualGUID(candidate.id, module)) return candidate.enabled;
    }
    return false;
}

std::vector<KsRequest> Dsp::Requests() const {
    std::lock_guard lock(mutex_);
    return requests_;
}

void Dsp::ClearRequests() {
    std::lock_guard lock(mutex_);
    requests_.clear();
}

HRESULT Dsp::KsProperty(const std::wstring& device, bool wave, const void* property, ULONG propertyLength,
                        void* data, ULONG dataLength, ULONG* bytesReturned) noexcept {
    try {
        KsRequest request;
        if (property != nullptr) {
            const auto* bytes = static_cast<const BYTE*>(property);
            request.property.assign(bytes, bytes + propertyLength);
        }
        std::lock_guard lock(mutex_);
        if (config_.recordRequests) {
            request.device = device;
            request.dataLength = dataLength;
            request.nullData = data == nullptr;
            if (data != nullptr) {
                const auto* bytes = static_cast<const BYTE*>(data);
                request.data.assign(bytes, bytes + dataLength);
            }
        }
        ULONG written = 0;
        HRESULT hr;
        answering_.reset();
        if (property == nullptr || bytesReturned == nullptr) {
            hr = E_POINTER;
        } else if (data == nullptr && dataLength != 0) {
            hr = kNoAccess;
        } else {
            auto* bytes = static_cast<BYTE*>(data);
            // What the buffer held before, for a mutated answer that leaves bytes as they were;
            // within the first 64 KiB, the largest buffer a well-behaved client hands over.
            std::vector<BYTE> before;
            if (mutation_.percent != 0 && bytes != nullptr) before.assign(bytes, bytes + std::min<ULONG>(dataLength, 0x10000));
            hr = Answer(wave, request.property, bytes, dataLength, &written);
            if (answering_ == DspRequest::ModuleList) counts_.largestListRead = std::max(counts_.largestListRead, dataLength);
            if (mutation_.percent != 0 && answering_) hr = Mutated(hr, bytes, dataLength, before, &written);
        }
        request.result = hr;
        request.bytesReturned = written;
        if (bytesReturned != nullptr) *bytesReturned = written;
        if (config_.recordRequests) requests_.push_back(std::move(request));
        return hr;
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

HRESULT Dsp::InjectedFailure(DspRequest kind) {
    answering_ = kind;
    const auto found = failures_.find(kind);
    if (found == failures_.end() || found->second.remaining == 0) return S_OK;
    if (found->second.remaining > 0) --found->second.remaining;
    return found->second.hr;
}

HRESULT Dsp::Mutated(HRESULT hr, BYTE* data, ULONG dataLength, const std::vector<BYTE>& before, ULONG* written) {
    if (random_() % 100 >= mutation_.percent) return hr;
    ++counts_.answers;
    const auto restore = [&](ULONG from) {  // the bytes from `from` on as they were before the call
        if (from < before.size()) std::copy(before.begin() + from, before.end(), data + from);
    };
    const auto randomBytes = [&](ULONG count) {
        for (ULONG i = 0; i < count; ++i) {
            const auto byte = static_cast<BYTE>(random_());
            data[i] = byte == kMutationMark ? 0 : byte;
        }
    };
    const std::uint32_t choice = random_();
    if (answering_ == DspRequest::ModuleListSize && choice % 4 != 0) {
        static constexpr ULONG kAbsurd[] = {0xFFFFFFFF, 0x80000000, 64005, 0x100000};
        ++counts_.absurdLists;
        *written = kAbsurd[(choice / 4) % std::size(kAbsurd)];
        return S_OK;
    }
    if (answering_ == DspRequest::ModuleList && dataLength >= 4 && choice % 4 == 0) {
        static constexpr ULONG kCounts[] = {0xFFFFFFFF, 0x7FFFFFFF, 4000, 2};
        ++counts_.absurdLists;
        PutWord(data, kCounts[(choice / 4) % std::size(kCounts)]);
        return hr;
    }
    switch ((choice / 16) % 4) {
        case 0:
            ++counts_.failures;
            *written = 0;
            return kMutationFailures[(choice / 64) % std::size(kMutationFailures)];
        case 1:
            ++counts_.shortCounts;
            *written = *written != 0 ? (choice / 64) % *written : 0;
            restore(*written);
            return hr;
        case 2: {
            ++counts_.overlongCounts;
            const ULONG more[] = {0xFFFFFFFF, dataLength + 1 + (choice / 256) % 4096, *written + 1 + (choice / 256) % 64};
            *written = more[(choice / 64) % std::size(more)];
            return hr;
        }
        default: {
            ++counts_.randomBytes;
            const ULONG count = *written != 0 || dataLength == 0 ? *written : 1 + (choice / 64) % dataLength;
            randomBytes(std::min(count, dataLength));
            *written = std::min(count, dataLength);
            return SUCCEEDED(hr) ? hr : S_OK;
        }
    }
}

HRESULT Dsp::Answer(bool wave, const std::vector<BYTE>& property, BYTE* data, ULONG dataLength, ULONG* written) {
    if (property.size() < 24) return kMalformed;  // shorter than a KSPROPERTY
    const GUID set = ReadGuid(property, 0);
    if (SameGuid(set, kelix::kAudioEnginePropertySet)) {
        if (!wave || !config_.audioEngine) return kSetNotFound;
        if (ReadWord(property, 16) != kelix::kAudioEngineDescriptorId) return kNotFound;
        if (const HRESULT hr = InjectedFailure(DspRequest::AudioEngineDescriptor); FAILED(hr)) return hr;
        // A KSP_NODE; every node of the filter reports the same engine.
        if (property.size() != kelix::kAudioEngineRequestSize ||
            ReadWord(property, 20) != (kelix::kKsPropertyGet | kelix::kKsPropertyTopology) ||
            ReadWord(property, 28) != 0) {
            return kMalformed;
        }
        if (dataLength < kelix::kAudioEngineDescriptorSize) return kTooSmall;
        PutWord(data, config_.hostPin);
        PutWord(data + 4, config_.offloadPin);
        PutWord(data + 8, config_.loopbackPin);
        *written = kelix::kAudioEngineDescriptorSize;
        return S_OK;
    }
    if (SameGuid(set, kelix::kPpPropertySet)) {
        if (!wave || !config_.ppApi) return kSetNotFound;
        return AnswerPp(property, data, dataLength, written);
    }
    if (SameGuid(set, kelix::kAmdPropertySet)) {
        if (!wave || config_.amdModules.empty()) return kSetNotFound;
        return AnswerAmd(property, data, dataLength, written);
    }
    return kSetNotFound;
}

HRESULT Dsp::AnswerPp(const std::vector<BYTE>& property, BYTE* data, ULONG dataLength, ULONG* written) {
    const ULONG id = ReadWord(property, 16);
    const ULONG flags = ReadWord(property, 20);
    const bool set = flags == kelix::kKsPropertySet;
    DspRequest kind;
    size_t length;
    bool flagsValid;
    switch (id) {
        case kelix::kPpVersion:
            kind = DspRequest::Version;
            length = kelix::kPpShortHeaderSize;
            flagsValid = flags == kelix::kKsPropertyGet;
            break;
        case kelix::kPpModuleList:
            kind = dataLength == 0 ? DspRequest::ModuleListSize : DspRequest::ModuleList;
            length = kelix::kPpModuleHeaderSize;
            flagsValid = flags == kelix::kKsPropertyGet;
            break;
        case kelix::kPpModuleEnable:
            kind = set ? DspRequest::ModuleEnableSet : DspRequest::ModuleEnableGet;
            length = kelix::kPpModuleEnableRequestSize;
            flagsValid = set || flags == kelix::kKsPropertyGet;
            break;
        case kelix::kPpModuleParameter:
            kind = set ? DspRequest::ParameterSet : DspRequest::ParameterGet;
            length = kelix::kPpModuleParameterRequestSize;
            flagsValid = set || flags == kelix::kKsPropertyGet;
            break;
        case kelix::kPpModuleRequest:
            kind = DspRequest::ModuleRequest;
            length = kelix::kPpModuleRequestSize;
            flagsValid = set;
            break;
        case kelix::kPpInstantiationState:
            kind = DspRequest::InstantiationState;
            length = kelix::kPpModuleRequestSize;
            flagsValid = flags == kelix::kKsPropertyGet;
            break;
        default:
            return kNotFound;
    }
    if (const HRESULT hr = InjectedFailure(kind); FAILED(hr)) return hr;

    // Every PP request: its exact length and flags, a pin that carries the API, reserved 0, and
    // from 48 bytes on the request tag, from 68 bytes on a module of the list.
    const ULONG pin = ReadWord(property, 24);
    if (property.size() != length || !flagsValid || ReadWord(property, 28) != 0 ||
        std::find(config_.ppPins.begin(), config_.ppPins.end(), pin) == config_.ppPins.end()) {
        return kMalformed;
    }
    if (length >= kelix::kPpModuleHeaderSize && !SameGuid(ReadGuid(property, 32), kelix::kPpRequestTag)) {
        return kMalformed;
    }
    DspModule* module = nullptr;
    if (length >= kelix::kPpModuleRequestSize) {
        module = FindModule(ReadGuid(property, 52), ReadWord(property, 48));
        if (module == nullptr) return kNotFound;
    }

    switch (id) {
        case kelix::kPpVersion:
            if (dataLength < 4) return kTooSmall;
            PutWord(data, config_.apiVersion);
            *written = 4;
            return S_OK;
        case kelix::kPpModuleList: {
            const std::vector<BYTE> list = listReply_ ? *listReply_ : ModuleList();
            if (dataLength == 0) {  // the size query
                *written = listSize_.value_or(static_cast<UINT32>(list.size()));
                return listSizeResult_;
            }
            if (dataLength < list.size()) return kTooSmall;
            std::copy(list.begin(), list.end(), data);
            *written = static_cast<ULONG>(list.size());
            return S_OK;
        }
        case kelix::kPpModuleEnable:
            if (property[68] != (set ? 1 : 0) || dataLength != 1) return kMalformed;
            if (set) {
                if (data[0] > 1) return kMalformed;
                module->enabled = data[0] != 0;
            } else {
                data[0] = module->enabled ? 1 : 0;
                *written = 1;
            }
            return S_OK;
        case kelix::kPpModuleParameter:
            // The trailing byte: 1 on every SET, 0 or 1 on a GET.
            if (property[72] > 1 || (set && property[72] != 1)) return kMalformed;
            return AnswerParameter(module->id, ReadWord(property, 68), set, kelix::kPpParameterBufferSize, data,
                                   dataLength, written);
        case kelix::kPpModuleRequest:
            return dataLength == kelix::kPpModuleRequestDataSize ? S_OK : kMalformed;
        default:  // kPpInstantiationState
            if (dataLength < 1) return kTooSmall;
            data[0] = module->instantiated ? 1 : 0;
            *written = 1;
            return S_OK;
    }
}

HRESULT Dsp::AnswerAmd(const std::vector<BYTE>& property, BYTE* data, ULONG dataLength, ULONG* written) {
    const ULONG id = ReadWord(property, 16);
    const ULONG flags = ReadWord(property, 20);
    DspRequest kind;
    if (id == kelix::kAmdInstantiation) {
        kind = DspRequest::AmdInstantiation;
    } else if (id == kelix::kAmdParameter) {
        kind = flags == kelix::kKsPropertySet ? DspRequest::AmdParameterSet : DspRequest::AmdParameterGet;
    } else {
        return kNotFound;
    }
    if (const HRESULT hr = InjectedFailure(kind); FAILED(hr)) return hr;
    if (property.size() != kelix::kAmdRequestSize) return kMalformed;
    const AmdModule* row = FindAmdRow(ReadGuid(property, 24));
    if (kind == DspRequest::AmdInstantiation) {
        if (flags != kelix::kKsPropertyGet || ReadWord(property, 40) != 2 || ReadWord(property, 44) != 0) {
            return kMalformed;
        }
        if (row == nullptr) return kNotFound;
        if (dataLength < kelix::kAmdInstantiationReplySize) return kTooSmall;
        std::fill(data, data + kelix::kAmdInstantiationReplySize, 0);
        data[0] = row->instantiated ? 1 : 0;
        *written = kelix::kAmdInstantiationReplySize;
        return S_OK;
    }
    if (flags != kelix::kKsPropertySet && flags != kelix::kKsPropertyGet) return kMalformed;
    if (row == nullptr) return kNotFound;
    if (ReadWord(property, 40) != kAmdModuleType) return kMalformed;
    return AnswerParameter(row->id, ReadWord(property, 44), kind == DspRequest::AmdParameterSet,
                           kelix::kAmdParameterBufferSize, data, dataLength, written);
}

// The version text the library gives a module id: from its module list table or its AMD rows.
static std::wstring LibraryVersion(const GUID& module) {
    kelix::Guid id;
    std::memcpy(&id, &module, sizeof id);
    std::string_view version;
    if (const auto known = kelix::KnownModuleVersion(id)) {
        version = *known;
    } else {
        for (const kelix::KnownModule& row : kelix::AmdModules()) {
            if (row.id == id) version = row.version;
        }
    }
    return std::wstring(version.begin(), version.end());
}

HRESULT Dsp::AnswerParameter(const GUID& module, UINT32 index, bool set, size_t bufferSize, BYTE* data,
                             ULONG dataLength, ULONG* written) {
    if (dataLength != bufferSize) return kMalformed;
    const size_t room = bufferSize - 4;
    const ParameterKey key{Key(module), index};
    if (set) {
        ULONG length;
        std::memcpy(&length, data, 4);
        if (length > room) return kMalformed;
        parameters_[key].assign(data + 4, data + 4 + length);
        return S_OK;
    }
    // An index never written answers what a fresh module holds there: zeros in the reply's layout.
    const auto stored = parameters_.find(key);
    const std::vector<BYTE> value =
        stored != parameters_.end() ? stored->second : kelix::DefaultDspReply(index, LibraryVersion(module));
    const auto override = replyLengths_.find(key);
    const auto length = override != replyLengths_.end() ? override->second : static_cast<UINT32>(value.size());
    const size_t shown = std::min<size_t>(length, room);
    PutWord(data, length);
    std::fill(data + 4, data + 4 + shown, 0);
    std::copy_n(value.begin(), std::min(shown, value.size()), data + 4);
    *written = static_cast<ULONG>(4 + shown);
    return S_OK;
}

std::vector<BYTE> Dsp::ModuleList() const {
    constexpr size_t kHeader = 8;
    constexpr size_t kDescriptor = 148;
    const size_t size = kHeader + kDescriptor * config_.modules.size();
    std::vector<BYTE> list(size, 0);
    PutWord(&list[0], static_cast<ULONG>(size));
    PutWord(&list[4], static_cast<ULONG>(config_.modules.size()));
    BYTE* at = list.data() + kHeader;
    for (const DspModule& module : config_.modules) {
        PutWord(at, module.type);
        std::memcpy(at + 4, &module.id, sizeof module.id);
        PutText(at + 20, module.name);
        PutText(at + 84, module.version);
        at += kDescriptor;
    }
    return list;
}

DspModule* Dsp::FindModule(const GUID& id, UINT32 type) {
    for (DspModule& module : config_.modules) {
        if (IsEqualGUID(module.id, id) && module.type == type) return &module;
    }
    return nullptr;
}

const AmdModule* Dsp::FindAmdRow(const GUID& id) const {
    for (const AmdModule& row : config_.amdModules) {
        if (IsEqualGUID(row.id, id)) return &row;
    }
    return nullptr;
}

}  // namespace sim
