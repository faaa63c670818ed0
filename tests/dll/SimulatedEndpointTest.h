// Fixture of the tests through the exports: the simulated platform with two
// render endpoints installed in the process, the log captured, and the DLL
// loaded fresh for the test.
#pragma once

#include <windows.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "DllUnderTest.h"
#include "LogCapture.h"
#include "Words.h"
#include "sim/EndpointProperties.h"
#include "sim/Platform.h"

namespace kelix::test {

inline constexpr wchar_t kSpeakers[] = L"{0.0.0.00000000}.{5e1f0a11-0000-4000-8000-00000000a001}";
inline constexpr wchar_t kHeadset[] = L"{0.0.0.00000000}.{5e1f0a11-0000-4000-8000-00000000a002}";

inline constexpr wchar_t kApo[] = L"ApoController.cpp";
inline constexpr wchar_t kDsp[] = L"DspController.cpp";
inline constexpr wchar_t kExports[] = L"Kelix3PexControl.cpp";

// "[0x%.8x]%s" as the library writes a failure.
std::wstring Failure(HRESULT hr);

// Property keys written out by hand: the effect reads these exact keys.
PROPERTYKEY PexTuningKey(DWORD pid);
PROPERTYKEY KreloTuningKey(DWORD pid);

// before + the speakers' id + after: the messages that name the device.
std::wstring OnSpeakers(const wchar_t* before, const wchar_t* after);
// "name, {FMTID}, pid": a property key as the library's lines name it.
std::wstring KeyText(const wchar_t* name, const PROPERTYKEY& key);

// One export call, the result it must give and the line it must log (level 0: none checked).
// The component follows from the function: ApoController, DspController, the exports' own
// helpers, or the DSP module access.
struct ExportCall {
    std::function<HRESULT()> call;
    HRESULT hr;
    int level = 0;
    const wchar_t* function = nullptr;
    std::wstring message = {};
};

// The effect's FX registration of pid (a class id as text).
PROPERTYKEY FxKey(DWORD pid);

// Puts words into the endpoint's store as a VT_I4 vector.
void StoreWords(sim::Endpoint& endpoint, const PROPERTYKEY& key, std::vector<std::int32_t> words);

using sim::DescribeEndpoint;

// Describes the speakers (form factor 1) and attaches a DSP that carries both families: a PEX
// module ("pex", "2.10") and a KRELO module ("krelo", "1.4").
sim::Dsp& AttachDspWithBothFamilies(sim::Platform& platform, sim::Endpoint& speakers);

// The modules of that DSP.
inline constexpr GUID kPexModuleId = {0xD11B4F61, 0x42FA, 0x43BB, {0x99, 0x7C, 0x8D, 0x2B, 0x02, 0x6D, 0x11, 0xC8}};
inline constexpr GUID kKreloModuleId = {0xCBDD3DB0, 0x85AE, 0x4466, {0xB1, 0x8D, 0x50, 0x4F, 0xD8, 0xE7, 0x08, 0x2B}};

// Render endpoint `number` (3 and up; the speakers and the headset are 1 and 2) with a DSP of its
// own that carries both families and records no requests; plugged in ahead of the endpoint
// `before` when one is named, otherwise added last.
struct EndpointWithDsp {
    std::wstring id;
    sim::Endpoint* endpoint;
    sim::Dsp* dsp;
};
EndpointWithDsp AddEndpointWithDsp(sim::Platform& platform, int number, const wchar_t* before = nullptr);

class SimulatedEndpointTest : public testing::Test {
protected:
    void SetUp() override;

    wchar_t* OpenSpeakers();
    // The calls in order, each traced by its position.
    void Expect(const std::vector<ExportCall>& calls);
    // The endpoint store's value under key, of the type given: a VT_I4 word, or a VT_I4 vector's words.
    std::vector<std::int32_t> Stored(const PROPERTYKEY& key, VARTYPE type);
    std::int32_t StoredI4(const PROPERTYKEY& key) { return Stored(key, VT_I4).at(0); }
    std::vector<std::int32_t> StoredWords(const PROPERTYKEY& key) { return Stored(key, VT_VECTOR | VT_I4); }

    LogCapture log;  // before the DLL loads: the logger reads its settings when it registers
    sim::Platform platform;
    sim::Endpoint& speakers = platform.AddEndpoint({kSpeakers});
    sim::Endpoint& headset = platform.AddEndpoint({kHeadset});
    sim::Installation installed{platform};
    DllUnderTest dll;
};

}  // namespace kelix::test
