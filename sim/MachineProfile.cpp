#include "sim/MachineProfile.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <map>
#include <optional>
#include <set>
#include <utility>
#include <vector>

#include "sim/EndpointProperties.h"
#include "sim/Platform.h"
#include "sim/RegistryOverride.h"

namespace sim {
namespace {

using Json = nlohmann::ordered_json;

constexpr int kFormat = 1;
constexpr wchar_t kWrapperKey[] = L"SOFTWARE\\Sonavel\\Wrapper\\";
// The Windows audio FX keys, by pid.
constexpr GUID kFxKeys = {0xD04E05A6, 0x594B, 0x4FB6, {0xA8, 0x0D, 0x01, 0xAF, 0x5E, 0xED, 0x7D, 0x1D}};

template <typename T>
struct Named {
    const char* name;
    T value;
};
constexpr Named<DWORD> kStates[] = {{"active", DEVICE_STATE_ACTIVE},
                                    {"disabled", DEVICE_STATE_DISABLED},
                                    {"notpresent", DEVICE_STATE_NOTPRESENT},
                                    {"unplugged", DEVICE_STATE_UNPLUGGED}};
constexpr Named<StoreAccess> kAccesses[] = {
    {"readwrite", StoreAccess::ReadWrite}, {"readonly", StoreAccess::ReadOnly}, {"none", StoreAccess::None}};
constexpr Named<EDataFlow> kFlows[] = {{"render", eRender}, {"capture", eCapture}};
constexpr Named<DspRequest> kRequests[] = {
    {"AudioEngineDescriptor", DspRequest::AudioEngineDescriptor},
    {"Version", DspRequest::Version},
    {"ModuleListSize", DspRequest::ModuleListSize},
    {"ModuleList", DspRequest::ModuleList},
    {"ModuleEnableGet", DspRequest::ModuleEnableGet},
    {"ModuleEnableSet", DspRequest::ModuleEnableSet},
    {"ParameterGet", DspRequest::ParameterGet},
    {"ParameterSet", DspRequest::ParameterSet},
    {"ModuleRequest", DspRequest::ModuleRequest},
    {"InstantiationState", DspRequest::InstantiationState},
    {"AmdInstantiation", DspRequest::AmdInstantiation},
    {"AmdParameterGet", DspRequest::AmdParameterGet},
    {"AmdParameterSet", DspRequest::AmdParameterSet},
};

std::wstring Wide(const std::string& text) {
    if (text.empty()) return {};
    const int length = MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0);
    std::wstring wide(static_cast<size_t>(length), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), wide.data(), length);
    return wide;
}

std::string GuidText(const GUID& guid) {
    wchar_t text[40];
    StringFromGUID2(guid, text, 40);
    return Utf8(text);
}

std::string Hex(const std::vector<BYTE>& bytes) {
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (BYTE byte : bytes) {
        text.push_back(kDigits[byte >> 4]);
        text.push_back(kDigits[byte & 15]);
    }
    return text;
}

// One value of the profile and where it stands, for error messages that name the field.
class Field {
public:
    Field(const Json& value, std::string path) : value_(value), path_(std::move(path)) {}

    [[noreturn]] void Fail(const std::string& what) const { throw ProfileError(path_ + ": " + what); }

    bool Has(const char* name) const { return value_.is_object() && value_.contains(name); }
    Field operator[](const char* name) const {
        if (!value_.is_object()) Fail("not an object");
        if (!value_.contains(name)) Fail(std::string("missing \"") + name + "\"");
        return {value_.at(name), path_ + "." + name};
    }
    std::vector<Field> Items() const {
        if (!value_.is_array()) Fail("not an array");
        std::vector<Field> items;
        for (size_t i = 0; i < value_.size(); ++i) items.emplace_back(value_[i], path_ + "[" + std::to_string(i) + "]");
        return items;
    }
    std::vector<std::pair<std::string, Field>> Members() const {
        if (!value_.is_object()) Fail("not an object");
        std::vector<std::pair<std::string, Field>> members;
        for (const auto& [name, value] : value_.items()) members.emplace_back(name, Field(value, path_ + "." + name));
        return members;
    }

