// pexctl: command-line client of Kelix3PexControl.dll. `pexctl --help` lists
// the commands, options and exit codes.
#include <windows.h>
#include <fcntl.h>
#include <io.h>
#include <mmdeviceapi.h>

#include <cstdio>
#include <fstream>
#include <functional>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "Kelix3PexControl.h"
#include "Platform.h"
#include "Report.h"
#include "SimulatedDevice.h"
#include "Snapshot.h"
#include "Values.h"
#include "core/ParameterFamily.h"
#include "core/ParameterReference.h"
#include "sim/MachineProfile.h"

namespace pexctl {
namespace {

using kelix::ParameterDescription;
using kelix::ValueKind;

constexpr int kExitSuccess = 0;
constexpr int kExitFailed = 1;
constexpr int kExitUsage = 2;
constexpr int kExitPartial = 3;
constexpr HRESULT kNotFound = static_cast<HRESULT>(0x80070490);  // HRESULT_FROM_WIN32(ERROR_NOT_FOUND)

constexpr const char* kExitCodes =
    "Exit codes:\n"
    "  0  success\n"
    "  1  a platform call failed (the error names the parameter, the route, the HRESULT and its text)\n"
    "  2  usage: a bad command, option, parameter, value, device, snapshot or machine profile\n"
    "  3  partial: some parameters of a dump or save, one route of a both-routes read or write, some writes of an\n"
    "     apply, or some demo steps failed\n"
    "With --json, failures come as {\"errors\": [{\"route\", \"hresult\", \"message\"}]} on standard output.\n";

constexpr const char* kBuiltInMachine = "*";  // --simulate without a profile

struct Options {
    std::string simulate;  // empty: the system's endpoints; kBuiltInMachine, or a profile's path
    bool noSave = false;
    bool json = false;
    std::string device;
    std::string route;  // empty: the parameter's own route (the store when it has one)
    std::string type;
    int trace = 0;
    std::string parameter;
    std::string value;
    bool markdown = false;
    std::string file;     // save, diff, apply: the snapshot; report: the page
    bool dryRun = false;  // apply
    std::string from, compare;  // report: snapshots to draw instead of the endpoint, and beside it
};

void Write(FILE* stream, const std::string& text) {
    std::fwrite(text.data(), 1, text.size(), stream);
    std::fflush(stream);
}

std::string RouteName(UINT32 route) { return route == KELIX_ROUTE_DSP ? "dsp" : "store"; }
Route ToRoute(UINT32 route) { return route == KELIX_ROUTE_DSP ? Route::Dsp : Route::Store; }
UINT32 ToFlags(Route route) { return route == Route::Dsp ? KELIX_ROUTE_DSP : KELIX_ROUTE_PROPERTY_STORE; }

// Text lines as they come, or one JSON document at the end; failures counted.
class Output {
public:
    explicit Output(bool json) : json_(json) {}
    bool Json() const { return json_; }

    void Line(const std::string& text) {
        if (!json_) Write(stdout, text + "\n");
    }
    void Success() { ++successes_; }
    void Failure(const std::string& parameter, const std::string& route, std::optional<HRESULT> hr,
                 const std::string& message) {
        ++failures_;
        pexctl::Json error = {{"route", route.empty() ? pexctl::Json() : pexctl::Json(route)},
                              {"hresult", hr ? pexctl::Json(fmt::format("0x{:08X}", static_cast<std::uint32_t>(*hr)))
                                             : pexctl::Json()},
                              {"message", message}};
        if (!parameter.empty()) error["parameter"] = parameter;
        if (json_) {
            errors_.push_back(std::move(error));
        } else {
            Write(stderr, "pexctl: " + message + "\n");
        }
    }
    int Usage(const std::string& message) {
        Failure("", "", std::nullopt, message);
        Finish(pexctl::Json::object());
        return kExitUsage;
    }
    // Prints the document (JSON mode) and gives the exit code of what happened.
    int Finish(pexctl::Json document) {
        if (json_) {
            if (!errors_.empty()) document["errors"] = errors_;
            Write(stdout, document.dump(2) + "\n");
        }
        if (failures_ == 0) return kExitSuccess;
        return successes_ > 0 ? kExitPartial : kExitFailed;
    }

private:
    bool json_;
    int successes_ = 0;
    int failures_ = 0;
    pexctl::Json errors_ = pexctl::Json::array();
};

std::string FamilyName(kelix::ParameterId id) { return kelix::IsPexId(id) ? "PEX" : "KRELO"; }

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

void ReportFailure(Output& out, const Session& session, const ParameterDescription& parameter, UINT32 route,
                   bool write, HRESULT hr, ScalarType type) {
    const std::string cause = Cause(session, parameter, route, write, hr, type);
    out.Failure(parameter.name, RouteName(route), hr,
                fmt::format("{} {} on the {} route failed: {}{}", write ? "writing" : "reading", parameter.name,
                            RouteName(route), HResultText(hr), cause.empty() ? "" : " (" + cause + ")"));
}

// The routes to use for a parameter, or an error in words.
std::vector<UINT32> Routes(const Options& options, const ParameterDescription& parameter, std::string& error) {
    const std::string only = parameter.store ? "the store route only; use --route store"
                                             : "the DSP route only; use --route dsp";
    if (options.route.empty()) return {parameter.store ? KELIX_ROUTE_PROPERTY_STORE : KELIX_ROUTE_DSP};
    const bool store = options.route != "dsp";
    const bool dsp = options.route != "store";
    if ((store && !parameter.store) || (dsp && !parameter.dsp)) {
        error = parameter.name + " is served by " + only;
        return {};
    }
    std::vector<UINT32> routes;
    if (store) routes.push_back(KELIX_ROUTE_PROPERTY_STORE);
    if (dsp) routes.push_back(KELIX_ROUTE_DSP);
    return routes;
}

const ParameterDescription* FindByText(const std::string& text) {
    std::string ignored;
    if (const auto id = ParseInteger(text, INT32_MIN, INT32_MAX, ignored)) {
        return kelix::FindParameter(static_cast<kelix::ParameterId>(*id));
    }
    return kelix::FindParameter(text);
}

ScalarType TypeOf(const Options& options) {
    return options.type == "i4" ? ScalarType::I4 : options.type == "ui4" ? ScalarType::UI4 : ScalarType::Default;
}

class Command {
public:
    Command(const Options& options, Output& out) : options_(options), out_(out) {}

