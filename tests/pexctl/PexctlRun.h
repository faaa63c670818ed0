// pexctl run as a user runs it, for the tests: a separate process, its exit
// code, standard output and standard error.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace pexctl_test {

using Json = nlohmann::json;

struct Outcome {
    DWORD exitCode = 0xFFFFFFFF;
    std::string out;
    std::string err;
};

std::string ReadAll(const std::string& path);

// Runs pexctl with UTF-8 arguments (each quoted for the command line), its
// streams sent to files.
Outcome Pexctl(const std::vector<std::string>& args);
std::string Describe(const std::vector<std::string>& args, const Outcome& run);
// The document on stdout; a test failure that names the run when it is no JSON.
Json Parse(const std::vector<std::string>& args, const Outcome& run);
// The document's leaves, a "/json/pointer=value\n" line each in key order, strings as they are:
// what a run answered, found by text whatever the nesting.
std::string Leaves(const Json& document);

// A run and the answer it must give.
struct Case {
    // After --simulate (the built-in machine) unless they name a profile or start with --no-save,
    // which needs one; on Wine's own audio when not simulated.
    std::vector<std::string> args;
    DWORD exitCode;
    std::vector<std::string> err;  // each found on stderr; none: stderr is empty
    std::vector<std::string> out;  // each found on stdout, among the Leaves with --json; none: stdout is empty
};
void Check(const Case& run, bool simulated = true);

// pex_ieq_bands' value: count 4, the arrays a (first, 2 * first, ...) and b (-2..2 repeated).
Json Bands(int first);

// A machine profile as shipped in sim/profiles.
std::string ShippedProfile(const char* name);

// A file beside the test program, removed when the test ends.
class TemporaryFile {
public:
    explicit TemporaryFile(const std::string& name, const std::string& content = "");
    ~TemporaryFile();
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    const std::string& Path() const { return path_; }
    std::string Content() const { return ReadAll(path_); }

private:
    std::string path_;
};

}  // namespace pexctl_test
