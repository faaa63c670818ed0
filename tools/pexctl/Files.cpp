#include "Files.h"

#include <windows.h>

#include <fstream>
#include <sstream>

#include "Platform.h"

namespace pexctl {

bool WriteFileReplacing(const std::string& path, const std::string& content) {
    const std::wstring target = ToWide(Utf8ToUtf16(path));
    const std::wstring temporary = target + L".pexctl-new";
    HANDLE file = CreateFileW(temporary.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) return false;
    DWORD written = 0;
    const BOOL ok = WriteFile(file, content.data(), static_cast<DWORD>(content.size()), &written, nullptr);
    const DWORD error = GetLastError();
    CloseHandle(file);
    if (!ok || written != content.size() ||
        !MoveFileExW(temporary.c_str(), target.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
        const DWORD failure = ok ? GetLastError() : error;
        DeleteFileW(temporary.c_str());
        SetLastError(failure);
        return false;
    }
    return true;
}

std::optional<std::string> ReadFileText(const std::string& path) {
    std::ifstream file(ToWide(Utf8ToUtf16(path)).c_str(), std::ios::binary);
    std::stringstream content;
    if (file) content << file.rdbuf();
    if (!file) return std::nullopt;
    return content.str();
}

std::optional<std::string> ReadValueText(const std::string& text, std::string& error) {
    if (!text.starts_with('@')) return text;
    std::optional<std::string> value = ReadFileText(text.substr(1));
    if (!value) {
        error = "cannot read the value file \"" + text.substr(1) + "\"";
        return std::nullopt;
    }
    if (value->starts_with("\xEF\xBB\xBF")) value->erase(0, 3);
    while (!value->empty() && (value->back() == '\n' || value->back() == '\r' || value->back() == ' ')) value->pop_back();
    return value;
}

}  // namespace pexctl