    // Picks the endpoint and opens it; an exit code when that fails.
    std::optional<int> Open() {
        const EndpointList list = ListEndpoints(false);
        if (FAILED(list.hr)) {
            out_.Failure("", "", list.hr, "listing the render endpoints failed: " + HResultText(list.hr));
            return out_.Finish(pexctl::Json::object());
        }
        const std::string selector = options_.device.empty() ? "default" : options_.device;
        if (selector == "default" && FAILED(list.defaultHr)) {
            out_.Failure("", "", list.defaultHr,
                         list.defaultHr == kNotFound
                             ? "no active render endpoint (the default-endpoint lookup answered " +
                                   HResultText(list.defaultHr) + ")"
                             : "the default render endpoint cannot be found: " + HResultText(list.defaultHr));
            return out_.Finish(pexctl::Json::object());
        }
        const Selection selection = SelectEndpoint(list.endpoints, selector);
        if (selection.endpoint == nullptr) return out_.Usage(selection.error);
        endpoint_ = *selection.endpoint;
        const HRESULT hr = session_.Open(endpoint_.id);
        if (FAILED(hr)) {
            out_.Failure("", "", hr,
                         fmt::format("opening {} ({}) failed: {}", Utf16ToUtf8(endpoint_.name), Utf16ToUtf8(endpoint_.id),
                                     HResultText(hr)));
            return out_.Finish(pexctl::Json::object());
        }
        return std::nullopt;
    }

    // Reads one parameter on its routes; the value by route.
    pexctl::Json Get(const ParameterDescription& parameter, const std::vector<UINT32>& routes) {
        pexctl::Json result = {{"id", parameter.id}, {"name", parameter.name}};
        for (const UINT32 route : routes) {
            const ReadResult read = Read(session_.Handle(), parameter, route);
            if (FAILED(read.hr)) {
                ReportFailure(out_, session_, parameter, route, false, read.hr, TypeOf(options_));
                continue;
            }
            out_.Success();
            const pexctl::Json value = ValueToJson(parameter, read.bytes, TypeOf(options_) == ScalarType::UI4);
            result[RouteName(route)] = value;
            const std::string label = parameter.name + (routes.size() > 1 ? " (" + RouteName(route) + ")" : "");
            const std::vector<std::string> lines = ValueToLines(parameter, value);
            if (parameter.kind != ValueKind::Structure) {
                out_.Line(label + " = " + lines.front());
            } else {
                out_.Line(label + ":");
                for (const std::string& line : lines) out_.Line("  " + line);
            }
        }
        return result;
    }

    pexctl::Json Set(const ParameterDescription& parameter, const std::vector<UINT32>& routes,
                     const std::vector<std::uint8_t>& bytes) {
        pexctl::Json result = {{"id", parameter.id}, {"name", parameter.name},
                               {"value", ValueToJson(parameter, bytes, TypeOf(options_) == ScalarType::UI4)}};
        pexctl::Json written = pexctl::Json::array();
        for (const UINT32 route : routes) {
            std::string outcome;
            if (Write(parameter, route, bytes, outcome)) {
                written.push_back(RouteName(route));
                out_.Line(fmt::format("{} written ({})", parameter.name, RouteName(route)));
            }
        }
        result["written"] = written;
        return result;
    }

