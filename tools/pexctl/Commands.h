// pexctl's commands: each file adds its command to the app, binds the
// command's own options and sets what runs it (see pexctl.cpp for the table).
#pragma once

#include <functional>
#include <memory>
#include <string>

#include <CLI/CLI.hpp>

#include "Output.h"

namespace pexctl {

constexpr const char* kBuiltInMachine = "*";  // --simulate without a profile

// The options every command takes.
struct GlobalOptions {
    std::string simulate;  // empty: the system's endpoints; kBuiltInMachine, or a profile's path
    bool noSave = false;
    bool json = false;
    std::string device;
    std::string route;  // empty: the parameter's own route (the store when it has one)
    std::string type;
    int trace = 0;
};

// The parsed command line: the global options and the chosen command.
struct Context {
    GlobalOptions options;
    std::function<int(Output&)> run;  // set by the chosen command's callback
    bool onMachine = true;           // false: runs without COM and the endpoints (params)
};

// Adds a command that takes the global options after its name too.
CLI::App* AddCommand(CLI::App& app, const char* name, const char* description);

// Adds one verb of a group whose verbs share one options struct, filled by
// the parser, and one runner: run(verb, options, context.options, out).
template <typename Options, typename Run>
CLI::App* AddVerb(CLI::App& app, Context& context, const std::shared_ptr<Options>& options, const char* verb,
                  const char* description, Run run) {
    CLI::App* command = AddCommand(app, verb, description);
    command->callback([&context, options, verb = std::string(verb), run] {
        context.run = [&context, options, verb, run](Output& out) { return run(verb, *options, context.options, out); };
    });
    return command;
}

void AddListCommand(CLI::App& app, Context& context);
void AddValueCommands(CLI::App& app, Context& context);  // get, set, dump, modules
void AddParamsCommand(CLI::App& app, Context& context);
void AddDemoCommand(CLI::App& app, Context& context);
void AddSnapshotCommands(CLI::App& app, Context& context);  // save, diff, apply, report
void AddServeCommand(CLI::App& app, Context& context);      // serve/
void AddCaptureCommand(CLI::App& app, Context& context);

}  // namespace pexctl
