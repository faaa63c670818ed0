// Text copy of the log for places without event-tracing tools. Configured from
// the environment when the logger registers:
//   KELIX3PEX_LOG_LEVEL  1..5: lines of that level or more severe are written
//   KELIX3PEX_LOG_FILE   file to append to (UTF-8); standard error when unset
// Each line is the level digit, one blank and the line exactly as sent to
// event tracing, e.g. "2 [ApoController.cpp:61] ApoController::Open: ...".
#pragma once

#include <windows.h>

#include <string>

namespace kelix {

class LogTextSink {
public:
    LogTextSink() = default;
    ~LogTextSink();
    LogTextSink(const LogTextSink&) = delete;
    LogTextSink& operator=(const LogTextSink&) = delete;

    void Configure();
    bool Accepts(UCHAR level) const { return level != 0 && level <= level_; }
    void Write(UCHAR level, const std::wstring& line) const;

private:
    UCHAR level_ = 0;  // 0: off
    // The named file, opened for appending and shared, so that readers may
    // read, truncate or delete it while lines go on being appended.
    HANDLE file_ = INVALID_HANDLE_VALUE;
};

}  // namespace kelix
