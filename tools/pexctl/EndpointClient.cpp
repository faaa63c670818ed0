#include "EndpointClient.h"

#include <fmt/format.h>

#include "core/ParameterFamily.h"

namespace pexctl {
namespace {

using kelix::ParameterDescription;
using kelix::ValueKind;

constexpr HRESULT kNotFound = static_cast<HRESULT>(0x80070490);  // HRESULT_FROM_WIN32(ERROR_NOT_FOUND)

// What a failure means, in words, where it is known.
std::string Cause(const Session& session, const ParameterDescription& parameter, UINT32 route, bool write,
                  HRESULT hr, ScalarType type) {
    if (hr == static_cast<HRESULT>(0x88890004)) return "the device was removed";  // AUDCLNT_E_DEVICE_INVALIDATED
    if (route == KELIX_ROUTE_DSP) {
        if ((hr == E_INVALIDARG || hr == E_FAIL) && (kelix::IsPexId(parameter.id) || kelix::IsKreloId(parameter.id)) &&
            !FamilyOnDsp(session.Handle(), parameter.id)) {
            return "the " + FamilyName(parameter.id) + " family is not on this endpoint's DSP";
        }
        return "";
    }
    if (!write && hr == E_FAIL) return "the endpoint holds no value for it";
    if (write && session.ReadOnlyStore()) return "the endpoint's property store was opened read-only";
    if (write && hr == E_INVALIDARG && parameter.kind == ValueKind::Scalar && type != ScalarType::UI4) {
        return "the store refused the value's type; some stores take only --type ui4";
    }
    return "";
}

}  // namespace

std::string RouteName(UINT32 route) { return route == KELIX_ROUTE_DSP ? "dsp" : "store"; }
Route ToRoute(UINT32 route) { return route == KELIX_ROUTE_DSP ? Route::Dsp : Route::Store; }
UINT32 ToFlags(Route route) { return route == Route::Dsp ? KELIX_ROUTE_DSP : KELIX_ROUTE_PROPERTY_STORE; }
std::string FamilyName(kelix::ParameterId id) { return kelix::IsPexId(id) ? "PEX" : "KRELO"; }

const ParameterDescription* FindByText(const std::string& text) {
    std::string ignored;
    if (const auto id = ParseInteger(text, INT32_MIN, INT32_MAX, ignored)) {
        return kelix::FindParameter(static_cast<kelix::ParameterId>(*id));
    }
    return kelix::FindParameter(text);
}

ScalarType TypeOf(const std::string& type) {
    return type == "i4" ? ScalarType::I4 : type == "ui4" ? ScalarType::UI4 : ScalarType::Default;
}

std::vector<UINT32> Routes(const std::string& route, const ParameterDescription& parameter, std::string& error) {
    const std::string only = parameter.store ? "the store route only; use --route store"
                                             : "the DSP route only; use --route dsp";
    if (route.empty()) return {parameter.store ? KELIX_ROUTE_PROPERTY_STORE : KELIX_ROUTE_DSP};
    const bool store = route != "dsp";
    const bool dsp = route != "store";
    if ((store && !parameter.store) || (dsp && !parameter.dsp)) {
        error = parameter.name + " is served by " + only;
        return {};
    }
    std::vector<UINT32> routes;
    if (store) routes.push_back(KELIX_ROUTE_PROPERTY_STORE);
    if (dsp) routes.push_back(KELIX_ROUTE_DSP);
    return routes;
}

void EndpointClient::ReportFailure(const ParameterDescription& parameter, UINT32 route, bool write, HRESULT hr) {
    const std::string cause = Cause(session_, parameter, route, write, hr, TypeOf(options_.type));
    out_->Failure(parameter.name, RouteName(route), hr,
                  fmt::format("{} {} on the {} route failed: {}{}", write ? "writing" : "reading", parameter.name,
                              RouteName(route), HResultText(hr), cause.empty() ? "" : " (" + cause + ")"));
}

std::optional<int> EndpointClient::Open() {
    const EndpointList list = ListEndpoints(false);
    if (FAILED(list.hr)) {
        out_->Failure("", "", list.hr, "listing the render endpoints failed: " + HResultText(list.hr));
        return out_->Finish(Json::object());
    }
    const std::string selector = options_.device.empty() ? "default" : options_.device;
    if (selector == "default" && FAILED(list.defaultHr)) {
        out_->Failure("", "", list.defaultHr,
                      list.defaultHr == kNotFound
                          ? "no active render endpoint (the default-endpoint lookup answered " +
                                HResultText(list.defaultHr) + ")"
                          : "the default render endpoint cannot be found: " + HResultText(list.defaultHr));
        return out_->Finish(Json::object());
    }
    const Selection selection = SelectEndpoint(list.endpoints, selector);
    if (selection.endpoint == nullptr) return out_->Usage(selection.error);
    endpoint_ = *selection.endpoint;
    const HRESULT hr = session_.Open(endpoint_.id);
    if (FAILED(hr)) {
        out_->Failure("", "", hr,
                      fmt::format("opening {} ({}) failed: {}", Utf16ToUtf8(endpoint_.name), Utf16ToUtf8(endpoint_.id),
                                  HResultText(hr)));
        return out_->Finish(Json::object());
    }
    return std::nullopt;
}

Json EndpointClient::Get(const ParameterDescription& parameter, const std::vector<UINT32>& routes) {
    Json result = {{"id", parameter.id}, {"name", parameter.name}};
    for (const UINT32 route : routes) {
        const ReadResult read = Read(session_.Handle(), parameter, route);
        if (FAILED(read.hr)) {
            ReportFailure(parameter, route, false, read.hr);
            continue;
        }
        out_->Success();
        const Json value = ValueToJson(parameter, read.bytes, TypeOf(options_.type) == ScalarType::UI4);
        result[RouteName(route)] = value;
        const std::string label = parameter.name + (routes.size() > 1 ? " (" + RouteName(route) + ")" : "");
        const std::vector<std::string> lines = ValueToLines(parameter, value);
        if (parameter.kind != ValueKind::Structure) {
            out_->Line(label + " = " + lines.front());
        } else {
            out_->Line(label + ":");
            for (const std::string& line : lines) out_->Line("  " + line);
        }
    }
    return result;
}

Json EndpointClient::Set(const ParameterDescription& parameter, const std::vector<UINT32>& routes,
                         const std::vector<std::uint8_t>& bytes) {
    Json result = {{"id", parameter.id}, {"name", parameter.name},
                   {"value", ValueToJson(parameter, bytes, TypeOf(options_.type) == ScalarType::UI4)}};
    Json written = Json::array();
    for (const UINT32 route : routes) {
        std::string outcome;
        if (Write(parameter, route, bytes, outcome)) {
            written.push_back(RouteName(route));
            out_->Line(fmt::format("{} written ({})", parameter.name, RouteName(route)));
        }
    }
    result["written"] = written;
    return result;
}

void EndpointClient::ReadAll(const std::vector<UINT32>& routes,
                             const std::function<void(const ParameterDescription&, UINT32, const Json&)>& visit) {
    for (const UINT32 route : routes) {
        std::optional<bool> pex, krelo;  // family on the DSP, learnt on first use
        for (const ParameterDescription& parameter : kelix::ParameterModel()) {
            if (!parameter.Readable() || !(route == KELIX_ROUTE_DSP ? parameter.dsp : parameter.store)) continue;
            if (route == KELIX_ROUTE_DSP) {
                std::optional<bool>& family = kelix::IsPexId(parameter.id) ? pex : krelo;
                if (!family) {
                    family = FamilyOnDsp(session_.Handle(), parameter.id);
                    if (!*family) {
                        (kelix::IsPexId(parameter.id) ? pexSkipped_ : kreloSkipped_) = true;
                        out_->Skipped("dsp", FamilyName(parameter.id),
                                      "the " + FamilyName(parameter.id) +
                                          " family is not on this endpoint's DSP: its DSP parameters are skipped");
                    }
                }
                if (!*family) continue;
            }
            const ReadResult read = Read(session_.Handle(), parameter, route);
            if (SUCCEEDED(read.hr)) {
                visit(parameter, route, ValueToJson(parameter, read.bytes, TypeOf(options_.type) == ScalarType::UI4));
                out_->Success();
            } else if (route == KELIX_ROUTE_PROPERTY_STORE && read.hr == E_FAIL) {
                visit(parameter, route, nullptr);  // no value stored: a state, not a failure
                out_->Success();
            } else {
                ReportFailure(parameter, route, false, read.hr);
            }
        }
    }
}

Json EndpointClient::Dump(const std::vector<UINT32>& routes) {
    Json result = {{"device", {{"id", Utf16ToUtf8(endpoint_.id)}, {"name", Utf16ToUtf8(endpoint_.name)}}}};
    for (const UINT32 route : routes) result[RouteName(route)] = Json::object();
    ReadAll(routes, [&](const ParameterDescription& parameter, UINT32 route, const Json& value) {
        result[RouteName(route)][parameter.name] = value;
        const std::string text =
            value.is_string() ? value.get<std::string>() : value.is_null() ? "(no value)" : value.dump();
        out_->Line(fmt::format("{:>5} {:<5} {:<46} {}", parameter.id, RouteName(route), parameter.name, text));
    });
    return result;
}

Snapshot EndpointClient::Collect(const std::vector<UINT32>& routes, int& absent) {
    Snapshot snapshot;
    snapshot.endpoint = {Utf16ToUtf8(endpoint_.id), Utf16ToUtf8(endpoint_.name), endpoint_.formFactor,
                         endpoint_.pexVersion, endpoint_.kreloVersion};
    SYSTEMTIME now;
    GetSystemTime(&now);
    snapshot.saved = fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}Z", now.wYear, now.wMonth, now.wDay, now.wHour,
                                 now.wMinute, now.wSecond);
    for (const UINT32 route : routes) snapshot.routes.push_back(ToRoute(route));
    for (const auto& [id, version] : {std::pair{kelix::kPexVersionId, &snapshot.endpoint.pexVersion},
                                      std::pair{kelix::kKreloVersionId, &snapshot.endpoint.kreloVersion}}) {
        const ParameterDescription& parameter = *kelix::FindParameter(id);
        const ReadResult read = Read(session_.Handle(), parameter, KELIX_ROUTE_PROPERTY_STORE);
        if (SUCCEEDED(read.hr)) *version = ValueToJson(parameter, read.bytes).get<std::string>();
    }
    absent = 0;
    ReadAll(routes, [&](const ParameterDescription& parameter, UINT32 route, const Json& value) {
        if (value.is_null()) {
            ++absent;
            return;
        }
        snapshot.entries.push_back({&parameter, ToRoute(route), value, {}});
    });
    return snapshot;
}