    std::string Text() const {
        if (!value_.is_string()) Fail("not a string");
        return value_.get<std::string>();
    }
    bool Bool() const {
        if (!value_.is_boolean()) Fail("not true or false");
        return value_.get<bool>();
    }
    std::int64_t Integer(std::int64_t min, std::int64_t max) const {
        if (!value_.is_number_integer()) Fail("not an integer");
        const auto number = value_.is_number_unsigned() && value_.get<std::uint64_t>() > std::uint64_t{INT64_MAX}
                                ? max + 1
                                : value_.get<std::int64_t>();
        if (number < min || number > max) Fail("out of range " + std::to_string(min) + ".." + std::to_string(max));
        return number;
    }
    UINT32 U32() const { return static_cast<UINT32>(Integer(0, UINT32_MAX)); }
    GUID Guid() const {
        GUID guid{};
        if (CLSIDFromString(Wide(Text()).c_str(), &guid) != S_OK) Fail("not a GUID in braces");
        return guid;
    }
    // "0x8007001F" or a number; a failure code.
    HRESULT Failure() const {
        std::int64_t code = 0;
        if (value_.is_string()) {
            const std::string text = Text();
            size_t used = 0;
            try {
                code = std::stoll(text, &used, 16);
            } catch (const std::exception&) {
                used = 0;
            }
            if (text.rfind("0x", 0) != 0 || used != text.size()) Fail("not a code like \"0x80070005\"");
        } else {
            code = Integer(0, UINT32_MAX);
        }
        if (code < 0x80000000LL || code > 0xFFFFFFFFLL) Fail("not a failure code");
        return static_cast<HRESULT>(static_cast<UINT32>(code));
    }
    std::vector<BYTE> HexBytes() const {
        const std::string text = Text();
        if (text.size() % 2 != 0) Fail("hex text of odd length");
        std::vector<BYTE> bytes;
        for (size_t i = 0; i < text.size(); i += 2) {
            const auto digit = [&](char c) -> int {
                if (c >= '0' && c <= '9') return c - '0';
                if (c >= 'a' && c <= 'f') return c - 'a' + 10;
                if (c >= 'A' && c <= 'F') return c - 'A' + 10;
                Fail("not hex text");
            };
            bytes.push_back(static_cast<BYTE>(digit(text[i]) * 16 + digit(text[i + 1])));
        }
        return bytes;
    }
    template <typename T, size_t N>
    T OneOf(const Named<T> (&names)[N]) const {
        const std::string text = Text();
        std::string known;
        for (const Named<T>& entry : names) {
            if (text == entry.name) return entry.value;
            known += (known.empty() ? "" : ", ") + std::string(entry.name);
        }
        Fail("\"" + text + "\" is none of " + known);
    }

    template <typename T>
    T Or(const char* name, T fallback, T (Field::*read)() const) const {
        return Has(name) ? ((*this)[name].*read)() : fallback;
    }

private:
    const Json& value_;
    std::string path_;
};

// "{fmtid},pid" as the profile writes a property key.
PROPERTYKEY KeyOf(const Field& field) {
    const std::string text = field.Text();
    const size_t comma = text.rfind(',');
    if (comma == std::string::npos) field.Fail("not a key like \"{fmtid},pid\"");
    PROPERTYKEY key{};
    if (CLSIDFromString(Wide(text.substr(0, comma)).c_str(), &key.fmtid) != S_OK) field.Fail("not a GUID in braces");
    try {
        size_t used = 0;
        const unsigned long pid = std::stoul(text.substr(comma + 1), &used);
        if (used != text.size() - comma - 1 || pid > 0xFFFFFFFFul) throw std::out_of_range("pid");
        key.pid = static_cast<DWORD>(pid);
    } catch (const std::exception&) {
        field.Fail("not a key like \"{fmtid},pid\"");
    }
    return key;
}

bool SameKey(const PROPERTYKEY& a, const PROPERTYKEY& b) { return IsEqualGUID(a.fmtid, b.fmtid) && a.pid == b.pid; }

