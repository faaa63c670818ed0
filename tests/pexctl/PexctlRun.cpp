#include "PexctlRun.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>

namespace pexctl_test {
namespace {

std::wstring Widen(const std::string& utf8) {
    const int length = MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()), nullptr, 0);
    std::wstring wide(static_cast<size_t>(length), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()), wide.data(), length);
    return wide;
}

// The directory of the test program (and of pexctl.exe), with its separator.
std::string Directory() {
    char path[MAX_PATH];
    const std::string program(path, GetModuleFileNameA(nullptr, path, MAX_PATH));
    return program.substr(0, program.find_last_of("\\/") + 1);
}

}  // namespace

std::string ReadAll(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

Outcome Pexctl(const std::vector<std::string>& args) {
    const std::string directory = Directory();
    std::wstring command = L"\"" + Widen(directory) + L"pexctl.exe\"";
    for (const std::string& arg : args) {
        std::wstring quoted;
        for (const wchar_t c : Widen(arg)) quoted += c == L'"' ? std::wstring(L"\\\"") : std::wstring(1, c);
        command += L" \"" + quoted + L"\"";
    }
    // Test programs run side by side in one folder: the files are named by process and thread.
    const std::string id = std::to_string(GetCurrentProcessId()) + "-" + std::to_string(GetCurrentThreadId());
    const std::string paths[] = {directory + "pexctl-out-" + id + ".txt", directory + "pexctl-err-" + id + ".txt"};
    SECURITY_ATTRIBUTES inherit{sizeof inherit, nullptr, TRUE};
    HANDLE files[2];
    for (int i = 0; i < 2; ++i) {
        files[i] = CreateFileA(paths[i].c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inherit, CREATE_ALWAYS, 0, nullptr);
        if (files[i] == INVALID_HANDLE_VALUE) ADD_FAILURE() << paths[i] << " not created: " << GetLastError();
    }
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
    startup.hStdOutput = files[0];
    startup.hStdError = files[1];
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
    for (int i = 0; i < 2; ++i) {
        CloseHandle(files[i]);
        (i == 0 ? run.out : run.err) = ReadAll(paths[i]);
        DeleteFileA(paths[i].c_str());
    }
    return run;
}

std::string Describe(const std::vector<std::string>& args, const Outcome& run) {
    std::string text = "pexctl";
    for (const std::string& arg : args) text += " " + arg;
    return text + "\n exit " + std::to_string(run.exitCode) + "\n stdout: " + run.out + "\n stderr: " + run.err;
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
    const Json leaves = document.flatten();  // items() refers to it
    for (const auto& [pointer, value] : leaves.items()) {
        text += pointer + "=" + (value.is_string() ? value.get<std::string>() : value.dump()) + "\n";
    }
    return text;
}

void Check(const Case& run, bool simulated) {
    std::vector<std::string> args = run.args;
    if (simulated && (args.empty() || (args[0].rfind("--simulate=", 0) != 0 && args[0] != "--no-save"))) {
        args.insert(args.begin(), "--simulate");
    }
    const Outcome outcome = Pexctl(args);
    const std::string what = Describe(args, outcome);
    const bool json = std::find(args.begin(), args.end(), "--json") != args.end();
    EXPECT_EQ(outcome.exitCode, run.exitCode) << what;
    const std::string out = json ? Leaves(Parse(args, outcome)) : outcome.out;
    for (const std::string& text : run.out) EXPECT_NE(out.find(text), std::string::npos) << text << "\n" << out << what;
    for (const std::string& text : run.err) EXPECT_NE(outcome.err.find(text), std::string::npos) << text << "\n" << what;
    if (run.out.empty()) {
        EXPECT_EQ(outcome.out, "") << what;
    }
    if (run.err.empty()) {
        EXPECT_EQ(outcome.err, "") << what;
    }
    // Errors: "pexctl: " lines on stderr, or the error objects of --json; a bad input is one error.
    if (run.exitCode != 0 && !json) {
        EXPECT_EQ(outcome.err.rfind("pexctl: ", 0), 0u) << what;
    }
    if (run.exitCode == 2 && json) {
        EXPECT_EQ(out.find("/errors/1/"), std::string::npos) << what;
    }
}

Json Bands(int first) {
    Json bands = {{"count", 4}, {"a", Json::array()}, {"b", Json::array()}};
    for (int i = 0; i < 20; ++i) {
        bands["a"].push_back(first * (i + 1));
        bands["b"].push_back(i % 5 - 2);
    }
    return bands;
}

std::string ShippedProfile(const char* name) { return ReadAll(std::string(KELIX_PROFILES_DIR "/") + name); }

TemporaryFile::TemporaryFile(const std::string& name, const std::string& content)
    : path_(Directory() + std::to_string(GetCurrentProcessId()) + "-" + name) {
    if (!content.empty()) std::ofstream(path_, std::ios::binary) << content;
}

TemporaryFile::~TemporaryFile() { DeleteFileA(path_.c_str()); }

}  // namespace pexctl_test
