// Snapshots against an opened endpoint, shared by save, diff, apply, report
// and serve: a file read and checked whole, and the walk over the values
// that differ, writing them for apply.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "EndpointClient.h"

namespace pexctl {

// A snapshot file read and checked; none, with a usage failure reported, when it does not read.
std::optional<Snapshot> LoadSnapshot(const std::string& path, Output& out);

// The routes of --route ("", "store", "dsp", "both") that `saved` (when given) holds.
std::vector<UINT32> SnapshotRoutes(const std::string& route, const Snapshot* saved);

// What differs between `saved` and `current`, each difference as a line (or
// lines) and an item {"name", "id", "route", "file", "endpoint"}; with
// `apply` the saved value is written too (unless `dryRun`) and the item has
// its "result". Values the endpoint holds that the file does not are left
// out of an apply and counted, and so are the DSP values of a family the
// endpoint's DSP lacks (EndpointClient::Skipped).
struct Reconciliation {
    Json items = Json::array();
    int unchanged = 0;
    int notInFile = 0;
    int skipped = 0;
    std::size_t differences = 0;
};
Reconciliation Reconcile(EndpointClient& client, const Snapshot& saved, const Snapshot& current, bool apply, bool dryRun,
                         Output& out);

// "pex_postgain (store)"
std::string Label(const kelix::ParameterDescription& parameter, Route route);

}  // namespace pexctl
