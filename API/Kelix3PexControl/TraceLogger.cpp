#include "TraceLogger.h"

#include <map>
#include <vector>

#include "core/CheckedLookup.h"
#include "core/HResultText.h"
#include "core/SourceName.h"

namespace kelix {
namespace {

// {C87AAB51-81CF-46F9-919F-69396983EF3C}: the provider whose events go to the
// "Sonavel KELIX3" source; every other provider logs as "Sonavel Quorra".
constexpr GUID kKelix3ProviderId = {0xC87AAB51, 0x81CF, 0x46F9, {0x91, 0x9F, 0x69, 0x39, 0x69, 0x83, 0xEF, 0x3C}};

const std::map<ULONGLONG, std::wstring>& ComponentTags() {
    static const std::map<ULONGLONG, std::wstring> tags{{kKeywordPexControl, L"PexControl"}};
    return tags;
}

std::wstring FormatV(const wchar_t* format, va_list args) {
    va_list measure;
    va_copy(measure, args);
    const int length = _vscwprintf(format, measure);
    va_end(measure);
    if (length <= 0) return {};
    std::vector<wchar_t> buffer(static_cast<size_t>(length) + 1);
    _vsnwprintf(buffer.data(), buffer.size(), format, args);
    return std::wstring(buffer.data(), static_cast<size_t>(length));
}

std::wstring Format(const wchar_t* format, ...) {
    va_list args;
    va_start(args, format);
    std::wstring text = FormatV(format, args);
    va_end(args);
    return text;
}

}  // namespace

const TraceApi& TraceApi::System() {
    static const TraceApi api{&::EventRegister,       &::EventUnregister, &::EventWriteString,
                              &::RegisterEventSourceW, &::ReportEventW,    &::DeregisterEventSource};
    return api;
}

TraceLogger& TraceLogger::Instance() {
    static TraceLogger logger;
    return logger;
}

TraceLogger::TraceLogger(const TraceApi& api, const GUID& providerId) : api_(api), providerId_(providerId) {}

TraceLogger::~TraceLogger() {
    if (handle_ != 0) api_.eventUnregister(handle_);
    if (eventSource_ != nullptr) api_.deregisterEventSource(eventSource_);
}

const wchar_t* TraceLogger::EventSourceName() const {
    return IsEqualGUID(providerId_, kKelix3ProviderId) ? L"Sonavel KELIX3" : L"Sonavel Quorra";
}

void TraceLogger::EnsureRegistered() {
    if (handle_ != 0) return;
    // The text sink reads its settings at the first registration, not at every retry.
    if (!textSinkConfigured_) {
        textSink_.Configure();
        textSinkConfigured_ = true;
    }
    REGHANDLE handle = 0;
    if (api_.eventRegister(&providerId_, &TraceLogger::EnableCallback, this, &handle) != ERROR_SUCCESS) {
        return;
    }
    handle_ = handle;
    eventSource_ = api_.registerEventSource(nullptr, EventSourceName());
}

bool TraceLogger::TracingEnabled(UCHAR level, ULONGLONG keyword) const {
    if (handle_ == 0 || !enabled_ || level_ < level) return false;
    return (keyword & keywords_) != 0;
}

bool TraceLogger::IsEnabledIfRegistered(UCHAR level, ULONGLONG keyword) const {
    return TracingEnabled(level, keyword) || textSink_.Accepts(level);
}

bool TraceLogger::IsEnabled(UCHAR level, ULONGLONG keyword) {
    EnsureRegistered();
    return IsEnabledIfRegistered(level, keyword);
}

void TraceLogger::Write(UCHAR level, ULONGLONG keyword, const wchar_t* sourcePath, int line,
                        const wchar_t* function, const wchar_t* format, ...) {
    const std::wstring prefix =
        Format(L"[%s:%d] %s", std::wstring(SourceBaseName(sourcePath)).c_str(), line, function);
    va_list args;
    va_start(args, format);
    WriteV(level, keyword, prefix, format, args);
    va_end(args);
}

void TraceLogger::WriteV(UCHAR level, ULONGLONG keyword, const std::wstring& prefix, const wchar_t* format,
                         va_list args) {
    const std::wstring message = FormatV(format, args);
    const std::wstring line = Format(L"%s: %s", prefix.c_str(), message.c_str());
    if (textSink_.Accepts(level)) {
        textSink_.Write(level, line);
        if (!TracingEnabled(level, keyword)) return;  // written for the text sink alone
    }
    if (handle_ != 0) api_.eventWriteString(handle_, level, keyword, line.c_str());
    if (eventSource_ != nullptr && (level == kLevelCritical || level == kLevelError)) {
        const std::wstring text = Format(L"[%s]: %s", CheckedAt(ComponentTags(), keyword).c_str(), line.c_str());
        const wchar_t* strings[] = {text.c_str()};
        // Error lines go to the event log with the information type, by design.
        api_.reportEvent(eventSource_, EVENTLOG_INFORMATION_TYPE, 0, 0, nullptr, 1, 0, strings, nullptr);
    }
}

void NTAPI TraceLogger::EnableCallback(LPCGUID, ULONG isEnabled, UCHAR level, ULONGLONG matchAnyKeyword,
                                       ULONGLONG, PEVENT_FILTER_DESCRIPTOR, PVOID context) {
    auto* logger = static_cast<TraceLogger*>(context);
    logger->enabled_ = isEnabled == 1;
    logger->level_ = level;
    logger->keywords_ = matchAnyKeyword;
}

std::wstring HResultText(HRESULT hr) {
    wchar_t* text = nullptr;
    const DWORD length = FormatMessageW(
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
        static_cast<DWORD>(hr), MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT), reinterpret_cast<wchar_t*>(&text), 0,
        nullptr);
    if (length == 0 || text == nullptr) return FallbackHResultText(static_cast<std::uint32_t>(hr));
    std::wstring message = TrimSystemMessage(std::wstring(text, length));
    LocalFree(text);
    return message;
}

}  // namespace kelix
