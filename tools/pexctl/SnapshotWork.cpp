#include "SnapshotWork.h"

#include <algorithm>

#include <fmt/format.h>

#include "Files.h"

namespace pexctl {

std::optional<Snapshot> LoadSnapshot(const std::string& path, Output& out) {
    const std::optional<std::string> text = ReadFileText(path);
    if (!text) {
        out.Usage("cannot read the snapshot \"" + path + "\"");
        return std::nullopt;
    }
    SnapshotReading reading = SnapshotFromJson(*text);
    if (!reading.error.empty()) {
        out.Usage("the snapshot \"" + path + "\" cannot be used, nothing was written: " + reading.error);
        return std::nullopt;
    }
    return std::move(reading.snapshot);
}

std::vector<UINT32> SnapshotRoutes(const std::string& route, const Snapshot* saved) {
    std::vector<UINT32> routes;
    for (const UINT32 flags : {KELIX_ROUTE_PROPERTY_STORE, KELIX_ROUTE_DSP}) {
        const bool chosen = route.empty() || route == "both" || route == RouteName(flags);
        const bool inFile = saved == nullptr || std::find(saved->routes.begin(), saved->routes.end(), ToRoute(flags)) !=
                                                    saved->routes.end();
        if (chosen && inFile) routes.push_back(flags);
    }
    return routes;
}

std::string Label(const kelix::ParameterDescription& parameter, Route route) {
    return parameter.name + " (" + std::string(RouteText(route)) + ")";
}

Reconciliation Reconcile(EndpointClient& client, const Snapshot& saved, const Snapshot& current, bool apply, bool dryRun,
                         Output& out) {
    Reconciliation result;
    const std::vector<Difference> differences = Compare(saved, current);
    result.differences = differences.size();
    result.unchanged = static_cast<int>(saved.entries.size());
    for (const Difference& difference : differences) {
        if (apply && difference.onlyCurrent) {
            ++result.notInFile;
            continue;
        }
        if (apply && difference.route == Route::Dsp && client.Skipped(difference.parameter->id)) {
            ++result.skipped;
            --result.unchanged;
            continue;
        }
        Json item = {{"name", difference.parameter->name},
                     {"id", difference.parameter->id},
                     {"route", RouteText(difference.route)},
                     {"file", difference.saved},
                     {"endpoint", difference.current}};
        if (difference.onlyCurrent) {
            item["onlyOnEndpoint"] = true;
        } else {
            --result.unchanged;
        }
        const std::vector<std::string> lines = DifferenceLines(difference);
        const std::string label = Label(*difference.parameter, difference.route);
        if (apply) {
            const SnapshotEntry& entry = *saved.Find(difference.parameter->id, difference.route);
            std::string written = "dry run";
            if (entry.bytes.empty()) {
                written = "read-only";
            } else if (!dryRun) {
                client.Write(*difference.parameter, ToFlags(difference.route), entry.bytes, written);
            }
            item["result"] = written;
            out.Line(fmt::format("{}: {}", label,
                                 written == "dry run"     ? "would be written"
                                 : written == "read-only" ? "read-only, left as it is"
                                                          : written));
        } else {
            out.Line(label + (lines.size() == 1 ? ": " + lines.front() : ":"));
        }
        if (lines.size() > 1 || apply) {
            for (const std::string& line : lines) out.Line("  " + line);
        }
        result.items.push_back(std::move(item));
    }
    return result;
}

}  // namespace pexctl
