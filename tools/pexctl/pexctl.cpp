// pexctl: command-line client of Kelix3PexControl.dll. `pexctl --help` lists
// the commands, options and exit codes. This file builds the app from the
// command table, parses, and runs the chosen command on the machine.
#include <windows.h>
#include <fcntl.h>
#include <io.h>

#include <sstream>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "Commands.h"
#include "Machine.h"
#include "Platform.h"

namespace pexctl {

CLI::App* AddCommand(CLI::App& app, const char* name, const char* description) {
    CLI::App* command = app.add_subcommand(name, description);
    command->fallthrough();
    return command;
}

namespace {

// The commands in the order help shows them.
constexpr void (*kCommands[])(CLI::App&, Context&) = {
    AddListCommand, AddValueCommands, AddParamsCommand, AddDemoCommand, AddSnapshotCommands, AddServeCommand,
    AddCaptureCommand,
};

// Help shows --simulate [=PROFILE.json], without the marker its bare use stores.
class HelpFormatter : public CLI::Formatter {
public:
    std::string make_option_name(const CLI::Option* option, bool positional) const override {
        const std::string name = CLI::Formatter::make_option_name(option, positional);
        return name.substr(0, name.find('{'));
    }
};

void AddGlobalOptions(CLI::App& app, GlobalOptions& options) {
    app.add_flag(std::string("--simulate{") + kBuiltInMachine + "}", options.simulate,
                 "use simulated endpoints instead of the system's: the built-in machine, or with "
                 "--simulate=PROFILE.json a machine profile, written back with its new state after the run")
        ->option_text("[=PROFILE.json]");
    app.add_flag("--no-save", options.noSave, "with --simulate=PROFILE.json: leave the profile as it was");
    app.add_option("--device", options.device, "endpoint: id, index from `list`, piece of the name, or default");
    app.add_option("--route", options.route, "store, dsp or both (default: the store, or the DSP for DSP-only ids)")
        ->check(CLI::IsMember({"store", "dsp", "both"}));
    app.add_option("--type", options.type, "PROPVARIANT type of a scalar store write: i4 or ui4 (reads: shows ui4)")
        ->check(CLI::IsMember({"i4", "ui4"}));
    app.add_option("--trace", options.trace, "the library's log lines of level 1 (critical) to 5 (verbose) on stderr")
        ->check(CLI::Range(1, 5));
    app.add_flag("--json", options.json, "JSON on standard output, errors included");
}

// A parse failure in words: a word where the command belongs is named as such.
std::string ParseFailure(const CLI::App& app, const CLI::ParseError& e, const std::vector<std::string>& given) {
    const auto end = std::find(given.begin(), given.end(), "--");
    const auto commands = app.get_subcommands({});
    for (auto arg = given.begin(); arg != end; ++arg) {
        if (*arg == "--device" || *arg == "--route" || *arg == "--type" || *arg == "--trace") {
            if (++arg == end) break;
        } else if (!arg->starts_with("-")) {
            if (std::none_of(commands.begin(), commands.end(),
                             [&](const CLI::App* command) { return command->get_name() == *arg; })) {
                std::string names;
                for (const CLI::App* command : commands) names += (names.empty() ? "" : ", ") + command->get_name();
                return "unknown command \"" + *arg + "\" (commands: " + names + ")";
            }
            break;
        }
    }
    return e.what();
}

int Main(std::vector<std::string> args) {
    Context context;
    CLI::App app{"pexctl: read and write the PEX and KRELO tuning parameters of an audio endpoint through "
                 "Kelix3PexControl.dll."};
    app.name("pexctl");
    // Options start with "-" only: a path such as /tmp/tuning.json is a value.
    app.allow_windows_style_options(false);
    app.formatter(std::make_shared<HelpFormatter>());
    app.set_version_flag("--version", "pexctl " + std::string(KELIX_VERSION_TEXT));
    app.footer(std::string("PARAM is a name (pex_postgain) or an id (1105); `pexctl params` lists them.\n"
                           "VALUE is a number (decimal, or hexadecimal with 0x) or, for a structure, a JSON object by "
                           "field, inline or as @FILE:\n"
                           "  pexctl set krelo_regulator_isolated_bands '{\"a\": [1, 2, ..., 20]}'\n"
                           "--device takes an id, an index from `pexctl list`, a piece of the name, or default.\n"
                           "Snapshots: `pexctl save tuning.json`, later `pexctl diff tuning.json` and "
                           "`pexctl apply [--dry-run] tuning.json`;\n"
                           "  `pexctl report --from tuning.json --compare other.json page.html` draws them.\n"
                           "A simulated machine kept between runs: `pexctl --simulate=machine.json set pex_postgain -4` "
                           "(profiles: sim/profiles/).\n\n") +
               kExitCodes);
    AddGlobalOptions(app, context.options);
    app.require_subcommand(1);
    for (const auto add : kCommands) add(app, context);
    CLI::App* help = AddCommand(app, "help", "this help");

    const std::vector<std::string> given = args;
    try {
        std::reverse(args.begin(), args.end());  // CLI11 takes them last first, and consumes them
        app.parse(args);
    } catch (const CLI::ParseError& e) {
        std::ostringstream text, error;
        const int code = app.exit(e, text, error);
        Write(stdout, text.str());
        if (code == 0) return kExitSuccess;  // --help, --version
        // Values are stored once parsing succeeds, so --json is looked for here.
        const auto end = std::find(given.begin(), given.end(), "--");
        Output usage(std::find(given.begin(), end, "--json") != end);
        return usage.Usage(ParseFailure(app, e, given) + "; `pexctl --help` shows the usage");
    }
    if (help->parsed()) {
        Write(stdout, app.get_formatter()->make_help(&app, app.get_name(), CLI::AppFormatMode::Normal));
        return kExitSuccess;
    }
    Output output(context.options.json);
    if (!context.onMachine) return context.run(output);
    return RunOnMachine(context.options, output, [&] { return context.run(output); });
}

}  // namespace
}  // namespace pexctl

int wmain(int argc, wchar_t** argv) {
    // UTF-8 on both streams, byte for byte.
    SetConsoleOutputCP(CP_UTF8);
    _setmode(_fileno(stdout), _O_BINARY);
    _setmode(_fileno(stderr), _O_BINARY);
    std::vector<std::string> args;
    for (int i = 1; i < argc; ++i) args.push_back(pexctl::Utf16ToUtf8(pexctl::ToU16(argv[i])));
    try {
        return pexctl::Main(std::move(args));
    } catch (const std::exception& e) {
        pexctl::Write(stderr, std::string("pexctl: ") + e.what() + "\n");
        return 1;
    }
}
