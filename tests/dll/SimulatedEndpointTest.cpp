#include "SimulatedEndpointTest.h"

#include <cstring>

namespace kelix::test {

std::wstring Failure(HRESULT hr) {
    wchar_t code[16];
    _snwprintf(code, 16, L"[0x%.8x]", static_cast<unsigned>(hr));
    return code + SystemText(hr);
}

std::wstring OnSpeakers(const wchar_t* before, const wchar_t* after) {
    return before + std::wstring(kSpeakers) + after;
}

std::wstring KeyText(const wchar_t* name, const PROPERTYKEY& key) {
    wchar_t fmtid[40];
    StringFromGUID2(key.fmtid, fmtid, 40);
    return name + std::wstring(L", ") + fmtid + L", " + std::to_wstring(key.pid);
}

PROPERTYKEY FxKey(DWORD pid) {
    return {{0xD04E05A6, 0x594B, 0x4FB6, {0xA8, 0x0D, 0x01, 0xAF, 0x5E, 0xED, 0x7D, 0x1D}}, pid};
}

void StoreWords(sim::Endpoint& endpoint, const PROPERTYKEY& key, std::vector<std::int32_t> words) {
    PROPVARIANT value;
    value.vt = VT_VECTOR | VT_I4;
    value.cal.cElems = static_cast<ULONG>(words.size());
    value.cal.pElems = reinterpret_cast<LONG*>(words.data());
    EXPECT_EQ(endpoint.SetValue(key, value), S_OK);
}

PROPERTYKEY PexTuningKey(DWORD pid) {
    return {{0xF112024A, 0xFE30, 0x42A8, {0x80, 0xAB, 0x8D, 0xD8, 0x25, 0xA0, 0x6F, 0x78}}, pid};
}

PROPERTYKEY KreloTuningKey(DWORD pid) {
    return {{0x5510C7AB, 0xDFC2, 0x40D0, {0xA9, 0x8B, 0x5F, 0x77, 0xF6, 0x97, 0x00, 0x5E}}, pid};
}

namespace {

sim::Dsp& AddDspWithBothFamilies(sim::Platform& platform, sim::Endpoint& endpoint, bool recordRequests) {
    sim::Dsp& dsp = platform.AddDsp({.modules = {{.id = kPexModuleId, .type = 1, .name = "pex", .version = "2.10"},
                                                 {.id = kKreloModuleId, .type = 2, .name = "krelo", .version = "1.4"}},
                                     .recordRequests = recordRequests});
    platform.AttachDsp(endpoint, dsp);
    return dsp;
}

}  // namespace

sim::Dsp& AttachDspWithBothFamilies(sim::Platform& platform, sim::Endpoint& speakers) {
    DescribeEndpoint(speakers, L"{5E1F0A11-0000-4000-8000-00000000A001}", 1, L"Speakers");
    return AddDspWithBothFamilies(platform, speakers, true);
}

EndpointWithDsp AddEndpointWithDsp(sim::Platform& platform, int number, const wchar_t* before) {
    wchar_t guid[40];
    _snwprintf(guid, 40, L"{5E1F0A11-0000-4000-8000-%012X}", number);
    const std::wstring id = std::wstring(L"{0.0.0.00000000}.") + guid;
    sim::Endpoint& endpoint =
        before != nullptr ? platform.PlugEndpoint({id}, before) : platform.AddEndpoint({id});
    DescribeEndpoint(endpoint, guid, 1, (L"Speakers " + std::to_wstring(number)).c_str());
    return {id, &endpoint, &AddDspWithBothFamilies(platform, endpoint, false)};
}

void SimulatedEndpointTest::SetUp() {
    ASSERT_EQ(installed.Result(), S_OK);
    ASSERT_TRUE(dll.Loaded());
}

wchar_t* SimulatedEndpointTest::OpenSpeakers() {
    wchar_t* handle = nullptr;
    EXPECT_EQ(dll.Open(&handle, kSpeakers), S_OK);
    return handle;
}

void SimulatedEndpointTest::Expect(const std::vector<ExportCall>& calls) {
    for (size_t i = 0; i < calls.size(); ++i) {
        const ExportCall& c = calls[i];
        SCOPED_TRACE("call " + std::to_string(i));
        const HRESULT hr = c.call();
        EXPECT_EQ(hr, c.hr) << Hex(hr) << ", expected " << Hex(c.hr);
        if (c.level == 0) continue;
        const std::wstring function = c.function;
        const wchar_t* component = function.starts_with(L"ApoController") ? kApo
                                   : function.starts_with(L"DspController") ? kDsp
                                   : function.starts_with(L"`anonymous") ? kExports
                                                                         : L"SonavelDspKrelo.cpp";
        EXPECT_TRUE(log.Has(c.level, component, function, c.message)) << c.level << " " << c.message;
    }
}

std::vector<std::int32_t> SimulatedEndpointTest::Stored(const PROPERTYKEY& key, VARTYPE type) {
    PROPVARIANT value;
    PropVariantInit(&value);
    EXPECT_EQ(speakers.GetValue(key, &value), S_OK);
    EXPECT_EQ(value.vt, type);
    std::vector<std::int32_t> words;
    if (value.vt == VT_I4) words = {value.lVal};
    if (value.vt == (VT_VECTOR | VT_I4)) words.assign(value.cal.pElems, value.cal.pElems + value.cal.cElems);
    PropVariantClear(&value);
    return words;
}

}  // namespace kelix::test
