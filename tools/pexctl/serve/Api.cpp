#include "Api.h"

#include <chrono>

#include "Report.h"
#include "core/ParameterFamily.h"
#include "SnapshotWork.h"

namespace pexctl::serve {
namespace {

// A request that changes nothing: 400 (404, 405) with one error object.
ApiAnswer Refused(int status, const std::string& message) {
    Output out(true, true);
    out.Failure("", "", std::nullopt, message);
    return {status, out.Document(Json::object())};
}

// The document of what the client did, with the status its outcome calls for.
ApiAnswer Answer(const Output& out, Json document) {
    const int code = out.Code();
    const int status = code == kExitUsage ? 400 : code == kExitFailed ? 502 : 200;
    return {status, out.Document(std::move(document))};
}

std::string Lookup(const Query& query, const std::string& key) {
    const auto found = query.find(key);
    return found == query.end() ? std::string() : found->second;
}

}  // namespace

Api::Api(EndpointClient& client, GlobalOptions options) : options_(std::move(options)), client_(client) {}

ApiAnswer Api::Handle(const std::string& method, const std::string& path, const Query& query, const std::string& body) {
    const std::string route = Lookup(query, "route");
    if (!route.empty() && route != "store" && route != "dsp" && route != "both") {
        return Refused(400, "route \"" + route + "\" is none of store, dsp, both");
    }
    const std::string type = Lookup(query, "type");
    if (!type.empty() && type != "i4" && type != "ui4") return Refused(400, "type \"" + type + "\" is neither i4 nor ui4");
    options_.route = route;
    options_.type = type;
    Output out(true, true);
    client_.ReportTo(out);

    const auto only = [&](const char* allowed) {
        return method == allowed ? std::optional<ApiAnswer>()
                                 : Refused(405, "/api/" + path + " takes " + allowed + ", not " + method);
    };
    if (path == "endpoint") {
        if (auto refused = only("GET")) return *refused;
        return Summary(out);
    }
    if (path == "parameters") {
        if (auto refused = only("GET")) return *refused;
        Json parameters = Json::array();
        for (const kelix::ParameterDescription& parameter : kelix::ParameterModel()) {
            Json entry = DescribeParameter(parameter);
            entry["bandArray"] = IsBandArray(parameter.id);
            parameters.push_back(std::move(entry));
        }
        return {200, {{"parameters", parameters}}};
    }
    if (path == "values") {
        if (auto refused = only("GET")) return *refused;
        const std::vector<UINT32> routes = SnapshotRoutes(route.empty() ? "both" : route, nullptr);
        return Answer(out, client_.Dump(routes));
    }
    if (path.starts_with("param/")) return Parameter(method, path.substr(6), body, out);
    if (path == "snapshot") {
        if (auto refused = only("GET")) return *refused;
        int absent = 0;
        return Answer(out, SnapshotToJson(client_.Collect(SnapshotRoutes(route, nullptr), absent)));
    }
    if (path == "apply") {
        if (auto refused = only("POST")) return *refused;
        return Apply(query, body, out);
    }
    if (path == "shutdown") {
        if (auto refused = only("POST")) return *refused;
        return {200, {{"stopping", true}}, true};
    }
    return Refused(404, "there is no /api/" + path + " (see docs/serve.md)");
}

ApiAnswer Api::Summary(Output& out) {
    const Endpoint& endpoint = client_.Opened();
    Json summary = {{"id", Utf16ToUtf8(endpoint.id)},
                    {"name", Utf16ToUtf8(endpoint.name)},
                    {"formFactor", endpoint.formFactor},
                    {"formFactorName", FormFactorText(endpoint.formFactor)},
                    {"readOnlyStore", client_.Opening().ReadOnlyStore()}};
    for (const auto& [key, id] : {std::pair{"pexVersion", kelix::kPexVersionId}, std::pair{"kreloVersion", kelix::kKreloVersionId}}) {
        const kelix::ParameterDescription& parameter = *kelix::FindParameter(id);
        const ReadResult read = Read(client_.Opening().Handle(), parameter, KELIX_ROUTE_PROPERTY_STORE);
        summary[key] = SUCCEEDED(read.hr) ? ValueToJson(parameter, read.bytes) : Json();
    }
    summary["modules"] = client_.Modules()["modules"];
    return Answer(out, summary);
}

ApiAnswer Api::Parameter(const std::string& method, const std::string& name, const std::string& body, Output& out) {
    const kelix::ParameterDescription* parameter = FindByText(name);
    if (parameter == nullptr) return Refused(404, "unknown parameter \"" + name + "\"; GET /api/parameters lists them");
    std::string error;
    const std::vector<UINT32> routes = Routes(options_.route, *parameter, error);
    if (routes.empty()) return Refused(400, error);
    if (method == "GET") {
        if (!parameter->Readable()) return Refused(400, parameter->name + " cannot be read");
        return Answer(out, client_.Get(*parameter, routes));
    }
    if (method != "PUT") return Refused(405, "/api/param/" + name + " takes GET or PUT, not " + method);
    const Json request = Json::parse(body, nullptr, false);
    if (request.is_discarded() || !request.is_object() || !request.contains("value")) {
        return Refused(400, "the body must be a JSON object {\"value\": ...}");
    }
    const ParsedValue value = CheckWrite(*parameter, options_.type, JsonToValue(*parameter, request["value"], TypeOf(options_.type)));
    if (!value.error.empty()) return Refused(400, value.error);
    const auto start = std::chrono::steady_clock::now();
    Json document = client_.Set(*parameter, routes, value.bytes);
    // What the endpoint holds now, on the routes written.
    if (parameter->Readable()) {
        const Json read = client_.Get(*parameter, routes);
        for (const UINT32 route : routes) {
            if (read.contains(RouteName(route))) document[RouteName(route)] = read[RouteName(route)];
        }
    }
    document["microseconds"] =
        std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - start).count();
    return Answer(out, document);
}

ApiAnswer Api::Apply(const Query& query, const std::string& body, Output& out) {
    const SnapshotReading reading = SnapshotFromJson(body);
    if (!reading.error.empty()) return Refused(400, "the snapshot cannot be used, nothing was written: " + reading.error);
    const bool dryRun = Lookup(query, "dryRun") == "true";
    const Snapshot& saved = reading.snapshot;
    int absent = 0;
    const Snapshot current = client_.Collect(SnapshotRoutes(options_.route, &saved), absent);
    const Reconciliation done = Reconcile(client_, saved, current, true, dryRun, out);
    return Answer(out, {{"dryRun", dryRun}, {"writes", done.items}, {"unchanged", done.unchanged}, {"notInFile", done.notInFile}});
}

}  // namespace pexctl::serve
