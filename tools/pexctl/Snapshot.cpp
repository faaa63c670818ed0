#include "Snapshot.h"

#include <algorithm>
#include <set>
#include <utility>

namespace pexctl {
namespace {

using kelix::ParameterDescription;
using kelix::ValueKind;

constexpr std::size_t kItemsShown = 6;  // differing items of one field listed before "and N more"

std::string ItemText(const Json& item) { return item.is_string() ? item.get<std::string>() : item.dump(); }

std::string EntryName(std::size_t index, const Json& entry) {
    std::string name = "parameters[" + std::to_string(index) + "]";
    if (entry.is_object() && entry.contains("name") && entry["name"].is_string()) {
        name += " (" + entry["name"].get<std::string>();
        if (entry.contains("route") && entry["route"].is_string()) name += ", " + entry["route"].get<std::string>();
        name += ")";
    }
    return name;
}

// A snapshot's value as JSON again, with a scalar given as UI4 read back as
// the INT32 it is, so that the same word compares equal either way.
Json Normalised(const ParameterDescription& parameter, const Json& value) {
    if (parameter.kind == ValueKind::Scalar && value.is_number_unsigned() && value.get<std::uint64_t>() > 0x7FFFFFFF &&
        value.get<std::uint64_t>() <= 0xFFFFFFFF) {
        return static_cast<std::int32_t>(static_cast<std::uint32_t>(value.get<std::uint64_t>()));
    }
    return value;
}

// Reads one entry; an error in words without the entry's name.
std::string ReadEntry(const Json& entry, SnapshotEntry& result) {
    if (!entry.is_object()) return "not an object";
    const ParameterDescription* byName = nullptr;
    const ParameterDescription* byId = nullptr;
    if (entry.contains("name")) {
        if (!entry["name"].is_string()) return "\"name\" is not a string";
        byName = kelix::FindParameter(entry["name"].get<std::string>());
        if (byName == nullptr) return "\"" + entry["name"].get<std::string>() + "\" is no parameter this build knows";
    }
    if (entry.contains("id")) {
        if (!entry["id"].is_number_integer()) return "\"id\" is not an integer";
        const std::int64_t id = entry["id"].get<std::int64_t>();
        byId = id >= 0 && id <= 0xFFFFFFFF ? kelix::FindParameter(static_cast<kelix::ParameterId>(id)) : nullptr;
        if (byId == nullptr) return "id " + entry["id"].dump() + " is no parameter this build knows";
    }
    if (byName == nullptr && byId == nullptr) return "neither \"name\" nor \"id\"";
    if (byName != nullptr && byId != nullptr && byName != byId) {
        return "\"name\" is " + byName->name + " (" + std::to_string(byName->id) + ") but \"id\" is " +
               std::to_string(byId->id) + " (" + byId->name + ")";
    }
    const ParameterDescription& parameter = byName != nullptr ? *byName : *byId;
    result.parameter = &parameter;
    if (!entry.contains("route") || !entry["route"].is_string() ||
        (entry["route"] != "store" && entry["route"] != "dsp")) {
        return "\"route\" is not \"store\" or \"dsp\"";
    }
    result.route = entry["route"] == "dsp" ? Route::Dsp : Route::Store;
    if (!(result.route == Route::Dsp ? parameter.dsp : parameter.store)) {
        return parameter.name + " is not served by the " + std::string(RouteText(result.route)) + " route";
    }
    if (!entry.contains("value")) return "no \"value\"";
    result.value = Normalised(parameter, entry["value"]);
    if (!parameter.Writable() || parameter.kind == ValueKind::Text) {
        // Kept to be shown and compared, never written.
        if (parameter.kind == ValueKind::Text && !result.value.is_string()) return "the value is not a text";
        return "";
    }
    const ParsedValue parsed = JsonToValue(parameter, result.value, ScalarType::Default);
    if (!parsed.error.empty()) return parsed.error;
    const auto need = kelix::StructureSize(parameter, parsed.bytes.data(), static_cast<std::uint32_t>(parsed.bytes.size()));
    if (!need || *need != parsed.bytes.size()) {
        return "the value has " + std::to_string(parsed.bytes.size()) + " bytes, its layout needs " +
               (need ? std::to_string(*need) : "another count");
    }
    result.bytes = parsed.bytes;
    return "";
}

// Items of a field (records flattened) for comparing item by item.
std::vector<Json> Items(const Json& field) {
    std::vector<Json> items;
    if (!field.is_array()) return {field};
    for (const Json& item : field) {
        if (item.is_array()) {
            for (const Json& word : item) items.push_back(word);
        } else {
            items.push_back(item);
        }
    }
    return items;
}

std::string FieldDifference(const std::string& name, const Json& saved, const Json& current) {
    if (!saved.is_array() || !current.is_array()) {
        return name + ": file " + ItemText(saved) + ", endpoint " + ItemText(current);
    }
    const std::vector<Json> a = Items(saved);
    const std::vector<Json> b = Items(current);
    std::string text = name + ":";
    std::size_t shown = 0, more = 0;
    for (std::size_t i = 0; i < std::max(a.size(), b.size()); ++i) {
        const Json left = i < a.size() ? a[i] : Json("-");
        const Json right = i < b.size() ? b[i] : Json("-");
        if (left == right) continue;
        if (shown++ < kItemsShown) {
            text += (shown > 1 ? "," : "") + std::string(" [") + std::to_string(i) + "] file " + ItemText(left) +
                    ", endpoint " + ItemText(right);
        } else {
            ++more;
        }
    }
    if (a.size() != b.size()) text += " (file " + std::to_string(a.size()) + " items, endpoint " + std::to_string(b.size()) + ")";
    if (more > 0) text += " and " + std::to_string(more) + " more";
    return text;
}

}  // namespace

std::string_view RouteText(Route route) { return route == Route::Dsp ? "dsp" : "store"; }

const SnapshotEntry* Snapshot::Find(kelix::ParameterId id, Route route) const {
    for (const SnapshotEntry& entry : entries) {
        if (entry.parameter->id == id && entry.route == route) return &entry;
    }
    return nullptr;
}

Json SnapshotToJson(const Snapshot& snapshot) {
    Json routes = Json::array();
    for (const Route route : snapshot.routes) routes.push_back(RouteText(route));
    Json parameters = Json::array();
    for (const SnapshotEntry& entry : snapshot.entries) {
        parameters.push_back({{"name", entry.parameter->name},
                              {"id", entry.parameter->id},
                              {"route", RouteText(entry.route)},
                              {"value", entry.value}});
    }
    const SnapshotEndpoint& endpoint = snapshot.endpoint;
    return {{"format", kSnapshotFormat},
            {"saved", snapshot.saved},
            {"endpoint",
             {{"id", endpoint.id},
              {"name", endpoint.name},
              {"formFactor", endpoint.formFactor},
              {"formFactorName", FormFactorText(endpoint.formFactor)},
              {"pexVersion", endpoint.pexVersion},
              {"kreloVersion", endpoint.kreloVersion}}},
            {"routes", routes},
            {"parameters", parameters}};
}

SnapshotReading SnapshotFromJson(std::string_view text) {
    SnapshotReading reading;
    const auto failed = [&](std::string error) {
        reading.error = std::move(error);
        reading.snapshot = {};
        return reading;
    };
    Json document;
    try {
        document = Json::parse(text);
    } catch (const Json::parse_error& e) {
        return failed(std::string("not JSON: ") + e.what());
    }
    if (!document.is_object() || !document.contains("format")) return failed("no \"format\": not a snapshot");
    if (document["format"] != kSnapshotFormat) {
        return failed("snapshot format " + document["format"].dump() + "; this build reads format " +
                      std::to_string(kSnapshotFormat));
    }
    Snapshot& snapshot = reading.snapshot;
    const Json endpoint = document.value("endpoint", Json::object());
    if (!endpoint.is_object()) return failed("\"endpoint\" is not an object");
    const auto textOf = [&](const char* name) {
        return endpoint.contains(name) && endpoint[name].is_string() ? endpoint[name].get<std::string>() : "";
    };
    snapshot.endpoint.id = textOf("id");
    snapshot.endpoint.name = textOf("name");
    snapshot.endpoint.pexVersion = textOf("pexVersion");
    snapshot.endpoint.kreloVersion = textOf("kreloVersion");
    if (endpoint.contains("formFactor") && endpoint["formFactor"].is_number_unsigned()) {
        snapshot.endpoint.formFactor = endpoint["formFactor"].get<std::uint32_t>();
    }
    if (document.contains("saved") && document["saved"].is_string()) snapshot.saved = document["saved"].get<std::string>();
    for (const Json& route : document.value("routes", Json::array())) {
        if (route == "store" || route == "dsp") snapshot.routes.push_back(route == "dsp" ? Route::Dsp : Route::Store);
    }
    if (!document.contains("parameters") || !document["parameters"].is_array()) {
        return failed("no \"parameters\" array");
    }
    std::set<std::pair<kelix::ParameterId, Route>> seen;
    const Json& parameters = document["parameters"];
    for (std::size_t i = 0; i < parameters.size(); ++i) {
        SnapshotEntry entry;
        const std::string error = ReadEntry(parameters[i], entry);
        if (!error.empty()) return failed(EntryName(i, parameters[i]) + ": " + error);
        if (!seen.emplace(entry.parameter->id, entry.route).second) {
            return failed(EntryName(i, parameters[i]) + ": given twice");
        }
        if (std::find(snapshot.routes.begin(), snapshot.routes.end(), entry.route) == snapshot.routes.end()) {
            snapshot.routes.push_back(entry.route);
        }
        snapshot.entries.push_back(std::move(entry));
    }
    return reading;
}

std::vector<Difference> Compare(const Snapshot& saved, const Snapshot& current) {
    std::vector<Difference> differences;
    for (const SnapshotEntry& entry : saved.entries) {
        const SnapshotEntry* now = current.Find(entry.parameter->id, entry.route);
        const Json value = now != nullptr ? Normalised(*entry.parameter, now->value) : Json();
        if (value != entry.value) differences.push_back({entry.parameter, entry.route, entry.value, value, false});
    }
    for (const SnapshotEntry& entry : current.entries) {
        const bool savedRoute = std::find(saved.routes.begin(), saved.routes.end(), entry.route) != saved.routes.end();
        if (savedRoute && saved.Find(entry.parameter->id, entry.route) == nullptr) {
            differences.push_back({entry.parameter, entry.route, Json(), entry.value, true});
        }
    }
    return differences;
}

std::vector<std::string> DifferenceLines(const Difference& difference) {
    if (difference.onlyCurrent) return {"not in the file; the endpoint holds " + ItemText(difference.current).substr(0, 80)};
    if (difference.current.is_null()) return {"the endpoint holds no value"};
    if (!difference.saved.is_object() || !difference.current.is_object()) {
        return {"file " + ItemText(difference.saved) + ", endpoint " + ItemText(difference.current)};
    }
    std::vector<std::string> lines;
    for (const auto& [name, field] : difference.saved.items()) {
        const Json other = difference.current.contains(name) ? difference.current[name] : Json();
        if (field != other) lines.push_back(FieldDifference(name, field, other));
    }
    return lines;
}

}  // namespace pexctl