    // Reads every readable parameter of the routes, in id order, and hands each
    // value to `visit` (null: the store holds no value for it). Failed reads
    // and a family missing from the DSP are reported.
    void ReadAll(const std::vector<UINT32>& routes,
                 const std::function<void(const ParameterDescription&, UINT32, const pexctl::Json&)>& visit) {
        for (const UINT32 route : routes) {
            std::optional<bool> pex, krelo;  // family on the DSP, learnt on first use
            for (const ParameterDescription& parameter : kelix::ParameterModel()) {
                if (!parameter.Readable() || !(route == KELIX_ROUTE_DSP ? parameter.dsp : parameter.store)) continue;
                if (route == KELIX_ROUTE_DSP) {
                    std::optional<bool>& family = kelix::IsPexId(parameter.id) ? pex : krelo;
                    if (!family) {
                        family = FamilyOnDsp(session_.Handle(), parameter.id);
                        if (!*family) {
                            out_.Failure("", "dsp", std::nullopt,
                                         "the " + FamilyName(parameter.id) +
                                             " family is not on this endpoint's DSP: its parameters are not read");
                        }
                    }
                    if (!*family) continue;
                }
                const ReadResult read = Read(session_.Handle(), parameter, route);
                if (SUCCEEDED(read.hr)) {
                    visit(parameter, route, ValueToJson(parameter, read.bytes, TypeOf(options_) == ScalarType::UI4));
                    out_.Success();
                } else if (route == KELIX_ROUTE_PROPERTY_STORE && read.hr == E_FAIL) {
                    visit(parameter, route, nullptr);  // no value stored: a state, not a failure
                    out_.Success();
                } else {
                    ReportFailure(out_, session_, parameter, route, false, read.hr, ScalarType::Default);
                }
            }
        }
    }

    pexctl::Json Dump(const std::vector<UINT32>& routes) {
        pexctl::Json result = {{"device", {{"id", Utf16ToUtf8(endpoint_.id)}, {"name", Utf16ToUtf8(endpoint_.name)}}}};
        for (const UINT32 route : routes) result[RouteName(route)] = pexctl::Json::object();
        ReadAll(routes, [&](const ParameterDescription& parameter, UINT32 route, const pexctl::Json& value) {
            result[RouteName(route)][parameter.name] = value;
            const std::string text =
                value.is_string() ? value.get<std::string>() : value.is_null() ? "(no value)" : value.dump();
            out_.Line(fmt::format("{:>5} {:<5} {:<46} {}", parameter.id, RouteName(route), parameter.name, text));
        });
        return result;
    }

    // The endpoint's values on the routes as a snapshot; values the store
    // does not hold are left out and counted in `absent`.
    Snapshot Collect(const std::vector<UINT32>& routes, int& absent) {
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
        ReadAll(routes, [&](const ParameterDescription& parameter, UINT32 route, const pexctl::Json& value) {
            if (value.is_null()) {
                ++absent;
                return;
            }
            snapshot.entries.push_back({&parameter, ToRoute(route), value, {}});
        });
        return snapshot;
    }

    // One write of a value already checked against its layout; whether it succeeded.
    bool Write(const ParameterDescription& parameter, UINT32 route, const std::vector<std::uint8_t>& bytes,
               std::string& result) {
        bool cleared = false;
        const HRESULT hr = route == KELIX_ROUTE_DSP ? WriteDsp(session_.Handle(), parameter, bytes)
                                                    : WriteStore(session_.Handle(), parameter, bytes, TypeOf(options_), cleared);
        if (FAILED(hr)) {
            ReportFailure(out_, session_, parameter, route, true, hr, TypeOf(options_));
            result = HResultText(hr);
            return false;
        }
        if (cleared) {
            out_.Failure(parameter.name, RouteName(route), hr,
                         "writing " + parameter.name + " on the store route cleared it: the value is too large");
            result = "cleared";
            return false;
        }
        out_.Success();
        result = "written";
        return true;
    }

    pexctl::Json Modules() {
        pexctl::Json modules = pexctl::Json::array();
        const struct {
            kelix::ParameterId version, name, id, type;
        } families[] = {{kelix::kPexVersionId, 1007, 1006, 1008}, {kelix::kKreloVersionId, 2005, 2004, 2006}};
        for (const auto& family : families) {
            const kelix::ParameterId version = family.version;
            pexctl::Json module = {{"family", FamilyName(version)}};
            const auto read = [&](kelix::ParameterId id) {
                const ParameterDescription& parameter = *kelix::FindParameter(id);
                const ReadResult result = Read(session_.Handle(), parameter, KELIX_ROUTE_DSP);
                return SUCCEEDED(result.hr) ? ValueToJson(parameter, result.bytes) : pexctl::Json();
            };
            module["present"] = FamilyOnDsp(session_.Handle(), version);
            if (module["present"]) {
                module["version"] = read(version);
                module["name"] = read(family.name);
                module["id"] = read(family.id);
                module["type"] = read(family.type);
                out_.Line(fmt::format("{:<6} {:<12} {:<10} {} type {}", FamilyName(version),
                                      module["version"].is_string() ? module["version"].get<std::string>() : "?",
                                      module["name"].is_string() ? module["name"].get<std::string>() : "?",
                                      module["id"].is_string() ? module["id"].get<std::string>() : "?",
                                      module["type"].dump()));
            } else {
                out_.Line(fmt::format("{:<6} (no module on this endpoint's DSP)", FamilyName(version)));
            }
            modules.push_back(std::move(module));
        }
        out_.Success();
        return {{"modules", modules}};
    }

