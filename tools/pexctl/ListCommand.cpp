// list: the render endpoints.
#include <fmt/format.h>

#include "Commands.h"
#include "Platform.h"

namespace pexctl {
namespace {

int RunList(Output& out) {
    const EndpointList list = ListEndpoints(true);
    if (FAILED(list.hr)) {
        out.Failure("", "", list.hr, "listing the render endpoints failed: " + HResultText(list.hr));
        return out.Finish(Json::object());
    }
    Json endpoints = Json::array();
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

}  // namespace

void AddListCommand(CLI::App& app, Context& context) {
    AddCommand(app, "list", "render endpoints: index, default mark (*), name, form factor, state, effect versions, id")
        ->callback([&context] { context.run = RunList; });
}

}  // namespace pexctl
