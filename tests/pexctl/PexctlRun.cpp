#include "PexctlRun.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

namespace pexctl_test {

std::wstring Widen(const std::string& utf8) {
    const int length = MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()), nullptr, 0);
    std::wstring wide(static_cast<size_t>(length), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()), wide.data(), length);
    return wide;
}

std::wstring Directory() {
    wchar_t path[MAX_PATH];
    const DWORD length = GetModuleFileNameW(nullptr, path, MAX_PATH);
    std::wstring directory(path, length);
    return directory.substr(0, directory.find_last_of(L"\\/") + 1);
}

std::string ReadAll(const std::wstring& path) {
    std::ifstream file(path.c_str(), std::ios::binary);
    std::stringstream content;
    content << file.rdbuf();
    return content.str();
}

Outcome Pexctl(const std::vector<std::string>& args) {
    const std::wstring directory = Directory();
    std::wstring command = L"\"" + directory + L"pexctl.exe\"";
    for (const std::string& arg : args) {
        std::wstring quoted;
        for (const wchar_t c : Widen(arg)) quoted += c == L'"' ? std::wstring(L"\\\"") : std::wstring(1, c);
        command += L" \"" + quoted + L"\"";
    }
    // Test programs run side by side in one folder: the files are named by process and thread.
    const std::wstring id = std::to_wstring(GetCurrentProcessId()) + L"-" + std::to_wstring(GetCurrentThreadId());
    const std::wstring outPath = directory + L"pexctl-out-" + id + L".txt";
    const std::wstring errPath = directory + L"pexctl-err-" + id + L".txt";
    SECURITY_ATTRIBUTES inherit{sizeof inherit, nullptr, TRUE};
    HANDLE out = CreateFileW(outPath.c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inherit, CREATE_ALWAYS, 0, nullptr);
    HANDLE err = CreateFileW(errPath.c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inherit, CREATE_ALWAYS, 0, nullptr);
    if (out == INVALID_HANDLE_VALUE || err == INVALID_HANDLE_VALUE) ADD_FAILURE() << "output files not created: " << GetLastError();
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
    startup.hStdOutput = out;
    startup.hStdError = err;
    PROCESS_INFORMATION process{};
    Outcome run;
    if (CreateProcessW(nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &process)) {
        WaitForSingleObject(process.hProcess, INFINITE);
        GetExitCodeProcess(process.hProcess, &run.exitCode);
        CloseHandle(process.hThread);
        CloseHandle(process.hProcess);
    } else {
        ADD_FAILURE() << "pexctl.exe did not start: CreateProcessW failed with " << GetLastError();
    }
    CloseHandle(out);
    CloseHandle(err);
    run.out = ReadAll(outPath);
    run.err = ReadAll(errPath);
    DeleteFileW(outPath.c_str());
    DeleteFileW(errPath.c_str());
    return run;
}

std::string Describe(const std::vector<std::string>& args, const Outcome& run) {
    std::string text = "pexctl";
    for (const std::string& arg : args) text += " " + arg;
    return text + "\n exit " + std::to_string(run.exitCode) + "\n stdout: " + run.out + "\n stderr: " + run.err;
}

std::vector<std::string> Simulated(std::vector<std::string> args) {
    args.insert(args.begin(), "--simulate");
    return args;
}

Json Parse(const std::vector<std::string>& args, const Outcome& run) {
    try {
        return Json::parse(run.out);
    } catch (const Json::exception& e) {
        ADD_FAILURE() << e.what() << "\n" << Describe(args, run);
        return Json::object();
    }
}

std::string Leaves(const Json& document) {
    std::string text;
    const Json leaves = document.flatten();
    for (const auto& [pointer, value] : leaves.items()) {
        text += pointer + "=" + (value.is_string() ? value.get<std::string>() : value.dump()) + "\n";
    }
    return text;
}

TemporaryFile::TemporaryFile(const std::string& name, const std::string& content)
    : path_(Directory() + Widen(std::to_string(GetCurrentProcessId()) + "-" + name)) {
    if (!content.empty()) std::ofstream(path_.c_str(), std::ios::binary) << content;
}

TemporaryFile::~TemporaryFile() { DeleteFileW(path_.c_str()); }

std::string Narrow(const std::wstring& wide) {
    const int length = WideCharToMultiByte(CP_UTF8, 0, wide.data(), static_cast<int>(wide.size()), nullptr, 0, nullptr, nullptr);
    std::string narrow(static_cast<size_t>(length), '\0');
    WideCharToMultiByte(CP_UTF8, 0, wide.data(), static_cast<int>(wide.size()), narrow.data(), length, nullptr, nullptr);
    return narrow;
}

}  // namespace pexctl_test
