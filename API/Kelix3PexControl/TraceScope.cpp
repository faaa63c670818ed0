#include "TraceScope.h"

#include <cstdarg>

#include "TraceLogger.h"
#include "core/SourceName.h"

namespace kelix {
namespace {

void WriteWithPrefix(UCHAR level, ULONGLONG keyword, const std::wstring& prefix, const wchar_t* format, ...) {
    va_list args;
    va_start(args, format);
    TraceLogger::Instance().WriteV(level, keyword, prefix, format, args);
    va_end(args);
}

}  // namespace

TraceScope::TraceScope(ULONGLONG keyword, const wchar_t* sourcePath, int line, const wchar_t* function)
    : keyword_(keyword), sourcePath_(sourcePath), line_(line), function_(function) {
    TraceLogger& logger = TraceLogger::Instance();
    if (logger.IsEnabled(kLevelVerbose, keyword_)) {
        logger.Write(kLevelVerbose, keyword_, sourcePath_, line_, function_, L"Enter");
    }
}

TraceScope::~TraceScope() {
    TraceLogger& logger = TraceLogger::Instance();
    if (logger.IsEnabled(kLevelVerbose, keyword_)) {
        // The Leave line carries no line number.
        const std::wstring prefix =
            L"[" + std::wstring(SourceBaseName(sourcePath_)) + L"] " + std::wstring(function_);
        WriteWithPrefix(kLevelVerbose, keyword_, prefix, L"%s Leave", note_.c_str());
    }
}

}  // namespace kelix