std::string KeyText(const PROPERTYKEY& key) { return GuidText(key.fmtid) + "," + std::to_string(key.pid); }

// A stored value: what a PROPVARIANT of one of the kept types holds.
struct StoredValue {
    PROPERTYKEY key{};
    VARTYPE vt = VT_EMPTY;
    std::int64_t scalar = 0;
    std::vector<std::int32_t> words;
    std::vector<BYTE> bytes;
    std::wstring text;
};

StoredValue ReadValue(const Field& field) {
    StoredValue value;
    value.key = KeyOf(field["key"]);
    const std::string type = field["type"].Text();
    const Field content = field["value"];
    if (type == "i4") {
        value.vt = VT_I4;
        value.scalar = content.Integer(INT32_MIN, INT32_MAX);
    } else if (type == "ui4") {
        value.vt = VT_UI4;
        value.scalar = content.U32();
    } else if (type == "i4vector") {
        value.vt = VT_VECTOR | VT_I4;
        for (const Field& word : content.Items()) value.words.push_back(static_cast<std::int32_t>(word.Integer(INT32_MIN, INT32_MAX)));
    } else if (type == "blob") {
        value.vt = VT_BLOB;
        value.bytes = content.HexBytes();
    } else if (type == "text") {
        value.vt = VT_LPWSTR;
        value.text = Wide(content.Text());
    } else {
        field["type"].Fail("\"" + type + "\" is none of i4, ui4, i4vector, blob, text");
    }
    return value;
}

HRESULT StoreValue(Endpoint& endpoint, StoredValue& value) {
    PROPVARIANT variant{};
    variant.vt = value.vt;
    switch (value.vt) {
        case VT_I4: variant.lVal = static_cast<LONG>(value.scalar); break;
        case VT_UI4: variant.ulVal = static_cast<ULONG>(value.scalar); break;
        case VT_VECTOR | VT_I4:
            variant.cal.cElems = static_cast<ULONG>(value.words.size());
            variant.cal.pElems = reinterpret_cast<LONG*>(value.words.data());
            break;
        case VT_BLOB:
            variant.blob.cbSize = static_cast<ULONG>(value.bytes.size());
            variant.blob.pBlobData = value.bytes.data();
            break;
        default: variant.pwszVal = value.text.data(); break;
    }
    return endpoint.SetValue(value.key, variant);  // a deep copy
}

// The value under key as the profile writes it; nothing for types a profile does not keep.
std::optional<Json> ValueJson(const PROPERTYKEY& key, const PROPVARIANT& value) {
    Json entry{{"key", KeyText(key)}};
    switch (value.vt) {
        case VT_I4: entry["type"] = "i4"; entry["value"] = value.lVal; break;
        case VT_UI4: entry["type"] = "ui4"; entry["value"] = value.ulVal; break;
        case VT_VECTOR | VT_I4: {
            Json words = Json::array();
            for (ULONG i = 0; i < value.cal.cElems; ++i) words.push_back(value.cal.pElems[i]);
            entry["type"] = "i4vector";
            entry["value"] = std::move(words);
            break;
        }
        case VT_BLOB:
            entry["type"] = "blob";
            entry["value"] = Hex(std::vector<BYTE>(value.blob.pBlobData, value.blob.pBlobData + value.blob.cbSize));
            break;
        case VT_LPWSTR:
            entry["type"] = "text";
            entry["value"] = Utf8(value.pwszVal != nullptr ? value.pwszVal : L"");
            break;
        default: return std::nullopt;
    }
    return entry;
}

struct Parameter {
    GUID module{};
    UINT32 index = 0;
    std::vector<BYTE> bytes;
};

std::vector<Parameter> ReadParameters(const Field& owner, const GUID& module) {
    std::vector<Parameter> parameters;
    if (!owner.Has("parameters")) return parameters;
    for (const Field& entry : owner["parameters"].Items()) {
        Parameter parameter{module, entry["index"].U32(), {}};
        if (entry.Has("words")) {
            for (const Field& word : entry["words"].Items()) {
                const auto value = static_cast<std::int32_t>(word.Integer(INT32_MIN, INT32_MAX));
                const auto* bytes = reinterpret_cast<const BYTE*>(&value);
                parameter.bytes.insert(parameter.bytes.end(), bytes, bytes + 4);
            }
        } else {
            parameter.bytes = entry["bytes"].HexBytes();
        }
        parameters.push_back(std::move(parameter));
    }
    return parameters;
}

