// What every pexctl command prints: text lines as they come, or one JSON
// document at the end, failures as error objects of one shape, and the exit
// code that follows from them. `serve` answers with the same documents.
#pragma once

#include <windows.h>

#include <cstdio>
#include <optional>
#include <string>

#include "Values.h"

namespace pexctl {

constexpr int kExitSuccess = 0;
constexpr int kExitFailed = 1;
constexpr int kExitUsage = 2;
constexpr int kExitPartial = 3;
constexpr int kExitDifferent = 4;  // diff: the endpoint differs; apply --dry-run: something would be written

// The exit codes as help shows them.
extern const char* const kExitCodes;

// Writes all of `text` and flushes.
void Write(FILE* stream, const std::string& text);

// "0x80004005", as error objects carry HRESULTs.
std::string HResultCode(HRESULT hr);

class Output {
public:
    // `quiet`: neither lines nor errors are printed (a document is built only).
    explicit Output(bool json, bool quiet = false) : json_(json), quiet_(quiet) {}
    bool Json() const { return json_; }

    void Line(const std::string& text);
    void Success() { ++successes_; }
    // {"route": "store"|"dsp"|null, "hresult": "0x80004005"|null, "message": "...", "parameter": "..."}
    void Failure(const std::string& parameter, const std::string& route, std::optional<HRESULT> hr,
                 const std::string& message);
    // What is not there to be read, said once and not a failure: a line on standard error, or
    // {"route", "family", "message"} under "skipped" in the document.
    void Skipped(const std::string& route, const std::string& family, const std::string& message);
    // The endpoint differs from what was compared (the exit code says so when nothing failed).
    void Differs() { different_ = true; }
    // A usage failure, printed; the usage exit code.
    int Usage(const std::string& message);
    // `document` with the error objects added under "errors" and the skipped families under "skipped".
    pexctl::Json Document(pexctl::Json document) const;
    // The exit code of what happened: usage, failed, partial, different, or success.
    int Code() const;
    bool Failed() const { return failures_ > 0; }
    // Prints the document (JSON mode) and gives the exit code.
    int Finish(pexctl::Json document);

private:
    bool json_;
    bool quiet_;
    int successes_ = 0;
    int failures_ = 0;
    bool usage_ = false;
    bool different_ = false;
    pexctl::Json errors_ = pexctl::Json::array();
    pexctl::Json skipped_ = pexctl::Json::array();
};

}  // namespace pexctl