    HRESULT Close() { return session_.Close(); }
    const Endpoint& Opened() const { return endpoint_; }

private:
    const Options& options_;
    Output& out_;
    Session session_;
    Endpoint endpoint_;
};

std::optional<std::string> ReadValueText(const std::string& text, std::string& error) {
    if (!text.starts_with('@')) return text;
    const std::wstring path = ToWide(Utf8ToUtf16(text.substr(1)));
    std::ifstream file(path.c_str(), std::ios::binary);
    std::stringstream content;
    if (file) content << file.rdbuf();
    if (!file) {
        error = "cannot read the value file \"" + text.substr(1) + "\"";
        return std::nullopt;
    }
    std::string value = content.str();
    if (value.starts_with("\xEF\xBB\xBF")) value.erase(0, 3);
    while (!value.empty() && (value.back() == '\n' || value.back() == '\r' || value.back() == ' ')) value.pop_back();
    return value;
}

int RunList(Output& out) {
    const EndpointList list = ListEndpoints(true);
    if (FAILED(list.hr)) {
        out.Failure("", "", list.hr, "listing the render endpoints failed: " + HResultText(list.hr));
        return out.Finish(pexctl::Json::object());
    }
    pexctl::Json endpoints = pexctl::Json::array();
    if (list.endpoints.empty()) out.Line("no render endpoints");
    for (const Endpoint& endpoint : list.endpoints) {
        endpoints.push_back({{"index", endpoint.index},
                             {"default", endpoint.isDefault},
                             {"name", Utf16ToUtf8(endpoint.name)},
                             {"id", Utf16ToUtf8(endpoint.id)},
                             {"formFactor", endpoint.formFactor},
                             {"formFactorName", FormFactorText(endpoint.formFactor)},
                             {"state", StateText(endpoint.state)},
                             {"pexVersion", endpoint.pexVersion},
                             {"kreloVersion", endpoint.kreloVersion}});
        out.Line(fmt::format("{:>2} {} {}", endpoint.index, endpoint.isDefault ? "*" : " ", Utf16ToUtf8(endpoint.name)));
        out.Line(fmt::format("     {}, {}, PEX {}, KRELO {}", FormFactorText(endpoint.formFactor),
                             StateText(endpoint.state), endpoint.pexVersion.empty() ? "-" : endpoint.pexVersion,
                             endpoint.kreloVersion.empty() ? "-" : endpoint.kreloVersion));
        out.Line("     " + Utf16ToUtf8(endpoint.id));
    }
    out.Success();
    return out.Finish({{"endpoints", endpoints}});
}

int RunParams(const Options& options, Output& out) {
    if (options.markdown) {
        Write(stdout, kelix::ParameterReferenceMarkdown());
        return kExitSuccess;
    }
    pexctl::Json parameters = pexctl::Json::array();
    for (const ParameterDescription& parameter : kelix::ParameterModel()) {
        const std::string kind = parameter.kind == ValueKind::Scalar      ? "scalar"
                                 : parameter.kind == ValueKind::Structure ? "structure"
                                                                          : "text";
        const std::string routes = parameter.store && parameter.dsp ? "store, dsp" : parameter.store ? "store" : "dsp";
        pexctl::Json entry = {{"id", parameter.id},       {"name", parameter.name},
                              {"kind", kind},             {"structure", kelix::StructureText(parameter)},
                              {"size", kelix::StructureSizeText(parameter)},
                              {"store", parameter.store}, {"dsp", parameter.dsp},
                              {"readable", parameter.Readable()}, {"writable", parameter.Writable()}};
        if (parameter.dspIndex) entry["dspIndex"] = *parameter.dspIndex;
        if (!parameter.dspName.empty()) entry["dspName"] = parameter.dspName;
        parameters.push_back(std::move(entry));
        out.Line(fmt::format("{:>5}  {:<46} {:<10} {:<11} {}", parameter.id, parameter.name, kind, routes,
                             kelix::StructureText(parameter)));
    }
    out.Success();
    return out.Finish({{"parameters", parameters}});
}

int RunOnEndpoint(const std::string& verb, const Options& options, Output& out) {
    // Parameter and value are checked before anything is opened.
    const ParameterDescription* parameter = nullptr;
    std::vector<UINT32> routes;
    std::vector<std::uint8_t> value;
    if (verb == "get" || verb == "set") {
        parameter = FindByText(options.parameter);
        if (parameter == nullptr) {
            return out.Usage("unknown parameter \"" + options.parameter + "\"; `pexctl params` lists them");
        }
        std::string error;
        routes = Routes(options, *parameter, error);
        if (routes.empty()) return out.Usage(error);
        if (verb == "get" && !parameter->Readable()) return out.Usage(parameter->name + " cannot be read");
        if (verb == "set") {
            if (!parameter->Writable()) return out.Usage(parameter->name + " is read-only");
            if (!options.type.empty() && parameter->kind != ValueKind::Scalar) {
                return out.Usage("--type applies to scalar values; " + parameter->name + " is a structure");
            }
            const std::optional<std::string> text = ReadValueText(options.value, error);
            if (!text) return out.Usage(error);
            ParsedValue parsed = ParseValue(*parameter, *text, TypeOf(options));
            if (!parsed.error.empty()) return out.Usage(parsed.error);
            const auto need = kelix::StructureSize(*parameter, parsed.bytes.data(),
                                                   static_cast<std::uint32_t>(parsed.bytes.size()));
            if (!need || *need != parsed.bytes.size()) {
                return out.Usage(fmt::format("{}: the value has {} bytes, its layout needs {}", parameter->name,
                                             parsed.bytes.size(), need ? std::to_string(*need) : "another count"));
            }
            value = std::move(parsed.bytes);
        }
    }
    if ((verb == "dump") && options.route == "both") routes = {KELIX_ROUTE_PROPERTY_STORE, KELIX_ROUTE_DSP};
    if (verb == "dump" && routes.empty()) {
        routes = {options.route == "dsp" ? KELIX_ROUTE_DSP : KELIX_ROUTE_PROPERTY_STORE};
    }

    Command command(options, out);
    if (const std::optional<int> failed = command.Open()) return *failed;
    if (verb == "get") return out.Finish(command.Get(*parameter, routes));
    if (verb == "set") return out.Finish(command.Set(*parameter, routes, value));
    if (verb == "dump") return out.Finish(command.Dump(routes));
    if (verb == "modules") return out.Finish(command.Modules());

    // demo: a short session on the opened endpoint; every step runs and reports.
    out.Line("Opened " + Utf16ToUtf8(command.Opened().name) + " " + Utf16ToUtf8(command.Opened().id));
    pexctl::Json steps = pexctl::Json::array();
    pexctl::Json bands = {{"count", 2}, {"a", pexctl::Json::array()}, {"b", pexctl::Json::array()}};
    for (int i = 0; i < 20; ++i) {
        bands["a"].push_back(100 + i * 10);
        bands["b"].push_back(-i - 20);
    }
    const struct {
        const char* parameter;
        pexctl::Json value;  // null: a read
        UINT32 route;
    } script[] = {
        {"pex_postgain", -6, KELIX_ROUTE_PROPERTY_STORE},   {"pex_postgain", nullptr, KELIX_ROUTE_PROPERTY_STORE},
        {"pex_bypass", 0, KELIX_ROUTE_PROPERTY_STORE},      {"pex_bypass", nullptr, KELIX_ROUTE_PROPERTY_STORE},
        {"krelo_post_gain", 3, KELIX_ROUTE_PROPERTY_STORE}, {"krelo_post_gain", nullptr, KELIX_ROUTE_PROPERTY_STORE},
        {"pex_ieq_bands", bands, KELIX_ROUTE_PROPERTY_STORE},
        {"pex_ieq_bands", nullptr, KELIX_ROUTE_PROPERTY_STORE},
        {"pex_version", nullptr, KELIX_ROUTE_PROPERTY_STORE}, {"krelo_version", nullptr, KELIX_ROUTE_PROPERTY_STORE},
        {"pex_postgain", -4, KELIX_ROUTE_DSP},              {"pex_postgain", nullptr, KELIX_ROUTE_DSP},
        {"pex_ieq_bands", bands, KELIX_ROUTE_DSP},          {"pex_ieq_bands", nullptr, KELIX_ROUTE_DSP},
        {"krelo_bypass", 1, KELIX_ROUTE_DSP},               {"krelo_bypass", nullptr, KELIX_ROUTE_DSP},
    };
    for (const auto& step : script) {
        const ParameterDescription& target = *kelix::FindParameter(step.parameter);
        if (step.value.is_null()) {
            pexctl::Json result = command.Get(target, {step.route});
            result["command"] = "get";
            steps.push_back(std::move(result));
            continue;
        }
        const ParsedValue parsed = JsonToValue(target, step.value, TypeOf(options));
        pexctl::Json result = command.Set(target, {step.route}, parsed.bytes);
        result["command"] = "set";
        steps.push_back(std::move(result));
    }
    pexctl::Json modules = command.Modules();
    const HRESULT hr = command.Close();
    if (FAILED(hr)) {
        out.Failure("", "", hr, "closing the endpoint failed: " + HResultText(hr));
    } else {
        out.Line("Closed");
    }
    return out.Finish({{"steps", steps}, {"modules", modules["modules"]}});
}

// Replaces the file as a whole: a new file beside it, then moved over it.
bool WriteFileReplacing(const std::string& path, const std::string& content) {
    const std::wstring target = ToWide(Utf8ToUtf16(path));
    const std::wstring temporary = target + L".pexctl-new";
    HANDLE file = CreateFileW(temporary.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) return false;
    DWORD written = 0;
    const BOOL ok = WriteFile(file, content.data(), static_cast<DWORD>(content.size()), &written, nullptr);
    const DWORD error = GetLastError();
    CloseHandle(file);
    if (!ok || written != content.size() ||
        !MoveFileExW(temporary.c_str(), target.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
        const DWORD failure = ok ? GetLastError() : error;
        DeleteFileW(temporary.c_str());
        SetLastError(failure);
        return false;
    }
    return true;
}

std::optional<std::string> ReadFileText(const std::string& path) {
    std::ifstream file(ToWide(Utf8ToUtf16(path)).c_str(), std::ios::binary);
    std::stringstream content;
    if (file) content << file.rdbuf();
    if (!file) return std::nullopt;
    return content.str();
}

// --simulate: the built-in machine or the profile's; an exit code when it cannot be installed.
std::optional<int> InstallSimulation(const Options& options, Output& out, SimulatedDevice& simulated) {
    if (options.simulate.empty()) {
        if (options.noSave) return out.Usage("--no-save applies to --simulate=PROFILE.json");
        return std::nullopt;
    }
    std::string profile(DefaultProfile());
    if (options.simulate != kBuiltInMachine) {
        const std::optional<std::string> text = ReadFileText(options.simulate);
        if (!text) return out.Usage("cannot read the machine profile \"" + options.simulate + "\"");
        profile = *text;
    }
    try {
        simulated.Install(profile);
    } catch (const sim::ProfileError& e) {
        return out.Usage("the machine profile \"" + options.simulate + "\" does not read: " + e.what() +
                         " (the format is described in docs/profiles.md)");
    } catch (const std::exception& e) {
        out.Failure("", "", std::nullopt, std::string("installing the simulated machine failed: ") + e.what());
        return out.Finish(pexctl::Json::object());
    }
    return std::nullopt;
}

// A snapshot file read and checked; an exit code (usage) when it does not read.
std::optional<Snapshot> LoadSnapshot(const std::string& path, Output& out, int& exitCode) {
    const std::optional<std::string> text = ReadFileText(path);
    if (!text) {
        exitCode = out.Usage("cannot read the snapshot \"" + path + "\"");
        return std::nullopt;
    }
    SnapshotReading reading = SnapshotFromJson(*text);
    if (!reading.error.empty()) {
        exitCode = out.Usage("the snapshot \"" + path + "\" cannot be used, nothing was written: " + reading.error);
        return std::nullopt;
    }
    return std::move(reading.snapshot);
}

std::string Label(const kelix::ParameterDescription& parameter, Route route) {
    return parameter.name + " (" + std::string(RouteText(route)) + ")";
}

// save, diff, apply and report: snapshots of the endpoint, and pages of them.
int RunSnapshot(const std::string& verb, const Options& options, Output& out) {
    // Files are read and checked before the endpoint is opened.
    int exitCode = kExitSuccess;
    std::optional<Snapshot> saved, compared;
    if (verb == "diff" || verb == "apply" || !options.from.empty()) {
        saved = LoadSnapshot(verb == "report" ? options.from : options.file, out, exitCode);
        if (!saved) return exitCode;
    }
    if (!options.compare.empty()) {
        compared = LoadSnapshot(options.compare, out, exitCode);
        if (!compared) return exitCode;
    }
    std::vector<UINT32> routes;
    for (const UINT32 route : {KELIX_ROUTE_PROPERTY_STORE, KELIX_ROUTE_DSP}) {
        const bool chosen = options.route.empty() || options.route == "both" || options.route == RouteName(route);
        const bool inFile = !saved || verb == "report" ||
                            std::find(saved->routes.begin(), saved->routes.end(), ToRoute(route)) != saved->routes.end();
        if (chosen && inFile) routes.push_back(route);
    }

    // Whether FILE was written; a failure reported when not.
    const auto write = [&](const std::string& what, const std::string& content) {
        if (WriteFileReplacing(options.file, content)) return true;
        const HRESULT hr = HRESULT_FROM_WIN32(GetLastError());
        out.Failure("", "", hr, "writing the " + what + " \"" + options.file + "\" failed: " + HResultText(hr));
        return false;
    };
    const auto fileName = [](const std::string& path) { return path.substr(path.find_last_of("/\\") + 1); };
    const auto writePage = [&](const Snapshot& snapshot, const std::string& label) {
        const ReportSource other{compared ? &*compared : nullptr, fileName(options.compare)};
        if (!write("report", ReportHtml({&snapshot, label}, compared ? &other : nullptr))) {
            return out.Finish(pexctl::Json::object());
        }
        out.Success();
        out.Line("report written to " + options.file);
        return out.Finish({{"report", options.file}});
    };
    if (verb == "report" && saved) return writePage(*saved, fileName(options.from));

    Command command(options, out);
    if (const std::optional<int> failed = command.Open()) return *failed;
    int absent = 0;
    const Snapshot current = command.Collect(routes, absent);
    if (verb == "report") return writePage(current, current.endpoint.name);
    if (verb == "save") {
        if (!write("snapshot", SnapshotToJson(current).dump(2) + "\n")) return out.Finish(pexctl::Json::object());
        out.Line(fmt::format("{} values of {} saved to {} ({} without a stored value left out)", current.entries.size(),
                             current.endpoint.name, options.file, absent));
        return out.Finish({{"file", options.file}, {"saved", current.entries.size()}, {"withoutValue", absent}});
    }

    if (saved->endpoint.id != current.endpoint.id) {
        out.Line("note: the file was saved from " + saved->endpoint.name + " " + saved->endpoint.id);
    }
    const std::vector<Difference> differences = Compare(*saved, current);
    pexctl::Json list = pexctl::Json::array();
    int unchanged = static_cast<int>(saved->entries.size());
    int notInFile = 0;  // apply leaves them as they are
    for (const Difference& difference : differences) {
        if (verb == "apply" && difference.onlyCurrent) {
            ++notInFile;
            continue;
        }
        pexctl::Json item = {{"name", difference.parameter->name},
                             {"id", difference.parameter->id},
                             {"route", RouteText(difference.route)},
                             {"file", difference.saved},
                             {"endpoint", difference.current}};
        if (difference.onlyCurrent) {
            item["onlyOnEndpoint"] = true;
        } else {
            --unchanged;
        }
        const std::vector<std::string> lines = DifferenceLines(difference);
        const std::string label = Label(*difference.parameter, difference.route);
        if (verb == "apply") {
            const SnapshotEntry& entry = *saved->Find(difference.parameter->id, difference.route);
            std::string result = "dry run";
            if (entry.bytes.empty()) {
                result = "read-only";
            } else if (!options.dryRun) {
                command.Write(*difference.parameter, ToFlags(difference.route), entry.bytes, result);
            }
            item["result"] = result;
            out.Line(fmt::format("{}: {}", label,
                                 result == "dry run" ? "would be written" : result == "read-only" ? "read-only, left as it is"
                                                                                                    : result));
        } else {
            out.Line(label + (lines.size() == 1 ? ": " + lines.front() : ":"));
        }
        if (lines.size() > 1 || verb == "apply") {
            for (const std::string& line : lines) out.Line("  " + line);
        }
        list.push_back(std::move(item));
    }
    if (verb == "diff") {
        out.Line(differences.empty()       ? "no differences"
                 : differences.size() == 1 ? "1 difference"
                                           : fmt::format("{} differences", differences.size()));
        return out.Finish({{"file", options.file}, {"differences", list}});
    }
    out.Line(fmt::format("{} of {} values differed{}{}", saved->entries.size() - static_cast<std::size_t>(unchanged),
                         saved->entries.size(), options.dryRun ? "; nothing written (--dry-run)" : "",
                         notInFile == 0 ? "" : fmt::format("; {} values the file does not hold left as they are", notInFile)));
    return out.Finish({{"file", options.file},
                       {"dryRun", options.dryRun},
                       {"writes", list},
                       {"unchanged", unchanged},
                       {"notInFile", notInFile}});
}

int Run(const Options& options, const std::string& verb, Output& out) {
    if (verb == "params") return RunParams(options, out);
    // The library reads its log settings when it first logs, which is after this.
    if (options.trace != 0) SetEnvironmentVariableW(L"KELIX3PEX_LOG_LEVEL", std::to_wstring(options.trace).c_str());
    if (FAILED(CoInitializeEx(nullptr, COINIT_MULTITHREADED))) {
        out.Failure("", "", std::nullopt, "COM cannot be initialised");
        return out.Finish(pexctl::Json::object());
    }
    int result = kExitSuccess;
    {
        SimulatedDevice simulated;
        const std::optional<int> failed = InstallSimulation(options, out, simulated);
        const std::string installed = failed || options.simulate.empty() ? "" : simulated.Save();
        const bool snapshots = verb == "save" || verb == "diff" || verb == "apply" || verb == "report";
        result = failed      ? *failed
                 : snapshots ? RunSnapshot(verb, options, out)
                 : verb == "list" ? RunList(out)
                                  : RunOnEndpoint(verb, options, out);
        if (!failed && !options.noSave && !options.simulate.empty() && options.simulate != kBuiltInMachine) {
            // Written only when the machine changed, so a hand-written profile keeps its layout.
            const std::string state = simulated.Save();
            if (state != installed && !WriteFileReplacing(options.simulate, state)) {
                out.Failure("", "", HRESULT_FROM_WIN32(GetLastError()),
                            "writing the simulated machine back to \"" + options.simulate + "\" failed: " +
                                HResultText(HRESULT_FROM_WIN32(GetLastError())));
                result = result == kExitSuccess ? kExitFailed : result;
            }
        }
    }
    CoUninitialize();
    return result;
}

// Help shows --simulate [=PROFILE.json], without the marker its bare use stores.
class HelpFormatter : public CLI::Formatter {
public:
    std::string make_option_name(const CLI::Option* option, bool positional) const override {
        const std::string name = CLI::Formatter::make_option_name(option, positional);
        return name.substr(0, name.find('{'));
    }
};

int Main(std::vector<std::string> args) {
    Options options;
    CLI::App app{"pexctl: read and write the PEX and KRELO tuning parameters of an audio endpoint through "
                 "Kelix3PexControl.dll."};
    app.name("pexctl");
    // Options start with "-" only: a path such as /tmp/tuning.json is a value.
    app.allow_windows_style_options(false);
    app.formatter(std::make_shared<HelpFormatter>());
    app.set_version_flag("--version", "pexctl " + std::string(KELIX_VERSION_TEXT));
    app.footer(std::string("PARAM is a name (pex_postgain) or an id (1105); `pexctl params` lists them.\n"
                           "VALUE is a number (decimal, or hexadecimal with 0x) or, for a structure, a JSON object by "
                           "field, inline or as @FILE:\n"
                           "  pexctl set krelo_regulator_isolated_bands '{\"a\": [1, 2, ..., 20]}'\n"
                           "--device takes an id, an index from `pexctl list`, a piece of the name, or default.\n"
                           "Snapshots: `pexctl save tuning.json`, later `pexctl diff tuning.json` and "
                           "`pexctl apply [--dry-run] tuning.json`;\n"
                           "  `pexctl report --from tuning.json --compare other.json page.html` draws them.\n"
                           "A simulated machine kept between runs: `pexctl --simulate=machine.json set pex_postgain -4` "
                           "(profiles: sim/profiles/).\n\n") +
               kExitCodes);
    app.add_flag(std::string("--simulate{") + kBuiltInMachine + "}", options.simulate,
                 "use simulated endpoints instead of the system's: the built-in machine, or with "
                 "--simulate=PROFILE.json a machine profile, written back with its new state after the run")
        ->option_text("[=PROFILE.json]");
    app.add_flag("--no-save", options.noSave, "with --simulate=PROFILE.json: leave the profile as it was");
    app.add_option("--device", options.device, "endpoint: id, index from `list`, piece of the name, or default");
    app.add_option("--route", options.route, "store, dsp or both (default: the store, or the DSP for DSP-only ids)")
        ->check(CLI::IsMember({"store", "dsp", "both"}));
    app.add_option("--type", options.type, "PROPVARIANT type of a scalar store write: i4 or ui4 (reads: shows ui4)")
        ->check(CLI::IsMember({"i4", "ui4"}));
    app.add_option("--trace", options.trace, "the library's log lines of level 1 (critical) to 5 (verbose) on stderr")
        ->check(CLI::Range(1, 5));
    app.add_flag("--json", options.json, "JSON on standard output, errors included");
    app.require_subcommand(1);

    const auto sub = [&](const char* name, const char* description) {
        CLI::App* command = app.add_subcommand(name, description);
        command->fallthrough();
        return command;
    };
    sub("list", "render endpoints: index, default mark (*), name, form factor, state, effect versions, id");
    CLI::App* get = sub("get", "read a parameter; structures by field, texts as text");
    get->add_option("PARAM", options.parameter, "name or id")->required();
    CLI::App* set = sub("set", "write a parameter");
    set->add_option("PARAM", options.parameter, "name or id")->required();
    set->add_option("VALUE", options.value, "a number, or a JSON object by field, or @FILE")->required();
    sub("dump", "read every parameter of the route (store by default)");
    sub("modules", "the endpoint's PEX and KRELO modules on the DSP");
    CLI::App* params = sub("params", "every parameter: id, name, kind, routes, structure");
    params->add_flag("--markdown", options.markdown, "the parameter reference as Markdown (docs/parameters.md)");
    sub("demo", "a short session: writes and reads on both routes, then close");
    CLI::App* save = sub("save", "a snapshot: every readable value of the endpoint (both routes unless --route) as JSON");
    save->add_option("FILE", options.file, "the snapshot to write")->required();
    CLI::App* diff = sub("diff", "what differs between a snapshot and the endpoint");
    diff->add_option("FILE", options.file, "a snapshot from `pexctl save`")->required();
    CLI::App* apply = sub("apply", "write the values of a snapshot that differ on the endpoint, each reported");
    apply->add_option("FILE", options.file, "a snapshot from `pexctl save`; checked whole before anything is written")
        ->required();
    apply->add_flag("--dry-run", options.dryRun, "only say what would be written");
    CLI::App* report = sub("report", "an HTML page of the endpoint's tuning (or a snapshot's): scalars, band arrays as curves");
    report->add_option("FILE", options.file, "the page to write (.html)")->required();
    report->add_option("--from", options.from, "draw this snapshot instead of the endpoint");
    report->add_option("--compare", options.compare, "overlay this snapshot");
    CLI::App* help = sub("help", "this help");

    const std::vector<std::string> given = args;
    try {
        std::reverse(args.begin(), args.end());  // CLI11 takes them last first, and consumes them
        app.parse(args);
    } catch (const CLI::ParseError& e) {
        std::ostringstream text, error;
        const int code = app.exit(e, text, error);
        Write(stdout, text.str());
        if (code == 0) return kExitSuccess;  // --help, --version
        // Values are stored once parsing succeeds, so --json is looked for here.
        const auto end = std::find(given.begin(), given.end(), "--");
        Output usage(std::find(given.begin(), end, "--json") != end);
        std::string message = e.what();
        // A word where the command belongs is named as such.
        for (auto arg = given.begin(); arg != end; ++arg) {
            if (*arg == "--device" || *arg == "--route" || *arg == "--type" || *arg == "--trace") {
                if (++arg == end) break;
            } else if (!arg->starts_with("-")) {
                const auto commands = app.get_subcommands({});
                if (std::none_of(commands.begin(), commands.end(),
                                 [&](const CLI::App* command) { return command->get_name() == *arg; })) {
                    message = "unknown command \"" + *arg +
                              "\" (commands: list, get, set, dump, modules, params, demo, save, diff, apply, report, help)";
                }
                break;
            }
        }
        return usage.Usage(message + "; `pexctl --help` shows the usage");
    }
    if (help->parsed()) {
        Write(stdout, app.get_formatter()->make_help(&app, app.get_name(), CLI::AppFormatMode::Normal));
        return kExitSuccess;
    }
    Output output(options.json);
    return Run(options, app.get_subcommands().front()->get_name(), output);
}

}  // namespace
}  // namespace pexctl

int wmain(int argc, wchar_t** argv) {
    // UTF-8 on both streams, byte for byte.
    SetConsoleOutputCP(CP_UTF8);
    _setmode(_fileno(stdout), _O_BINARY);
    _setmode(_fileno(stderr), _O_BINARY);
    std::vector<std::string> args;
    for (int i = 1; i < argc; ++i) args.push_back(pexctl::Utf16ToUtf8(pexctl::ToU16(argv[i])));
    try {
        return pexctl::Main(std::move(args));
    } catch (const std::exception& e) {
        pexctl::Write(stderr, std::string("pexctl: ") + e.what() + "\n");
        return 1;
    }
}
