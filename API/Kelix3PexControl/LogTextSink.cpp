#include "LogTextSink.h"

#include <string>

namespace kelix {
namespace {

std::wstring Environment(const wchar_t* name) {
    wchar_t buffer[MAX_PATH];
    const DWORD length = GetEnvironmentVariableW(name, buffer, MAX_PATH);
    if (length == 0 || length >= MAX_PATH) return {};
    return std::wstring(buffer, length);
}

std::string Utf8(const std::wstring& text) {
    if (text.empty()) return {};
    const int length = WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()),
                                           nullptr, 0, nullptr, nullptr);
    std::string out(static_cast<size_t>(length), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), out.data(), length,
                        nullptr, nullptr);
    return out;
}

}  // namespace

LogTextSink::~LogTextSink() {
    if (file_ != INVALID_HANDLE_VALUE) CloseHandle(file_);
}

void LogTextSink::Configure() {
    const std::wstring level = Environment(L"KELIX3PEX_LOG_LEVEL");
    level_ = (level.size() == 1 && level[0] >= L'1' && level[0] <= L'5')
                 ? static_cast<UCHAR>(level[0] - L'0')
                 : 0;
    if (file_ != INVALID_HANDLE_VALUE) CloseHandle(file_);
    file_ = INVALID_HANDLE_VALUE;
    const std::wstring path = Environment(L"KELIX3PEX_LOG_FILE");
    if (level_ != 0 && !path.empty()) {
        file_ = CreateFileW(path.c_str(), FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                            nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
        if (file_ == INVALID_HANDLE_VALUE) level_ = 0;  // a file that cannot be opened takes no lines
    }
}

void LogTextSink::Write(UCHAR level, const std::wstring& line) const {
    const std::string text = Utf8(std::to_wstring(level) + L" " + line + L"\n");
    const DWORD size = static_cast<DWORD>(text.size());
    DWORD written = 0;
    const HANDLE target = file_ != INVALID_HANDLE_VALUE ? file_ : GetStdHandle(STD_ERROR_HANDLE);
    WriteFile(target, text.data(), size, &written, nullptr);
}

}  // namespace kelix
