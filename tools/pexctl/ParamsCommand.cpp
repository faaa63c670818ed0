// params: every parameter the library knows, or the parameter reference.
#include <memory>

#include <fmt/format.h>

#include "Commands.h"
#include "core/ParameterReference.h"

namespace pexctl {
namespace {

using kelix::ParameterDescription;

int RunParams(bool markdown, Output& out) {
    if (markdown) {
        Write(stdout, kelix::ParameterReferenceMarkdown());
        return kExitSuccess;
    }
    Json parameters = Json::array();
    for (const ParameterDescription& parameter : kelix::ParameterModel()) {
        const std::string_view kind = KindText(parameter.kind);
        const std::string routes = parameter.store && parameter.dsp ? "store, dsp" : parameter.store ? "store" : "dsp";
        parameters.push_back(DescribeParameter(parameter));
        out.Line(fmt::format("{:>5}  {:<46} {:<10} {:<11} {}", parameter.id, parameter.name, kind, routes,
                             kelix::StructureText(parameter)));
    }
    out.Success();
    return out.Finish({{"parameters", parameters}});
}

}  // namespace

void AddParamsCommand(CLI::App& app, Context& context) {
    const auto markdown = std::make_shared<bool>(false);
    CLI::App* command = AddCommand(app, "params", "every parameter: id, name, kind, routes, structure");
    command->add_flag("--markdown", *markdown, "the parameter reference as Markdown (docs/parameters.md)");
    command->callback([&context, markdown] {
        context.onMachine = false;
        context.run = [markdown](Output& out) { return RunParams(*markdown, out); };
    });
}

}  // namespace pexctl
