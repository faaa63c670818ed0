// The logger against recorded system calls: registration, and each line as
// event tracing, the event log and the text sink receive it at each enable
// state and text-sink setting.
#include <windows.h>
#include <objbase.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "LogCapture.h"
#include "TraceLogger.h"

namespace kelix {
namespace {

constexpr wchar_t kLogSourcePath[] = L"API\\Test\\TraceLoggerTest.cpp";

// The system calls in order, as text; the handles they receive must be the ones given out.
struct Recorded {
    ULONG registerResult = ERROR_SUCCESS;
    std::vector<std::wstring> calls;
};
Recorded recorded;

const REGHANDLE kHandle = 0x1234;
const HANDLE kSource = reinterpret_cast<HANDLE>(0x99);

std::wstring GuidText(const GUID& guid) {
    wchar_t text[40];
    StringFromGUID2(guid, text, 40);
    return text;
}
ULONG WINAPI FakeRegister(LPCGUID provider, PENABLECALLBACK, PVOID, PREGHANDLE handle) {
    recorded.calls.push_back(L"register " + GuidText(*provider));
    if (recorded.registerResult == ERROR_SUCCESS) *handle = kHandle;
    return recorded.registerResult;
}
ULONG WINAPI FakeUnregister(REGHANDLE handle) {
    recorded.calls.push_back(handle == kHandle ? L"unregister" : L"unregister of another handle");
    return ERROR_SUCCESS;
}
ULONG WINAPI FakeWriteString(REGHANDLE handle, UCHAR level, ULONGLONG keyword, PCWSTR text) {
    recorded.calls.push_back((handle == kHandle ? L"event " : L"event of another handle ") + std::to_wstring(level) +
                             L"/" + std::to_wstring(keyword) + L" " + text);
    return ERROR_SUCCESS;
}
HANDLE WINAPI FakeRegisterSource(LPCWSTR, LPCWSTR name) {
    recorded.calls.push_back(std::wstring(L"source ") + name);
    return kSource;
}
BOOL WINAPI FakeReport(HANDLE source, WORD type, WORD category, DWORD id, PSID user, WORD strings, DWORD rawSize,
                       LPCWSTR* texts, LPVOID raw) {
    EXPECT_TRUE(source == kSource && type == EVENTLOG_INFORMATION_TYPE && category == 0 && id == 0 &&
                user == nullptr && strings == 1 && rawSize == 0 && raw == nullptr);
    recorded.calls.push_back(std::wstring(L"report ") + texts[0]);
    return TRUE;
}
BOOL WINAPI FakeDeregisterSource(HANDLE source) {
    recorded.calls.push_back(source == kSource ? L"deregister" : L"deregister of another source");
    return TRUE;
}

const TraceApi kFakeApi{&FakeRegister,       &FakeUnregister, &FakeWriteString,
                        &FakeRegisterSource, &FakeReport,     &FakeDeregisterSource};

// The providers as the diagnostics page and the effect's tools name them.
constexpr GUID kQuorraProvider = {0x23A46DB4, 0x562B, 0x44A3, {0x9C, 0x4F, 0x1D, 0x55, 0x98, 0x26, 0x2B, 0x8E}};
constexpr GUID kKelix3Provider = {0xC87AAB51, 0x81CF, 0x46F9, {0x91, 0x9F, 0x69, 0x39, 0x69, 0x83, 0xEF, 0x3C}};

// One line written the way the library writes (only when IsEnabled says so), per enable state
// of the trace session, setting of the text sink and answer of the registration. The line's
// text is given once; each sink must receive it in its own form: event tracing as it is, the
// event log (whose source's name follows the provider) behind the component tag for levels 1
// and 2, the text sink behind the level digit in UTF-8. A refused registration is retried at
// the next question; what was registered is given back once.
TEST(TraceLoggerTest, EachLineReachesTheSinksItsStateAllows) {
    struct Row {
        const char* name;
        ULONG isEnabled;          // the trace session's enable state
        UCHAR sessionLevel;
        ULONGLONG keywords;
        const wchar_t* sink;      // KELIX3PEX_LOG_LEVEL; nullptr: unset
        bool toStandardError;     // KELIX3PEX_LOG_FILE unset
        UCHAR level;
        const wchar_t* path;
        const wchar_t* message;
        const wchar_t* line;      // as event tracing receives it
        bool traced, sunk;
        GUID provider = kQuorraProvider;
        ULONG registration = ERROR_SUCCESS;
        const wchar_t* source = L"Sonavel Quorra";
    };
    const wchar_t* const kOpen = L"Failed to find device[dev]: [0x80070490]Element not found.";
    const Row rows[] = {
        {"error at a session of level 4", 1, 4, 0x400, nullptr, false, 2, L"API\\Kelix3PexControl\\ApoController.cpp",
         kOpen, L"[ApoController.cpp:7] F: Failed to find device[dev]: [0x80070490]Element not found.", true, false},
        {"information, a path without folders", 1, 4, 0x400, nullptr, false, 4, L"ApoController.cpp", L"-3",
         L"[ApoController.cpp:7] F: -3", true, false},
        {"critical, all keywords, empty message", 1, 5, ~0ull, nullptr, false, 1, L"a\\b\\c.cpp", L"",
         L"[c.cpp:7] F: ", true, false},
        {"verbose above the session's level", 1, 4, 0x400, nullptr, false, 5, L"x.cpp", L"m", L"", false, false},
        {"keyword outside the session's", 1, 5, 0x800, nullptr, false, 2, L"x.cpp", L"m", L"", false, false},
        {"enable state 2 is not enabled", 2, 5, 0x400, nullptr, false, 2, L"x.cpp", L"m", L"", false, false},
        {"session of level 0", 1, 0, 0x400, nullptr, false, 1, L"x.cpp", L"m", L"", false, false},
        {"text sink alone", 0, 0, 0, L"5", false, 2, L"x.cpp", L"caf\u00e9", L"[x.cpp:7] F: caf\u00e9", false, true},
        {"text sink beside the session", 1, 4, 0x400, L"3", true, 3, L"x.cpp", L"w", L"[x.cpp:7] F: w", true, true},
        {"text sink to standard error", 0, 0, 0, L"1", true, 1, L"x.cpp", L"caf\u00e9", L"[x.cpp:7] F: caf\u00e9",
         false, true},
        {"text sink below the line's level", 1, 4, 0x400, L"3", false, 4, L"x.cpp", L"i", L"[x.cpp:7] F: i", true,
         false},
        {"the other provider's event source", 1, 4, 0x400, nullptr, false, 2, L"x.cpp", L"e", L"[x.cpp:7] F: e", true,
         false, kKelix3Provider, ERROR_SUCCESS, L"Sonavel KELIX3"},
        {"registration refused", 1, 5, 0x400, L"2", false, 2, L"x.cpp", L"e", L"[x.cpp:7] F: e", false, true,
         kQuorraProvider, ERROR_ACCESS_DENIED},
    };
    // Settings that leave the sink off: only "1" to "5" switch it on.
    std::vector<Row> all(std::begin(rows), std::end(rows));
    for (const wchar_t* off : {L"0", L"6", L"", L"x", L"35"}) {
        all.push_back({"text sink off", 0, 0, 0, off, false, 3, L"x.cpp", L"m", L"", false, false});
    }
    for (const Row& row : all) {
        SCOPED_TRACE(row.name);
        recorded = Recorded{};
        recorded.registerResult = row.registration;
        test::LogCapture sink;
        SetEnvironmentVariableW(L"KELIX3PEX_LOG_LEVEL", row.sink);
        if (row.toStandardError) SetEnvironmentVariableW(L"KELIX3PEX_LOG_FILE", nullptr);
        const HANDLE saved = GetStdHandle(STD_ERROR_HANDLE);
        const HANDLE standardError = row.toStandardError ? CreateFileW(sink.Path().c_str(), GENERIC_WRITE, FILE_SHARE_READ,
                                                                       nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr)
                                                         : INVALID_HANDLE_VALUE;
        if (row.toStandardError) SetStdHandle(STD_ERROR_HANDLE, standardError);
        {
            TraceLogger logger(kFakeApi, row.provider);
            logger.EnsureRegistered();
            TraceLogger::EnableCallback(nullptr, row.isEnabled, row.sessionLevel, row.keywords, 0, nullptr, &logger);
            if (logger.IsEnabled(row.level, kKeywordPexControl)) {
                logger.Write(row.level, kKeywordPexControl, row.path, 7, L"F", L"%s", row.message);
            }
        }
        SetStdHandle(STD_ERROR_HANDLE, saved);
        if (standardError != INVALID_HANDLE_VALUE) CloseHandle(standardError);

        // Registered: the event source opened, the line traced and reported, both given back at the
        // end. Refused: asked again (by IsEnabled), and nothing else.
        const std::wstring line = row.line;
        const bool registered = row.registration == ERROR_SUCCESS;
        std::vector<std::wstring> calls = {L"register " + GuidText(row.provider)};
        calls.push_back(registered ? L"source " + std::wstring(row.source) : calls[0]);
        if (row.traced) calls.push_back(L"event " + std::to_wstring(row.level) + L"/1024 " + line);
        if (row.traced && row.level <= kLevelError) calls.push_back(L"report [PexControl]: " + line);
        if (registered) calls.insert(calls.end(), {L"unregister", L"deregister"});
        EXPECT_EQ(recorded.calls, calls);
        // The text sink's lines, read back as UTF-8.
        std::vector<std::wstring> sunk;
        for (const test::LogLine& logged : sink.Lines()) sunk.push_back(logged.raw);
        EXPECT_EQ(sunk, row.sunk ? std::vector<std::wstring>{std::to_wstring(row.level) + L" " + line}
                                 : std::vector<std::wstring>{});
    }
}

}  // namespace
}  // namespace kelix
