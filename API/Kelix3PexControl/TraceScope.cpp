#include "TraceScope.h"

#include <cstdarg>

#include "TraceLogger.h"
#include "core/SourceName.h"

namespace kelix {
namespace {

void WriteWithPrefix(TraceLogger& logger, UCHAR level, ULONGLONG keyword, const std::wstring& prefix,
                     const wchar_t* format, ...) {
    va_list args;
    va_start(args, format);
    logger.WriteV(level, keyword, prefix, format, args);
    va_end(args);
}

}  // namespace

TraceScope::TraceScope(ULONGLONG keyword, const wchar_t* sourcePath, int line, const wchar_t* function)
    : TraceScope(TraceLogger::Instance(), keyword, sourcePath, line, function) {}

TraceScope::TraceScope(TraceLogger& logger, ULONGLONG keyword, const wchar_t* sourcePath, int line,
                       const wchar_t* function)
    : logger_(logger), keyword_(keyword), sourcePath_(sourcePath), line_(line), function_(function) {
    if (logger_.IsEnabled(kLevelVerbose, keyword_)) {
        logger_.Write(kLevelVerbose, keyword_, sourcePath_, line_, function_, L"Enter");
    }
}

TraceScope::~TraceScope() {
    // Never registers: a registration that failed at construction is not tried again here.
    if (logger_.IsEnabledIfRegistered(kLevelVerbose, keyword_)) {
        // The Leave line carries no line number.
        const std::wstring prefix =
            L"[" + std::wstring(SourceBaseName(sourcePath_)) + L"] " + std::wstring(function_);
        WriteWithPrefix(logger_, kLevelVerbose, keyword_, prefix, L"%s Leave", note_.c_str());
    }
}

}  // namespace kelix
