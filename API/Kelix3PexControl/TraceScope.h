// Brackets a traced operation with verbose "Enter" and "Leave" lines.
#pragma once

#include <windows.h>

#include <string>

namespace kelix {

class TraceLogger;

class TraceScope {
public:
    // Logs through the process-wide logger, or the one given.
    TraceScope(ULONGLONG keyword, const wchar_t* sourcePath, int line, const wchar_t* function);
    TraceScope(TraceLogger& logger, ULONGLONG keyword, const wchar_t* sourcePath, int line, const wchar_t* function);
    ~TraceScope();
    TraceScope(const TraceScope&) = delete;
    TraceScope& operator=(const TraceScope&) = delete;

    void SetNote(std::wstring note) { note_ = std::move(note); }

private:
    TraceLogger& logger_;
    ULONGLONG keyword_;
    const wchar_t* sourcePath_;  // literals: a scope costs no allocation while tracing is off
    int line_;
    const wchar_t* function_;
    std::wstring note_;
};

#define KELIX_TRACE_SCOPE(function) \
    ::kelix::TraceScope kelixTraceScope(::kelix::kKeywordPexControl, kLogSourcePath, __LINE__, (function))

}  // namespace kelix
