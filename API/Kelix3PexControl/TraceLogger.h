// The process-wide logger: every line goes to the event-tracing provider, lines
// of level 1 and 2 are copied to the event log, and the text sink (LogTextSink)
// takes a copy when configured. Nothing is formatted unless IsEnabled says so.
#pragma once

#include <windows.h>
#include <evntprov.h>

#include <cstdarg>
#include <string>

#include "LogTextSink.h"

namespace kelix {

enum LogLevel : UCHAR {
    kLevelCritical = 1,
    kLevelError = 2,
    kLevelWarning = 3,
    kLevelInformation = 4,
    kLevelVerbose = 5,
};

// Component keyword of this library; its event-log tag is "PexControl".
inline constexpr ULONGLONG kKeywordPexControl = 0x400;

// {23A46DB4-562B-44A3-9C4F-1D5598262B8E}
inline constexpr GUID kTraceProviderId = {0x23A46DB4, 0x562B, 0x44A3, {0x9C, 0x4F, 0x1D, 0x55, 0x98, 0x26, 0x2B, 0x8E}};

// The system calls the logger makes; tests replace them to watch both sinks.
struct TraceApi {
    decltype(&::EventRegister) eventRegister;
    decltype(&::EventUnregister) eventUnregister;
    decltype(&::EventWriteString) eventWriteString;
    decltype(&::RegisterEventSourceW) registerEventSource;
    decltype(&::ReportEventW) reportEvent;
    decltype(&::DeregisterEventSource) deregisterEventSource;

    static const TraceApi& System();
};

class TraceLogger {
public:
    static TraceLogger& Instance();

    explicit TraceLogger(const TraceApi& api = TraceApi::System(), const GUID& providerId = kTraceProviderId);
    ~TraceLogger();
    TraceLogger(const TraceLogger&) = delete;
    TraceLogger& operator=(const TraceLogger&) = delete;

    void EnsureRegistered();
    // Whether a line of this level and keyword goes anywhere: to event tracing
    // or to the text sink. Registers the provider first.
    bool IsEnabled(UCHAR level, ULONGLONG keyword);
    // The same without registering: false before the provider is registered,
    // unless the text sink takes the line.
    bool IsEnabledIfRegistered(UCHAR level, ULONGLONG keyword) const;

    // Line "[file:line] function: message", file being the base name of sourcePath.
    void Write(UCHAR level, ULONGLONG keyword, const wchar_t* sourcePath, int line,
               const wchar_t* function, const wchar_t* format, ...);
    void WriteV(UCHAR level, ULONGLONG keyword, const std::wstring& prefix, const wchar_t* format,
                va_list args);

    // Event-log source name chosen by provider id.
    const wchar_t* EventSourceName() const;

    static void NTAPI EnableCallback(LPCGUID sourceId, ULONG isEnabled, UCHAR level,
                                     ULONGLONG matchAnyKeyword, ULONGLONG matchAllKeyword,
                                     PEVENT_FILTER_DESCRIPTOR filterData, PVOID context);

private:
    // Whether a trace session listens for this level and keyword. The text
    // sink sits beside event tracing and never changes what reaches it.
    bool TracingEnabled(UCHAR level, ULONGLONG keyword) const;

    const TraceApi& api_;
    GUID providerId_;
    REGHANDLE handle_ = 0;
    volatile bool enabled_ = false;
    volatile UCHAR level_ = 0;
    volatile ULONGLONG keywords_ = 0;
    HANDLE eventSource_ = nullptr;
    LogTextSink textSink_;
    bool textSinkConfigured_ = false;
};

// "[0x%.8x]%s" arguments of a failure message: the code and its system text.
std::wstring HResultText(HRESULT hr);
#define KELIX_HR(hr) static_cast<unsigned>(hr), ::kelix::HResultText(hr).c_str()

// Logs under this library's keyword from a file that defines kLogSourcePath.
// The arguments are evaluated only when the line is enabled.
#define KELIX_LOG(level, function, ...)                                                      \
    do {                                                                                     \
        ::kelix::TraceLogger& kelixLogger = ::kelix::TraceLogger::Instance();                \
        if (kelixLogger.IsEnabled((level), ::kelix::kKeywordPexControl)) {                   \
            kelixLogger.Write((level), ::kelix::kKeywordPexControl, kLogSourcePath, __LINE__, \
                              (function), __VA_ARGS__);                                      \
        }                                                                                    \
    } while (0)

}  // namespace kelix
