// get, set, dump and modules: one parameter, every parameter, the DSP's modules.
#include <memory>
#include <optional>
#include <string>

#include "Commands.h"
#include "EndpointClient.h"
#include "Files.h"

namespace pexctl {
namespace {

using kelix::ParameterDescription;

struct ValueOptions {
    std::string parameter;
    std::string value;
};

// A value for `parameter` from set's VALUE (text or @FILE), checked; none,
// with a usage failure reported, when it does not fit.
std::optional<std::vector<std::uint8_t>> ParseArgument(const ParameterDescription& parameter, const std::string& argument,
                                                       const GlobalOptions& global, Output& out) {
    ParsedValue checked{{}, WriteRefusal(parameter, global.type)};
    std::string error;
    if (checked.error.empty()) {
        const std::optional<std::string> text = ReadValueText(argument, error);
        checked = text ? CheckWrite(parameter, global.type, ParseValue(parameter, *text, TypeOf(global.type)))
                       : ParsedValue{{}, error};
    }
    if (!checked.error.empty()) {
        out.Usage(checked.error);
        return std::nullopt;
    }
    return std::move(checked.bytes);
}

int RunValue(const std::string& verb, const ValueOptions& options, const GlobalOptions& global, Output& out) {
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
        routes = Routes(global.route, *parameter, error);
        if (routes.empty()) return out.Usage(error);
        if (verb == "get" && !parameter->Readable()) return out.Usage(parameter->name + " cannot be read");
        if (verb == "set") {
            std::optional<std::vector<std::uint8_t>> parsed = ParseArgument(*parameter, options.value, global, out);
            if (!parsed) return kExitUsage;
            value = std::move(*parsed);
        }
    }
    if (verb == "dump") {
        routes = global.route == "both"  ? std::vector<UINT32>{KELIX_ROUTE_PROPERTY_STORE, KELIX_ROUTE_DSP}
                 : global.route == "dsp" ? std::vector<UINT32>{KELIX_ROUTE_DSP}
                                         : std::vector<UINT32>{KELIX_ROUTE_PROPERTY_STORE};
    }

    EndpointClient client(global, out);
    if (const std::optional<int> failed = client.Open()) return *failed;
    if (verb == "get") return out.Finish(client.Get(*parameter, routes));
    if (verb == "set") return out.Finish(client.Set(*parameter, routes, value));
    if (verb == "dump") return out.Finish(client.Dump(routes));
    return out.Finish(client.Modules());
}

}  // namespace

void AddValueCommands(CLI::App& app, Context& context) {
    const auto options = std::make_shared<ValueOptions>();
    const auto add = [&](const char* verb, const char* description) {
        return AddVerb(app, context, options, verb, description, RunValue);
    };
    add("get", "read a parameter; structures by field, texts as text")
        ->add_option("PARAM", options->parameter, "name or id")
        ->required();
    CLI::App* set = add("set", "write a parameter");
    set->add_option("PARAM", options->parameter, "name or id")->required();
    set->add_option("VALUE", options->value, "a number, or a JSON object by field, or @FILE")->required();
    add("dump", "read every parameter of the route (store by default)");
    add("modules", "the endpoint's PEX and KRELO modules on the DSP");
}

}  // namespace pexctl
