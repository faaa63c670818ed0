#include "LogCapture.h"

#include <windows.h>

#include <cwctype>
#include <fstream>
#include <sstream>

namespace kelix::test {
namespace {

std::wstring FromUtf8(const std::string& text) {
    if (text.empty()) return {};
    const int length = MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0);
    std::wstring out(static_cast<size_t>(length), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), out.data(), length);
    return out;
}

std::string Narrow(const std::wstring& text) {
    const int length = WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0,
                                           nullptr, nullptr);
    std::string out(static_cast<size_t>(length), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), out.data(), length, nullptr,
                        nullptr);
    return out;
}

// "N [file:line] function: message" or "N [file] function: message".
LogLine Parse(const std::wstring& raw) {
    LogLine line;
    line.raw = raw;
    if (raw.size() < 4 || raw[1] != L' ' || raw[2] != L'[') return line;
    line.level = raw[0] - L'0';
    const size_t close = raw.find(L"] ", 3);
    if (close == std::wstring::npos) return line;
    const std::wstring location = raw.substr(3, close - 3);
    const size_t colon = location.rfind(L':');
    if (colon != std::wstring::npos) {
        line.file = location.substr(0, colon);
        line.line = _wtoi(location.c_str() + colon + 1);
    } else {
        line.file = location;
    }
    const size_t separator = raw.find(L": ", close + 2);
    if (separator == std::wstring::npos) return line;
    line.function = raw.substr(close + 2, separator - close - 2);
    line.message = raw.substr(separator + 2);
    return line;
}

std::string Dump(const std::vector<LogLine>& lines) {
    std::string out = "\nlog:\n";
    for (const LogLine& line : lines) out += "  " + Narrow(line.raw) + "\n";
    return out;
}

}  // namespace

LogCapture::LogCapture(int level) {
    // A name of this process's own: a tick-based temporary name can meet the
    // file of a process that just ended, still pending deletion, which the
    // library then cannot open, and the log would stay empty.
    static int captures = 0;
    wchar_t directory[MAX_PATH];
    GetTempPathW(MAX_PATH, directory);
    path_ = std::wstring(directory) + L"kelix-log-" + std::to_wstring(GetCurrentProcessId()) + L"-" +
            std::to_wstring(++captures) + L".txt";
    const HANDLE file = CreateFileW(path_.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                    nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file != INVALID_HANDLE_VALUE) CloseHandle(file);
    SetEnvironmentVariableW(L"KELIX3PEX_LOG_LEVEL", std::to_wstring(level).c_str());
    SetEnvironmentVariableW(L"KELIX3PEX_LOG_FILE", path_.c_str());
}

LogCapture::~LogCapture() {
    SetEnvironmentVariableW(L"KELIX3PEX_LOG_LEVEL", nullptr);
    SetEnvironmentVariableW(L"KELIX3PEX_LOG_FILE", nullptr);
    DeleteFileW(path_.c_str());
}

std::vector<LogLine> LogCapture::Lines() const {
    std::ifstream in(path_.c_str(), std::ios::binary);
    std::stringstream content;
    content << in.rdbuf();
    std::vector<LogLine> lines;
    std::wstringstream text(FromUtf8(content.str()));
    for (std::wstring raw; std::getline(text, raw);) lines.push_back(Parse(raw));
    return lines;
}

void LogCapture::Clear() const {
    std::ofstream truncate(path_.c_str(), std::ios::binary | std::ios::trunc);
}

testing::AssertionResult LogCapture::Has(int level, const std::wstring& file, const std::wstring& function,
                                         const std::wstring& message) const {
    const std::vector<LogLine> lines = Lines();
    int matches = 0;
    for (const LogLine& line : lines) {
        if (line.level == level && line.file == file && line.function == function && line.message == message &&
            line.line != 0) {
            ++matches;
        }
    }
    if (matches == 1) return testing::AssertionSuccess();
    return testing::AssertionFailure() << matches << " lines of level " << level << " [" << Narrow(file) << ":N] "
                                       << Narrow(function) << ": " << Narrow(message) << Dump(lines);
}

std::wstring MaskAddresses(std::wstring text) {
    for (size_t at = text.find(L"[0x"); at != std::wstring::npos; at = text.find(L"[0x", at + 1)) {
        size_t digits = 0;
        while (at + 3 + digits < text.size() && std::iswxdigit(text[at + 3 + digits])) ++digits;
        if (digits == 16) text.replace(at + 3, 16, std::wstring(16, L'X'));
    }
    return text;
}

}  // namespace kelix::test
