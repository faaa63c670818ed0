#include "Output.h"

#include <fmt/format.h>

namespace pexctl {

const char* const kExitCodes =
    "Exit codes:\n"
    "  0  success\n"
    "  1  a platform call failed (the error names the parameter, the route, the HRESULT and its text)\n"
    "  2  usage: a bad command, option, parameter, value, device, snapshot or machine profile\n"
    "  3  partial: some parameters of a dump or save, one route of a both-routes read or write, some writes of an\n"
    "     apply, or some demo steps failed\n"
    "  4  different: diff found the endpoint differs from the snapshot; apply --dry-run would write something\n"
    "A family (PEX, KRELO) that is not on the endpoint's DSP is no failure: save, report, dump and apply skip its\n"
    "DSP parameters and say so once.\n"
    "With --json, failures come as {\"errors\": [{\"route\", \"hresult\", \"message\"}]} on standard output,\n"
    "skipped families as {\"skipped\": [{\"route\", \"family\", \"message\"}]}.\n";

void Write(FILE* stream, const std::string& text) {
    std::fwrite(text.data(), 1, text.size(), stream);
    std::fflush(stream);
}

std::string HResultCode(HRESULT hr) { return fmt::format("0x{:08X}", static_cast<std::uint32_t>(hr)); }

void Output::Line(const std::string& text) {
    if (!json_ && !quiet_) Write(stdout, text + "\n");
}

void Output::Failure(const std::string& parameter, const std::string& route, std::optional<HRESULT> hr,
                     const std::string& message) {
    ++failures_;
    pexctl::Json error = {{"route", route.empty() ? pexctl::Json() : pexctl::Json(route)},
                          {"hresult", hr ? pexctl::Json(HResultCode(*hr)) : pexctl::Json()},
                          {"message", message}};
    if (!parameter.empty()) error["parameter"] = parameter;
    if (json_ || quiet_) {
        errors_.push_back(std::move(error));
    } else {
        Write(stderr, "pexctl: " + message + "\n");
    }
}

void Output::Skipped(const std::string& route, const std::string& family, const std::string& message) {
    if (json_ || quiet_) {
        skipped_.push_back({{"route", route}, {"family", family}, {"message", message}});
    } else {
        Write(stderr, "pexctl: " + message + "\n");
    }
}

int Output::Usage(const std::string& message) {
    Failure("", "", std::nullopt, message);
    usage_ = true;
    Finish(pexctl::Json::object());
    return kExitUsage;
}

pexctl::Json Output::Document(pexctl::Json document) const {
    if (!errors_.empty()) document["errors"] = errors_;
    if (!skipped_.empty()) document["skipped"] = skipped_;
    return document;
}

int Output::Code() const {
    if (usage_) return kExitUsage;
    if (failures_ > 0) return successes_ > 0 ? kExitPartial : kExitFailed;
    return different_ ? kExitDifferent : kExitSuccess;
}

int Output::Finish(pexctl::Json document) {
    if (json_ && !quiet_) Write(stdout, Document(std::move(document)).dump(2) + "\n");
    return Code();
}

}  // namespace pexctl
