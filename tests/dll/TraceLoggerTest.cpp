// The logger against recorded system calls: what reaches event tracing and the
// event log at each enable state, registration, and the HRESULT text.
#include <windows.h>

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "DllUnderTest.h"
#include "LogTextSink.h"
#include "TraceLogger.h"
#include "TraceScope.h"

namespace kelix {
namespace {

constexpr wchar_t kLogSourcePath[] = L"API\\Test\\TraceLoggerTest.cpp";

struct Recorded {
    ULONG registerResult = ERROR_SUCCESS;
    int registers = 0;
    int unregisters = 0;
    int deregisters = 0;
    GUID provider{};
    std::wstring sourceName;
    struct Event { UCHAR level; ULONGLONG keyword; std::wstring text; };
    std::vector<Event> events;
    struct Report { WORD type, category; DWORD id; WORD strings; std::wstring text; };
    std::vector<Report> reports;
};
Recorded recorded;

const REGHANDLE kHandle = 0x1234;
const HANDLE kSource = reinterpret_cast<HANDLE>(0x99);

ULONG WINAPI FakeRegister(LPCGUID provider, PENABLECALLBACK, PVOID, PREGHANDLE handle) {
    ++recorded.registers;
    recorded.provider = *provider;
    if (recorded.registerResult == ERROR_SUCCESS) *handle = kHandle;
    return recorded.registerResult;
}
ULONG WINAPI FakeUnregister(REGHANDLE handle) {
    EXPECT_EQ(handle, kHandle);
    ++recorded.unregisters;
    return ERROR_SUCCESS;
}
ULONG WINAPI FakeWriteString(REGHANDLE handle, UCHAR level, ULONGLONG keyword, PCWSTR text) {
    EXPECT_EQ(handle, kHandle);
    recorded.events.push_back({level, keyword, text});
    return ERROR_SUCCESS;
}
HANDLE WINAPI FakeRegisterSource(LPCWSTR server, LPCWSTR name) {
    EXPECT_EQ(server, nullptr);
    recorded.sourceName = name;
    return kSource;
}
BOOL WINAPI FakeReport(HANDLE source, WORD type, WORD category, DWORD id, PSID user, WORD strings, DWORD rawSize,
                       LPCWSTR* texts, LPVOID raw) {
    EXPECT_EQ(source, kSource);
    EXPECT_EQ(user, nullptr);
    EXPECT_EQ(rawSize, 0u);
    EXPECT_EQ(raw, nullptr);
    recorded.reports.push_back({type, category, id, strings, strings > 0 ? texts[0] : L""});
    return TRUE;
}
BOOL WINAPI FakeDeregisterSource(HANDLE source) {
    EXPECT_EQ(source, kSource);
    ++recorded.deregisters;
    return TRUE;
}

const TraceApi kFakeApi{&FakeRegister,       &FakeUnregister, &FakeWriteString,
                        &FakeRegisterSource, &FakeReport,     &FakeDeregisterSource};

constexpr GUID kKelix3Provider = {0xC87AAB51, 0x81CF, 0x46F9, {0x91, 0x9F, 0x69, 0x39, 0x69, 0x83, 0xEF, 0x3C}};

class TraceLoggerTest : public testing::Test {
protected:
    void SetUp() override {
        recorded = Recorded{};
        SetEnvironmentVariableW(L"KELIX3PEX_LOG_LEVEL", nullptr);
    }
    void TearDown() override {
        SetEnvironmentVariableW(L"KELIX3PEX_LOG_LEVEL", nullptr);
        SetEnvironmentVariableW(L"KELIX3PEX_LOG_FILE", nullptr);
    }
    static void Enable(TraceLogger& logger, ULONG isEnabled, UCHAR level, ULONGLONG keywords) {
        TraceLogger::EnableCallback(nullptr, isEnabled, level, keywords, 0, nullptr, &logger);
    }
    static std::wstring TempPath(const wchar_t* prefix) {
        wchar_t directory[MAX_PATH], path[MAX_PATH];
        GetTempPathW(MAX_PATH, directory);
        GetTempFileNameW(directory, prefix, 0, path);
        return path;
    }
    // The file's bytes, read from its start; the file is closed and deleted.
    static std::string TakeBytes(HANDLE file, const std::wstring& path) {
        char bytes[256] = {};
        DWORD read = 0;
        SetFilePointer(file, 0, nullptr, FILE_BEGIN);
        ReadFile(file, bytes, sizeof bytes - 1, &read, nullptr);
        CloseHandle(file);
        DeleteFileW(path.c_str());
        return bytes;
    }
    static std::vector<std::wstring> EventTexts() {
        std::vector<std::wstring> texts;
        for (const Recorded::Event& event : recorded.events) texts.push_back(event.text);
        return texts;
    }
};

TEST_F(TraceLoggerTest, NothingIsWrittenWithoutAListener) {
    {
        TraceLogger logger(kFakeApi);
        for (UCHAR level = 1; level <= 5; ++level) EXPECT_FALSE(logger.IsEnabled(level, kKeywordPexControl));
        EXPECT_EQ(recorded.registers, 1);
        EXPECT_EQ(recorded.provider, kTraceProviderId);
        EXPECT_EQ(recorded.sourceName, L"Sonavel Quorra");
        // The event source's name follows the provider.
        TraceLogger kelix3(kFakeApi, kKelix3Provider);
        kelix3.EnsureRegistered();
        EXPECT_EQ(recorded.sourceName, L"Sonavel KELIX3");
    }
    EXPECT_TRUE(recorded.events.empty());
    EXPECT_TRUE(recorded.reports.empty());
    EXPECT_EQ(recorded.unregisters, 2);
    EXPECT_EQ(recorded.deregisters, 2);
}

TEST_F(TraceLoggerTest, EnableStateDecidesLevelAndKeyword) {
    TraceLogger logger(kFakeApi);
    logger.EnsureRegistered();
    struct Case {
        ULONG isEnabled;
        UCHAR enabledLevel;
        ULONGLONG keywords;
        UCHAR level;
        ULONGLONG keyword;
        bool enabled;
    };
    const Case cases[] = {
        {1, 4, 0x400, 2, 0x400, true},  {1, 4, 0x400, 4, 0x400, true},   {1, 4, 0x400, 5, 0x400, false},
        {1, 5, 0xC00, 5, 0x400, true},  {1, 5, 0x800, 2, 0x400, false},  {1, 5, ~0ull, 1, 0x400, true},
        {0, 5, 0x400, 2, 0x400, false}, {2, 5, 0x400, 2, 0x400, false},  // only 1 means enabled
        {1, 0, 0x400, 1, 0x400, false},
    };
    for (const Case& c : cases) {
        Enable(logger, c.isEnabled, c.enabledLevel, c.keywords);
        EXPECT_EQ(logger.IsEnabled(c.level, c.keyword), c.enabled)
            << "enabled " << c.isEnabled << " at " << int{c.enabledLevel} << " mask " << c.keywords << ", asked "
            << int{c.level};
    }
}

TEST_F(TraceLoggerTest, ErrorsAlsoReachTheEventLogWithTheComponentTag) {
    TraceLogger logger(kFakeApi);
    logger.EnsureRegistered();
    Enable(logger, 1, 4, kKeywordPexControl);
    logger.Write(kLevelError, kKeywordPexControl, L"API\\Kelix3PexControl\\ApoController.cpp", 42,
                 L"ApoController::Open", L"Failed to find device[%s]: [0x%.8x]%s", L"dev", 0x80070490u, L"text");
    logger.Write(kLevelInformation, kKeywordPexControl, L"ApoController.cpp", 7, L"F", L"%d, %S", -3, "narrow");
    logger.Write(kLevelCritical, kKeywordPexControl, L"a\\b\\c.cpp", 1, L"G", L"%s", L"");

    const std::wstring error = L"[ApoController.cpp:42] ApoController::Open: Failed to find device[dev]: [0x80070490]text";
    // Without a backslash the whole path is the file name.
    EXPECT_EQ(EventTexts(),
              (std::vector<std::wstring>{error, L"[ApoController.cpp:7] F: -3, narrow", L"[c.cpp:1] G: "}));
    EXPECT_EQ(recorded.events.at(0).level, kLevelError);
    EXPECT_EQ(recorded.events.at(0).keyword, kKeywordPexControl);

    ASSERT_EQ(recorded.reports.size(), 2u);
    EXPECT_EQ(recorded.reports[0].text, L"[PexControl]: " + error);
    EXPECT_EQ(recorded.reports[0].type, EVENTLOG_INFORMATION_TYPE);
    EXPECT_EQ(recorded.reports[0].category, 0);
    EXPECT_EQ(recorded.reports[0].id, 0u);
    EXPECT_EQ(recorded.reports[0].strings, 1);
    EXPECT_EQ(recorded.reports[1].text, L"[PexControl]: [c.cpp:1] G: ");

    // A keyword without a component tag is a programming fault.
    EXPECT_THROW(logger.Write(kLevelError, 0x800, L"x.cpp", 1, L"F", L"m"), std::out_of_range);
}

TEST_F(TraceLoggerTest, FailedRegistrationIsRetriedAndOpensNoEventSource) {
    recorded.registerResult = ERROR_ACCESS_DENIED;
    {
        TraceLogger logger(kFakeApi);
        EXPECT_FALSE(logger.IsEnabled(kLevelCritical, kKeywordPexControl));
        EXPECT_FALSE(logger.IsEnabled(kLevelCritical, kKeywordPexControl));
        EXPECT_EQ(recorded.registers, 2);
        EXPECT_TRUE(recorded.sourceName.empty());
        { TraceScope scope(logger, kKeywordPexControl, L"x.cpp", 1, L"F"); }
        EXPECT_EQ(recorded.registers, 3);  // at the scope's start only, not at its end
    }
    EXPECT_EQ(recorded.unregisters, 0);
    EXPECT_EQ(recorded.deregisters, 0);
}

// The text sink is a sink beside event tracing: what event tracing and the
// event log receive is the same with it as without it.
TEST_F(TraceLoggerTest, TextSinkLeavesEventTracingAsItIs) {
    const std::wstring path = TempPath(L"snk");
    SetEnvironmentVariableW(L"KELIX3PEX_LOG_LEVEL", L"5");
    SetEnvironmentVariableW(L"KELIX3PEX_LOG_FILE", path.c_str());
    {
        TraceLogger logger(kFakeApi);
        EXPECT_TRUE(logger.IsEnabled(kLevelVerbose, kKeywordPexControl));  // the sink takes every line
        logger.Write(kLevelError, kKeywordPexControl, L"x.cpp", 1, L"F", L"no listener");
        EXPECT_TRUE(recorded.events.empty());
        EXPECT_TRUE(recorded.reports.empty());

        Enable(logger, 1, 4, kKeywordPexControl);
        logger.Write(kLevelError, kKeywordPexControl, L"x.cpp", 2, L"F", L"error");
        logger.Write(kLevelVerbose, kKeywordPexControl, L"x.cpp", 3, L"F", L"verbose");
        EXPECT_EQ(EventTexts(), std::vector<std::wstring>{L"[x.cpp:2] F: error"});
        EXPECT_EQ(recorded.reports.size(), 1u);
    }
    SetEnvironmentVariableW(L"KELIX3PEX_LOG_FILE", nullptr);
    const HANDLE file = CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                    nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    EXPECT_EQ(TakeBytes(file, path), "2 [x.cpp:1] F: no listener\n2 [x.cpp:2] F: error\n5 [x.cpp:3] F: verbose\n");
}

TEST_F(TraceLoggerTest, MacroFormatsNothingWhileDisabled) {
    int evaluated = 0;
    auto count = [&evaluated] { return ++evaluated; };
    KELIX_LOG(kLevelCritical, L"F", L"%d", count());
    EXPECT_EQ(evaluated, 0);
}

// The system's own text, trimmed, and the fallback where there is none (its forms: TextTest).
TEST_F(TraceLoggerTest, HResultTextIsTheSystemText) {
    const std::wstring invalid = HResultText(E_INVALIDARG);
    EXPECT_EQ(invalid, test::SystemText(E_INVALIDARG));
    EXPECT_FALSE(invalid.empty() || invalid.back() == L'\n' || invalid.back() == L'\r') << invalid.size();
    EXPECT_EQ(HResultText(static_cast<HRESULT>(0xDEADBEEF)), L"Unknown error 0xDEADBEEF");  // no system text
}

TEST_F(TraceLoggerTest, TextSinkLevelSettingAcceptsOneToFiveOnly) {
    struct Case {
        const wchar_t* setting;
        UCHAR accepted;  // most verbose level written; 0 for none
    };
    const Case cases[] = {{L"1", 1}, {L"3", 3}, {L"5", 5}, {L"0", 0}, {L"6", 0},
                          {L"", 0},  {L"x", 0}, {L"35", 0}, {nullptr, 0}};
    for (const Case& c : cases) {
        SetEnvironmentVariableW(L"KELIX3PEX_LOG_LEVEL", c.setting);
        LogTextSink sink;
        sink.Configure();
        for (UCHAR level = 1; level <= 5; ++level) {
            EXPECT_EQ(sink.Accepts(level), level <= c.accepted) << (c.setting ? "set" : "unset") << " level " << int{level};
        }
    }
}

TEST_F(TraceLoggerTest, TextSinkWritesLevelAndLineToStandardErrorWithoutAFile) {
    const std::wstring path = TempPath(L"err");
    const HANDLE file = CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
    ASSERT_NE(file, INVALID_HANDLE_VALUE);
    const HANDLE saved = GetStdHandle(STD_ERROR_HANDLE);
    SetStdHandle(STD_ERROR_HANDLE, file);
    SetEnvironmentVariableW(L"KELIX3PEX_LOG_LEVEL", L"2");
    LogTextSink sink;
    sink.Configure();
    sink.Write(2, L"[A.cpp:1] F: caf\u00e9");
    SetStdHandle(STD_ERROR_HANDLE, saved);
    EXPECT_EQ(TakeBytes(file, path), "2 [A.cpp:1] F: caf\xc3\xa9\n");  // UTF-8
}

}  // namespace
}  // namespace kelix