Json ParameterJson(UINT32 index, const std::vector<BYTE>& bytes) {
    Json entry{{"index", index}};
    if (bytes.size() % 4 != 0) {
        entry["bytes"] = Hex(bytes);
        return entry;
    }
    Json words = Json::array();
    for (size_t at = 0; at < bytes.size(); at += 4) {
        std::int32_t word;
        std::memcpy(&word, bytes.data() + at, 4);
        words.push_back(word);
    }
    entry["words"] = std::move(words);
    return entry;
}

struct DspFailure {
    DspRequest request;
    HRESULT hr;
    int times;
};

struct DspPlan {
    DspConfig config;
    std::vector<Parameter> parameters;
    std::vector<DspFailure> failures;
    std::optional<DspMutation> mutation;
};

DspPlan ReadDsp(const Field& dsp) {
    DspPlan plan;
    plan.config.apiVersion = dsp.Or("apiVersion", UINT32{1}, &Field::U32);
    if (dsp.Has("modules")) {
        for (const Field& entry : dsp["modules"].Items()) {
            DspModule module;
            module.id = entry["id"].Guid();
            module.type = entry.Or("type", UINT32{2}, &Field::U32);
            module.name = entry.Or("name", std::string(), &Field::Text);
            module.version = entry.Or("version", std::string(), &Field::Text);
            module.enabled = entry.Or("enabled", true, &Field::Bool);
            module.instantiated = entry.Or("instantiated", true, &Field::Bool);
            plan.config.modules.push_back(module);
            for (Parameter& parameter : ReadParameters(entry, module.id)) plan.parameters.push_back(std::move(parameter));
        }
    }
    plan.config.ppApi = !plan.config.modules.empty() || !dsp.Has("amd");
    if (dsp.Has("amd")) {
        for (const Field& entry : dsp["amd"].Items()) {
            const AmdModule row{entry["id"].Guid(), entry.Or("instantiated", true, &Field::Bool)};
            plan.config.amdModules.push_back(row);
            for (Parameter& parameter : ReadParameters(entry, row.id)) plan.parameters.push_back(std::move(parameter));
        }
    }
    if (dsp.Has("failures")) {
        for (const Field& entry : dsp["failures"].Items()) {
            const int times = static_cast<int>(entry.Has("times") ? entry["times"].Integer(-1, INT32_MAX) : -1);
            plan.failures.push_back({entry["request"].OneOf(kRequests), entry["hresult"].Failure(), times});
        }
    }
    if (dsp.Has("mutation")) {
        const Field mutation = dsp["mutation"];
        plan.mutation = DspMutation{mutation.Or("seed", UINT32{1}, &Field::U32),
                                    static_cast<UINT32>(mutation["percent"].Integer(0, 100))};
    }
    return plan;
}

constexpr Named<bool> kSampleTypes[] = {{"float", true}, {"pcm", false}};

// {"sampleRate": 48000, "channels": 2, "bits": 32, "type": "float"}, each field optional.
DeviceFormat ReadFormat(const Field& field) {
    DeviceFormat format;
    if (field.Has("sampleRate")) format.sampleRate = static_cast<DWORD>(field["sampleRate"].Integer(1, 1000000));
    if (field.Has("channels")) format.channels = static_cast<WORD>(field["channels"].Integer(1, 32));
    if (field.Has("bits")) format.bits = static_cast<WORD>(field["bits"].Integer(8, 64));
    if (format.bits % 8 != 0) field["bits"].Fail("not a whole number of bytes");
    if (field.Has("type")) format.isFloat = field["type"].OneOf(kSampleTypes);
    return format;
}

