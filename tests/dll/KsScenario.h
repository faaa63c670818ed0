// Scenarios of the kernel-streaming tests: simulated endpoints with the store
// values the topology walk reads, DSP modules, and the process-wide log.
#pragma once

#include <windows.h>

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "LogCapture.h"
#include "sim/Platform.h"

namespace kelix::test {

// The log of the whole process at level 5, captured from before the first line: the logger
// of a test process registers once.
LogCapture& Log();

// Known module ids of the PP API module list and AMD rows, and one id nobody knows.
inline constexpr GUID kModule100 = {0x849F0D73, 0x1678, 0x4D57, {0x8C, 0x78, 0x61, 0xC5, 0x48, 0x25, 0x39, 0x93}};
inline constexpr GUID kModule100b = {0xF5151CC1, 0xD8AA, 0x4F79, {0x8A, 0x05, 0x7A, 0xB5, 0x5D, 0x8B, 0x7A, 0x39}};
inline constexpr GUID kModule120 = {0x2F20FF4C, 0x587D, 0x4EA5, {0xBD, 0x72, 0xF2, 0x46, 0x35, 0x1D, 0xEF, 0xE6}};
inline constexpr GUID kModulePex = {0xD11B4F61, 0x42FA, 0x43BB, {0x99, 0x7C, 0x8D, 0x2B, 0x02, 0x6D, 0x11, 0xC8}};
inline constexpr GUID kModule142 = {0xCBDD3DB0, 0x85AE, 0x4466, {0xB1, 0x8D, 0x50, 0x4F, 0xD8, 0xE7, 0x08, 0x2B}};
inline constexpr GUID kAmdRow1 = {0xCFE115BD, 0x8AEA, 0x40BC, {0xA7, 0x64, 0xAD, 0x9C, 0x18, 0xFE, 0xE7, 0x30}};
inline constexpr GUID kAmdRow4 = {0xB5FCC815, 0x1F49, 0x4F4E, {0xB0, 0x4C, 0x05, 0xF3, 0xA3, 0x83, 0xEF, 0xFF}};
inline constexpr GUID kUnknownModule = {0x0BAD0BAD, 0x0001, 0x4002, {0x80, 0x03, 0x00, 0x00, 0x00, 0x00, 0x00, 0x04}};

// The endpoint most tests use, and a module the walk knows ("1.4.2").
inline constexpr wchar_t kSpeakers[] = L"{0.0.0.00000000}.{5a0c0001-0000-4000-8000-000000000001}";
inline constexpr wchar_t kSpeakersGuid[] = L"{5A0C0001-0000-4000-8000-000000000001}";
inline const sim::DspModule kKrelo{.id = kModule142, .type = 2, .name = "krelo", .version = "1.4.2.9"};

// A render endpoint whose store holds its endpoint GUID (text), form factor and friendly name.
struct EndpointSetup {
    const wchar_t* id;
    const wchar_t* guid;
    UINT formFactor = 1;
    const wchar_t* name = L"Speakers";
    EDataFlow flow = eRender;
    DWORD state = DEVICE_STATE_ACTIVE;
};
sim::Endpoint& AddEndpoint(sim::Platform& platform, const EndpointSetup& setup);

// A DSP with modules, attached to the endpoint through a topology.
sim::Dsp& AttachDsp(sim::Platform& platform, sim::Endpoint& endpoint, sim::DspConfig config,
                    sim::TopologyConfig topology = {});

// A failure line as the library writes it: message, "[0x%.8x]" and the system text of hr.
std::wstring Failure(const std::wstring& message, HRESULT hr);

// The messages of the captured lines of a function, in order.
std::vector<std::wstring> Messages(const std::wstring& function);
// Whether a line of that level, function and message was captured (any number of times).
testing::AssertionResult Logged(int level, const std::wstring& function, const std::wstring& message);

}  // namespace kelix::test
