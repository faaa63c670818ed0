// demo: a short session on the opened endpoint; every step runs and reports.
#include "Commands.h"
#include "EndpointClient.h"

namespace pexctl {
namespace {

int RunDemo(const GlobalOptions& global, Output& out) {
    EndpointClient client(global, out);
    if (const std::optional<int> failed = client.Open()) return *failed;
    out.Line("Opened " + Utf16ToUtf8(client.Opened().name) + " " + Utf16ToUtf8(client.Opened().id));
    Json steps = Json::array();
    Json bands = {{"count", 2}, {"a", Json::array()}, {"b", Json::array()}};
    for (int i = 0; i < 20; ++i) {
        bands["a"].push_back(100 + i * 10);
        bands["b"].push_back(-i - 20);
    }
    const struct {
        const char* parameter;
        Json value;  // null: a read
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
        const kelix::ParameterDescription& target = *kelix::FindParameter(step.parameter);
        if (step.value.is_null()) {
            Json result = client.Get(target, {step.route});
            result["command"] = "get";
            steps.push_back(std::move(result));
            continue;
        }
        const ParsedValue parsed = JsonToValue(target, step.value, TypeOf(global.type));
        Json result = client.Set(target, {step.route}, parsed.bytes);
        result["command"] = "set";
        steps.push_back(std::move(result));
    }
    Json modules = client.Modules();
    const HRESULT hr = client.Close();
    if (FAILED(hr)) {
        out.Failure("", "", hr, "closing the endpoint failed: " + HResultText(hr));
    } else {
        out.Line("Closed");
    }
    return out.Finish({{"steps", steps}, {"modules", modules["modules"]}});
}

}  // namespace

void AddDemoCommand(CLI::App& app, Context& context) {
    AddCommand(app, "demo", "a short session: writes and reads on both routes, then close")->callback([&context] {
        context.run = [&context](Output& out) { return RunDemo(context.options, out); };
    });
}

}  // namespace pexctl