struct EndpointPlan {
    EndpointConfig config;
    EndpointDescription description;
    bool isDefault = false;
    bool removed = false;
    std::vector<StoredValue> values;
    std::vector<std::pair<DWORD, std::wstring>> fx;
    std::optional<DspPlan> dsp;
};

EndpointPlan ReadEndpoint(const Field& entry) {
    EndpointPlan plan;
    plan.config.id = Wide(entry["id"].Text());
    if (plan.config.id.empty()) entry["id"].Fail("empty");
    EndpointDescription& description = plan.description;
    description.guid = Wide(entry["guid"].Text());
    GUID check;
    if (CLSIDFromString(description.guid.c_str(), &check) != S_OK) entry["guid"].Fail("not a GUID in braces");
    description.formFactor = entry.Or("formFactor", UINT32{1}, &Field::U32);
    // A friendly name given whole ("Speakers (Realtek Audio)") is kept as given, and its two
    // parts, where it has them, stand for the description and interface name left out.
    description.friendlyName = Wide(entry.Or("friendlyName", std::string(), &Field::Text));
    if (const size_t open = description.friendlyName.rfind(L" ("); open != std::wstring::npos &&
                                                                    description.friendlyName.back() == L')') {
        description.description = description.friendlyName.substr(0, open);
        description.interfaceName = description.friendlyName.substr(open + 2, description.friendlyName.size() - open - 3);
    } else if (!description.friendlyName.empty()) {
        description.description = description.friendlyName;
    }
    if (entry.Has("description")) description.description = Wide(entry["description"].Text());
    if (entry.Has("interface")) description.interfaceName = Wide(entry["interface"].Text());
    description.interfacePath = Wide(entry.Or("interfacePath", std::string(), &Field::Text));
    if (entry.Has("deviceFormat")) description.format = ReadFormat(entry["deviceFormat"]);
    if (entry.Has("flow")) plan.config.flow = entry["flow"].OneOf(kFlows);
    if (entry.Has("state")) plan.config.state = entry["state"].OneOf(kStates);
    if (entry.Has("store")) plan.config.access = entry["store"].OneOf(kAccesses);
    plan.isDefault = entry.Or("default", false, &Field::Bool);
    plan.removed = entry.Or("removed", false, &Field::Bool);
    if (entry.Has("values")) {
        for (const Field& value : entry["values"].Items()) plan.values.push_back(ReadValue(value));
    }
    if (entry.Has("fx")) {
        for (const auto& [pid, classId] : entry["fx"].Members()) {
            const auto number = pid.find_first_not_of("0123456789") == std::string::npos && !pid.empty() &&
                                        pid.size() < 10
                                    ? std::stoul(pid)
                                    : 0x100000000ul;
            if (number > 0xFFFFFFFFul) classId.Fail("not a property id");
            plan.fx.emplace_back(static_cast<DWORD>(number), Wide(classId.Text()));
        }
    }
    if (entry.Has("dsp")) plan.dsp = ReadDsp(entry["dsp"]);
    return plan;
}

struct MethodFailure {
    std::string method;
    HRESULT hr;
    int times;
};

}  // namespace

std::string Utf8(const std::wstring& text) {
    if (text.empty()) return {};
    const int length =
        WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0, nullptr, nullptr);
    std::string narrow(static_cast<size_t>(length), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), narrow.data(), length, nullptr,
                        nullptr);
    return narrow;
}


struct MachineProfile::Machine {
    Json document;
    std::vector<EndpointPlan> endpoints;
    std::vector<std::pair<std::wstring, std::wstring>> wrapper;
    std::vector<MethodFailure> failures;
    bool installed = false;
    std::vector<Endpoint*> installedEndpoints;  // by position in "endpoints"
    std::vector<Dsp*> installedDsps;            // null for an endpoint without a DSP
    std::vector<std::vector<PROPERTYKEY>> describedKeys;  // by position: what Save leaves to the fields
};

