// One opened endpoint as pexctl's commands (and `serve`) use it: reads and
// writes of a parameter on its routes, every readable value, the DSP's
// modules; each outcome reported to an Output as a line or an error object.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "Commands.h"
#include "Kelix3PexControl.h"
#include "Output.h"
#include "Platform.h"
#include "Snapshot.h"
#include "core/ParameterFamily.h"

namespace pexctl {

std::string RouteName(UINT32 route);  // "store" or "dsp"
Route ToRoute(UINT32 route);
UINT32 ToFlags(Route route);
std::string FamilyName(kelix::ParameterId id);  // "PEX" or "KRELO"

// A parameter by name or id; null when there is none.
const kelix::ParameterDescription* FindByText(const std::string& text);
// --type as a ScalarType.
ScalarType TypeOf(const std::string& type);
// The routes of `route` ("", "store", "dsp", "both") for a parameter, or
// none with `error` in words when the parameter is not served there.
std::vector<UINT32> Routes(const std::string& route, const kelix::ParameterDescription& parameter, std::string& error);

class EndpointClient {
public:
    EndpointClient(const GlobalOptions& options, Output& out) : options_(options), out_(&out) {}

    // Reports go to another Output from now on (serve: one per request).
    void ReportTo(Output& out) { out_ = &out; }

    // Picks the endpoint --device names and opens it; an exit code when that fails.
    std::optional<int> Open();

    // Reads one parameter on its routes: {"id", "name", "store": value, "dsp": value}.
    Json Get(const kelix::ParameterDescription& parameter, const std::vector<UINT32>& routes);
    // Writes one value checked against its layout: {"id", "name", "value", "written": [routes]}.
    Json Set(const kelix::ParameterDescription& parameter, const std::vector<UINT32>& routes,
             const std::vector<std::uint8_t>& bytes);
    // One write; whether it succeeded, `result` "written" or what failed.
    bool Write(const kelix::ParameterDescription& parameter, UINT32 route, const std::vector<std::uint8_t>& bytes,
               std::string& result);

    // Every readable parameter of the routes, in id order, each value handed
    // to `visit` (null: the store holds no value for it). Failed reads are
    // reported; a family missing from the DSP is skipped, and said once.
    void ReadAll(const std::vector<UINT32>& routes,
                 const std::function<void(const kelix::ParameterDescription&, UINT32, const Json&)>& visit);
    // {"device": {"id", "name"}, "store": {name: value}, "dsp": {...}}
    Json Dump(const std::vector<UINT32>& routes);
    // The endpoint's values on the routes as a snapshot; values the store
    // does not hold are left out and counted in `absent`.
    Snapshot Collect(const std::vector<UINT32>& routes, int& absent);
    // {"modules": [{"family", "present", "version", "name", "id", "type"}]}
    Json Modules();

    // Whether ReadAll skipped the DSP parameters of the id's family: it is not on the DSP.
    bool Skipped(kelix::ParameterId id) const { return kelix::IsPexId(id) ? pexSkipped_ : kreloSkipped_; }

    HRESULT Close() { return session_.Close(); }
    const Endpoint& Opened() const { return endpoint_; }
    const Session& Opening() const { return session_; }

private:
    void ReportFailure(const kelix::ParameterDescription& parameter, UINT32 route, bool write, HRESULT hr);

    const GlobalOptions& options_;
    Output* out_;
    Session session_;
    Endpoint endpoint_;
    bool pexSkipped_ = false;
    bool kreloSkipped_ = false;
};

}  // namespace pexctl
