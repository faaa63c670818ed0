// save, diff, apply and report: snapshots of the endpoint, and pages of them.
#include <algorithm>
#include <memory>
#include <optional>
#include <string>

#include <fmt/format.h>

#include "Commands.h"
#include "EndpointClient.h"
#include "Files.h"
#include "Report.h"
#include "SnapshotWork.h"

namespace pexctl {
namespace {

struct SnapshotOptions {
    std::string file;           // save, diff, apply: the snapshot; report: the page
    bool dryRun = false;        // apply
    std::string from, compare;  // report: snapshots to draw instead of the endpoint, and beside it
};

int RunSnapshot(const std::string& verb, const SnapshotOptions& options, const GlobalOptions& global, Output& out) {
    // Files are read and checked before the endpoint is opened.
    std::optional<Snapshot> saved, compared;
    if (verb == "diff" || verb == "apply" || !options.from.empty()) {
        saved = LoadSnapshot(verb == "report" ? options.from : options.file, out);
        if (!saved) return kExitUsage;
    }
    if (!options.compare.empty()) {
        compared = LoadSnapshot(options.compare, out);
        if (!compared) return kExitUsage;
    }
    const std::vector<UINT32> routes = SnapshotRoutes(global.route, verb == "report" || !saved ? nullptr : &*saved);

    // Whether FILE was written; a failure reported when not.
    const auto write = [&](const std::string& what, const std::string& content) {
        if (WriteFileReplacing(options.file, content)) return true;
        const HRESULT hr = HRESULT_FROM_WIN32(GetLastError());
        out.Failure("", "", hr, "writing the " + what + " \"" + options.file + "\" failed: " + HResultText(hr));
        return false;
    };
    const auto fileName = [](const std::string& path) { return path.substr(path.find_last_of("/\\") + 1); };
    const auto writePage = [&](const Snapshot& snapshot, const std::string& label) {
        const ReportSource other{compared ? &*compared : nullptr, fileName(options.compare)};
        if (!write("report", ReportHtml({&snapshot, label}, compared ? &other : nullptr))) {
            return out.Finish(Json::object());
        }
        out.Success();
        out.Line("report written to " + options.file);
        return out.Finish({{"report", options.file}});
    };
    if (verb == "report" && saved) return writePage(*saved, fileName(options.from));

    EndpointClient client(global, out);
    if (const std::optional<int> failed = client.Open()) return *failed;
    int absent = 0;
    const Snapshot current = client.Collect(routes, absent);
    if (verb == "report") return writePage(current, current.endpoint.name);
    if (verb == "save") {
        if (!write("snapshot", SnapshotToJson(current).dump(2) + "\n")) return out.Finish(Json::object());
        out.Line(fmt::format("{} values of {} saved to {} ({} without a stored value left out)", current.entries.size(),
                             current.endpoint.name, options.file, absent));
        return out.Finish({{"file", options.file}, {"saved", current.entries.size()}, {"withoutValue", absent}});
    }

    if (saved->endpoint.id != current.endpoint.id) {
        out.Line("note: the file was saved from " + saved->endpoint.name + " " + saved->endpoint.id);
    }
    const Reconciliation done = Reconcile(client, *saved, current, verb == "apply", options.dryRun, out);
    if (verb == "diff") {
        out.Line(done.differences == 0   ? "no differences"
                 : done.differences == 1 ? "1 difference"
                                         : fmt::format("{} differences", done.differences));
        if (done.differences > 0) out.Differs();
        return out.Finish({{"file", options.file}, {"same", done.differences == 0}, {"differences", done.items}});
    }
    const auto wouldWrite = std::count_if(done.items.begin(), done.items.end(),
                                          [](const Json& item) { return item.at("result") == "dry run"; });
    if (options.dryRun && wouldWrite > 0) out.Differs();
    out.Line(fmt::format("{} of {} values differed{}{}{}",
                         saved->entries.size() - static_cast<std::size_t>(done.unchanged + done.skipped),
                         saved->entries.size(),
                         options.dryRun ? "; nothing written (--dry-run)" : "",
                         done.notInFile == 0
                             ? ""
                             : fmt::format("; {} values the file does not hold left as they are", done.notInFile),
                         done.skipped == 0
                             ? ""
                             : fmt::format("; {} values of a family not on the DSP skipped", done.skipped)));
    return out.Finish({{"file", options.file},
                       {"dryRun", options.dryRun},
                       {"writes", done.items},
                       {"wouldWrite", options.dryRun ? wouldWrite : 0},
                       {"unchanged", done.unchanged},
                       {"notInFile", done.notInFile},
                       {"skippedValues", done.skipped}});
}

}  // namespace

void AddSnapshotCommands(CLI::App& app, Context& context) {
    const auto options = std::make_shared<SnapshotOptions>();
    const auto add = [&](const char* verb, const char* description) {
        return AddVerb(app, context, options, verb, description, RunSnapshot);
    };
    add("save", "a snapshot: every readable value of the endpoint (both routes unless --route) as JSON")
        ->add_option("FILE", options->file, "the snapshot to write")
        ->required();
    add("diff", "what differs between a snapshot and the endpoint; exits 0 when nothing does, 4 when something does")
        ->add_option("FILE", options->file, "a snapshot from `pexctl save`")
        ->required();
    CLI::App* apply = add("apply", "write the values of a snapshot that differ on the endpoint, each reported");
    apply->add_option("FILE", options->file, "a snapshot from `pexctl save`; checked whole before anything is written")
        ->required();
    apply->add_flag("--dry-run", options->dryRun, "only say what would be written; exits 4 when something would be");
    CLI::App* report =
        add("report", "an HTML page of the endpoint's tuning (or a snapshot's): scalars, band arrays as curves");
    report->add_option("FILE", options->file, "the page to write (.html)")->required();
    report->add_option("--from", options->from, "draw this snapshot instead of the endpoint");
    report->add_option("--compare", options->compare, "overlay this snapshot");
}

}  // namespace pexctl