MachineProfile::MachineProfile(std::string_view json) : machine_(std::make_unique<Machine>()) {
    Machine& machine = *machine_;
    try {
        machine.document = Json::parse(json);
    } catch (const Json::parse_error& error) {
        throw ProfileError(std::string("not JSON: ") + error.what());
    }
    const Field root(machine.document, "profile");
    if (root["format"].Integer(INT32_MIN, INT32_MAX) != kFormat) {
        root["format"].Fail("format " + std::to_string(kFormat) + " is the one this build reads");
    }
    std::set<std::wstring> ids;
    const std::vector<Field> endpoints = root["endpoints"].Items();
    for (const Field& entry : endpoints) {
        machine.endpoints.push_back(ReadEndpoint(entry));
        if (!ids.insert(machine.endpoints.back().config.id).second) entry["id"].Fail("used by an earlier endpoint");
    }
    if (root.Has("wrapper")) {
        for (const auto& [name, value] : root["wrapper"].Members()) machine.wrapper.emplace_back(Wide(name), Wide(value.Text()));
    }
    if (root.Has("failures")) {
        Platform names;  // refuses the names it does not know
        for (const Field& entry : root["failures"].Items()) {
            MethodFailure failure{entry["method"].Text(), entry["hresult"].Failure(),
                                  static_cast<int>(entry.Has("times") ? entry["times"].Integer(-1, INT32_MAX) : -1)};
            try {
                names.FailMethod(failure.method, failure.hr, failure.times);
            } catch (const std::invalid_argument&) {
                entry["method"].Fail("\"" + failure.method + "\" is no method of the simulated platform");
            }
            machine.failures.push_back(failure);
        }
    }
}

MachineProfile::~MachineProfile() = default;

void MachineProfile::Install(Platform& platform, RegistryOverride& registry) {
    Machine& machine = *machine_;
    if (machine.installed) throw ProfileError("profile: installed already");
    machine.installed = true;
    for (EndpointPlan& plan : machine.endpoints) {
        Endpoint& endpoint = platform.AddEndpoint(plan.config);
        // The described keys stand in fields of their own, unless the profile stores one itself.
        std::vector<PROPERTYKEY> described = DescribeEndpoint(endpoint, plan.description);
        for (StoredValue& value : plan.values) {
            StoreValue(endpoint, value);
            std::erase_if(described, [&](const PROPERTYKEY& key) { return SameKey(key, value.key); });
        }
        machine.describedKeys.push_back(std::move(described));
        for (auto& [pid, classId] : plan.fx) {
            PROPVARIANT value{};
            value.vt = VT_LPWSTR;
            value.pwszVal = classId.data();
            endpoint.SetFxValue({kFxKeys, pid}, value);
        }
        if (plan.isDefault) {
            for (ERole role : {eConsole, eMultimedia, eCommunications}) platform.SetDefault(plan.config.flow, role, plan.config.id);
        }
        Dsp* dsp = nullptr;
        if (plan.dsp) {
            dsp = &platform.AddDsp(plan.dsp->config);
            platform.AttachDsp(endpoint, *dsp);
            for (const Parameter& parameter : plan.dsp->parameters) dsp->SetParameter(parameter.module, parameter.index, parameter.bytes);
            for (const DspFailure& failure : plan.dsp->failures) dsp->Fail(failure.request, failure.hr, failure.times);
            if (plan.dsp->mutation) dsp->Mutate(*plan.dsp->mutation);
        }
        if (plan.removed) endpoint.Remove();
        machine.installedEndpoints.push_back(&endpoint);
        machine.installedDsps.push_back(dsp);
    }
    for (const auto& [name, value] : machine.wrapper) registry.SetString(kWrapperKey, name, value);
    for (const MethodFailure& failure : machine.failures) platform.FailMethod(failure.method, failure.hr, failure.times);
}