bool EndpointClient::Write(const ParameterDescription& parameter, UINT32 route, const std::vector<std::uint8_t>& bytes,
                           std::string& result) {
    bool cleared = false;
    const HRESULT hr = route == KELIX_ROUTE_DSP
                           ? WriteDsp(session_.Handle(), parameter, bytes)
                           : WriteStore(session_.Handle(), parameter, bytes, TypeOf(options_.type), cleared);
    if (FAILED(hr)) {
        ReportFailure(parameter, route, true, hr);
        result = HResultText(hr);
        return false;
    }
    if (cleared) {
        out_->Failure(parameter.name, RouteName(route), hr,
                      "writing " + parameter.name + " on the store route cleared it: the value is too large");
        result = "cleared";
        return false;
    }
    out_->Success();
    result = "written";
    return true;
}

Json EndpointClient::Modules() {
    Json modules = Json::array();
    const struct {
        kelix::ParameterId version, name, id, type;
    } families[] = {{kelix::kPexVersionId, 1007, 1006, 1008}, {kelix::kKreloVersionId, 2005, 2004, 2006}};
    for (const auto& family : families) {
        const kelix::ParameterId version = family.version;
        Json module = {{"family", FamilyName(version)}};
        const auto read = [&](kelix::ParameterId id) {
            const ParameterDescription& parameter = *kelix::FindParameter(id);
            const ReadResult result = Read(session_.Handle(), parameter, KELIX_ROUTE_DSP);
            return SUCCEEDED(result.hr) ? ValueToJson(parameter, result.bytes) : Json();
        };
        module["present"] = FamilyOnDsp(session_.Handle(), version);
        if (module["present"]) {
            module["version"] = read(version);
            module["name"] = read(family.name);
            module["id"] = read(family.id);
            module["type"] = read(family.type);
            out_->Line(fmt::format("{:<6} {:<12} {:<10} {} type {}", FamilyName(version),
                                   module["version"].is_string() ? module["version"].get<std::string>() : "?",
                                   module["name"].is_string() ? module["name"].get<std::string>() : "?",
                                   module["id"].is_string() ? module["id"].get<std::string>() : "?",
                                   module["type"].dump()));
        } else {
            out_->Line(fmt::format("{:<6} (no module on this endpoint's DSP)", FamilyName(version)));
        }
        modules.push_back(std::move(module));
    }
    out_->Success();
    return {{"modules", modules}};
}

}  // namespace pexctl
