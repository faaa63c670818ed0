#include "LogCapture.h"

#include <windows.h>

#include <fstream>
#include <regex>
#include <sstream>

namespace kelix::test {
namespace {

// "N [file:line] function: message" or "N [file] function: message".
LogLine Parse(const std::wstring& raw) {
    LogLine line;
    line.raw = raw;
    const size_t close = raw.find(L"] ", 3), separator = raw.find(L": ", close + 2);
    if (raw.size() < 4 || raw[1] != L' ' || raw[2] != L'[' || close == std::wstring::npos ||
        separator == std::wstring::npos) {
        return line;
    }
    line.level = raw[0] - L'0';
    line.file = raw.substr(3, close - 3);
    if (const size_t colon = line.file.rfind(L':'); colon != std::wstring::npos) {
        line.line = _wtoi(line.file.c_str() + colon + 1);
        line.file.resize(colon);
    }
    line.function = raw.substr(close + 2, separator - close - 2);
    line.message = raw.substr(separator + 2);
    return line;
}

// An object address (16 hex digits after "[0x") as 'X's.
std::wstring MaskAddresses(const std::wstring& text) {
    static const std::wregex address(L"\\[0x[0-9A-Fa-f]{16}(?![0-9A-Fa-f])");
    return std::regex_replace(text, address, L"[0xXXXXXXXXXXXXXXXX");
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
    Clear();
    SetEnvironmentVariableW(L"KELIX3PEX_LOG_LEVEL", std::to_wstring(level).c_str());
    SetEnvironmentVariableW(L"KELIX3PEX_LOG_FILE", path_.c_str());
}

LogCapture::~LogCapture() {
    SetEnvironmentVariableW(L"KELIX3PEX_LOG_LEVEL", nullptr);
    SetEnvironmentVariableW(L"KELIX3PEX_LOG_FILE", nullptr);
    DeleteFileW(path_.c_str());
}

std::vector<LogLine> LogCapture::Lines() const {
    std::stringstream content;
    content << std::ifstream(path_.c_str(), std::ios::binary).rdbuf();
    const std::string bytes = content.str();
    std::wstring text(bytes.size(), L'\0');  // never more UTF-16 units than UTF-8 bytes
    text.resize(static_cast<size_t>(MultiByteToWideChar(CP_UTF8, 0, bytes.data(), static_cast<int>(bytes.size()),
                                                        text.data(), static_cast<int>(text.size()))));
    std::vector<LogLine> lines;
    std::wstringstream stream(text);
    for (std::wstring raw; std::getline(stream, raw);) lines.push_back(Parse(raw));
    return lines;
}

void LogCapture::Clear() const {
    std::ofstream truncate(path_.c_str(), std::ios::binary | std::ios::trunc);
}

testing::AssertionResult LogCapture::Has(int level, const std::wstring& file, const std::wstring& function,
                                         const std::wstring& message, int times) const {
    const std::vector<LogLine> lines = Lines();
    int matches = 0;
    std::wstring dump = L"\nlog:\n";
    for (const LogLine& line : lines) {
        matches += line.level == level && line.file == file && line.function == function &&
                   MaskAddresses(line.message) == message && line.line != 0;
        dump += L"  " + line.raw + L"\n";
    }
    if (matches == times) return testing::AssertionSuccess();
    return testing::AssertionFailure() << matches << " lines (not " << times << ") of level " << level << " ["
                                       << file << ":N] " << function << ": " << message << dump;
}

}  // namespace kelix::test