std::string MachineProfile::Save() const {
    const Machine& machine = *machine_;
    Json document = machine.document;
    for (size_t i = 0; i < machine.installedEndpoints.size(); ++i) {
        Json& entry = document["endpoints"][i];
        const Endpoint& endpoint = *machine.installedEndpoints[i];
        Json values = Json::array();
        PROPERTYKEY key;
        for (size_t at = 0; endpoint.KeyAt(at, &key); ++at) {
            const auto& described = machine.describedKeys[i];
            if (std::any_of(described.begin(), described.end(), [&](const PROPERTYKEY& d) { return SameKey(d, key); })) {
                continue;
            }
            PROPVARIANT value{};
            if (FAILED(endpoint.GetValue(key, &value))) continue;
            if (auto json = ValueJson(key, value)) values.push_back(std::move(*json));
            PropVariantClear(&value);
        }
        entry["values"] = std::move(values);

        const Dsp* dsp = machine.installedDsps[i];
        if (dsp == nullptr) continue;
        const DspConfig config = dsp->Config();
        const auto parameters = [&](const GUID& module) {
            Json list = Json::array();
            for (const auto& [index, bytes] : dsp->Parameters(module)) list.push_back(ParameterJson(index, bytes));
            return list;
        };
        Json& dspEntry = entry["dsp"];
        for (size_t m = 0; dspEntry.contains("modules") && m < config.modules.size(); ++m) {
            dspEntry["modules"][m]["enabled"] = config.modules[m].enabled;
            dspEntry["modules"][m]["parameters"] = parameters(config.modules[m].id);
        }
        for (size_t m = 0; dspEntry.contains("amd") && m < config.amdModules.size(); ++m) {
            dspEntry["amd"][m]["parameters"] = parameters(config.amdModules[m].id);
        }
    }
    return document.dump(2) + "\n";
}

namespace {

// The name the reader's table gives a value.
template <typename T, size_t N>
const char* NameOf(const Named<T> (&names)[N], T value) {
    for (const Named<T>& entry : names) {
        if (entry.value == value) return entry.name;
    }
    throw ProfileError("profile: a value no name of the format stands for");
}

}  // namespace

struct ProfileWriter::Document {
    Json root{{"format", kFormat}, {"wrapper", Json::object()}, {"endpoints", Json::array()}};
    Json& Last() {
        if (root["endpoints"].empty()) throw ProfileError("profile: no endpoint added yet");
        return root["endpoints"].back();
    }
};

ProfileWriter::ProfileWriter() : document_(std::make_unique<Document>()) {}
ProfileWriter::~ProfileWriter() = default;

void ProfileWriter::Wrapper(const std::wstring& name, const std::wstring& value) {
    document_->root["wrapper"][Utf8(name)] = Utf8(value);
}

void ProfileWriter::AddEndpoint(const EndpointFields& fields) {
    Json entry{{"id", Utf8(fields.id)}, {"guid", Utf8(fields.guid)}};
    if (!fields.description.empty()) entry["description"] = Utf8(fields.description);
    if (!fields.interfaceName.empty()) entry["interface"] = Utf8(fields.interfaceName);
    entry["formFactor"] = fields.formFactor;
    entry["flow"] = NameOf(kFlows, fields.flow);
    entry["state"] = NameOf(kStates, fields.state);
    entry["default"] = fields.isDefault;
    entry["store"] = fields.store;
    entry["fx"] = Json::object();
    entry["values"] = Json::array();
    document_->root["endpoints"].push_back(std::move(entry));
}

bool ProfileWriter::Value(const PROPERTYKEY& key, const PROPVARIANT& value) {
    std::optional<Json> json = ValueJson(key, value);
    if (json) document_->Last()["values"].push_back(std::move(*json));
    return json.has_value();
}

void ProfileWriter::Fx(DWORD pid, const std::wstring& classId) { document_->Last()["fx"][std::to_string(pid)] = Utf8(classId); }

void ProfileWriter::Module(const ModuleFields& module) {
    Json& dsp = document_->Last()["dsp"];
    Json entry{{"id", GuidText(module.id)}};
    if (!module.amd) {
        entry["type"] = module.type;
        entry["name"] = module.name;
        entry["version"] = module.version;
        entry["enabled"] = module.enabled;
    }
    Json parameters = Json::array();
    for (const auto& [index, bytes] : module.parameters) parameters.push_back(ParameterJson(index, bytes));
    entry["parameters"] = std::move(parameters);
    dsp[module.amd ? "amd" : "modules"].push_back(std::move(entry));
}

std::string ProfileWriter::Text() const { return document_->root.dump(2) + "\n"; }

}  // namespace sim
