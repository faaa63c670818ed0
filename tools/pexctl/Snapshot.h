// Tuning snapshots: every readable parameter of one endpoint, with the
// endpoint's identity, as one JSON document; read back with every entry
// checked before anything is written, and compared with another snapshot.
//
//   {
//     "format": 1,
//     "saved": "2026-11-23T15:40:00Z",
//     "endpoint": {"id": "{0.0.0.00000000}.{...}", "name": "Speakers", "formFactor": 1,
//                  "formFactorName": "speakers", "pexVersion": "pex2.10", "kreloVersion": "krelo1.4"},
//     "routes": ["store", "dsp"],
//     "parameters": [
//       {"name": "pex_postgain", "id": 1105, "route": "store", "value": -6},
//       {"name": "pex_ieq_bands", "id": 1114, "route": "dsp", "value": {"count": 2, "a": [...], "b": [...]}}
//     ]
//   }
//
// Values are as `pexctl get --json` shows them: numbers, objects by field, texts.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Values.h"

namespace pexctl {

inline constexpr int kSnapshotFormat = 1;

enum class Route { Store, Dsp };
std::string_view RouteText(Route route);

struct SnapshotEndpoint {
    std::string id;
    std::string name;
    std::uint32_t formFactor = 10;
    std::string pexVersion, kreloVersion;
};

struct SnapshotEntry {
    const kelix::ParameterDescription* parameter = nullptr;
    Route route = Route::Store;
    Json value;  // as ValueToJson shows it
    // The caller bytes of a writable value, checked against its layout.
    std::vector<std::uint8_t> bytes;
};

struct Snapshot {
    SnapshotEndpoint endpoint;
    std::string saved;          // UTC time, ISO 8601
    std::vector<Route> routes;  // the routes that were read
    std::vector<SnapshotEntry> entries;

    const SnapshotEntry* Find(kelix::ParameterId id, Route route) const;
};

Json SnapshotToJson(const Snapshot& snapshot);

// The document read back. Another format, an entry naming a parameter this
// build does not know (or a name and id that disagree), a route that does not
// serve it, an entry given twice, or a writable value that does not fit its
// layout is an error naming the entry, e.g.
// "parameters[3] (pex_ieq_bands, store): field "a" has 2 values, it takes 20".
struct SnapshotReading {
    Snapshot snapshot;
    std::string error;  // empty on success
};
SnapshotReading SnapshotFromJson(std::string_view text);

// An entry of `saved` whose value the endpoint does not hold: `current` is
// null when the endpoint has no value for it. `onlyCurrent` marks a value the
// endpoint holds on one of the saved routes but the snapshot does not.
struct Difference {
    const kelix::ParameterDescription* parameter = nullptr;
    Route route = Route::Store;
    Json saved;
    Json current;
    bool onlyCurrent = false;
};
std::vector<Difference> Compare(const Snapshot& saved, const Snapshot& current);

// The fields (or the value) that differ, one line each, for people:
// "b: 0, -1, -2 -> 0, -1, -5" shortened around the items that differ.
std::vector<std::string> DifferenceLines(const Difference& difference);

}  // namespace pexctl
