// The simulated DSP as a driver: strict about every request, answering the PP API and the AMD
// set from its state, and recording what it received.
#include <devicetopology.h>
#include <mmdeviceapi.h>

#include <algorithm>
#include <bit>
#include <tuple>
#include <vector>

#include "SimTestSupport.h"
#include "core/PpApiRequests.h"

namespace simtest {
namespace {

// {CBDD3DB0-85AE-4466-B18D-504FD8E7082B} and an AMD row.
constexpr GUID kModule = {0xCBDD3DB0, 0x85AE, 0x4466, {0xB1, 0x8D, 0x50, 0x4F, 0xD8, 0xE7, 0x08, 0x2B}};
constexpr GUID kAmdRow = {0xB5FCC815, 0x1F49, 0x4F4E, {0xB0, 0x4C, 0x05, 0xF3, 0xA3, 0x83, 0xEF, 0xFF}};
constexpr UINT32 kPin = 1;
const HRESULT kTooSmall = HRESULT_FROM_WIN32(ERROR_INSUFFICIENT_BUFFER);

const kelix::PpModuleAddress kAddress{kPin, 2, std::bit_cast<kelix::Guid>(kModule)};

class SimDsp : public SimFixture {
protected:
    void SetUp() override {
        SimFixture::SetUp();
        dsp = &platform.AddDsp({.modules = {{.id = kModule, .type = 2, .name = "krelo", .version = "9.9"}},
                                .amdModules = {{.id = kAmdRow, .instantiated = true}}});
        platform.AttachDsp(*platform.Find(kRender), *dsp);
        ASSERT_HR(S_OK, Device(kRender)->Activate(__uuidof(IKsControl), CLSCTX_ALL, nullptr, &control));
    }

    void TearDown() override {
        control.Reset();
        SimFixture::TearDown();
    }

    // Sends a record (any bytes) with a data buffer.
    HRESULT Send(std::vector<BYTE> property, std::vector<BYTE>* data, ULONG* returned = nullptr) {
        ULONG count = 0;
        return control->KsProperty(reinterpret_cast<PKSPROPERTY>(property.data()), static_cast<ULONG>(property.size()),
                                   data != nullptr ? data->data() : nullptr,
                                   data != nullptr ? static_cast<ULONG>(data->size()) : 0,
                                   returned != nullptr ? returned : &count);
    }

    template <size_t Size>
    static std::vector<BYTE> Bytes(const kelix::KsRecord<Size>& record) {
        return std::vector<BYTE>(record.begin(), record.end());
    }

    sim::Dsp* dsp = nullptr;
    ComPtr<IKsControl> control;
};

TEST_F(SimDsp, RefusesMalformedRequests) {
    const auto version = Bytes(kelix::PpShortHeader(kelix::kPpVersion, kelix::kKsPropertyGet, kPin));
    const auto parameterSet = Bytes(kelix::PpModuleParameterRequest(kelix::kKsPropertySet, kAddress, 20, 1));
    const auto enableGet = Bytes(kelix::PpModuleEnableRequest(kelix::kKsPropertyGet, kAddress, 0));
    const auto amd = Bytes(kelix::AmdInstantiationRequest(std::bit_cast<kelix::Guid>(kAmdRow)));
    const auto changed = [](std::vector<BYTE> bytes, size_t offset, BYTE value) {
        bytes.at(offset) = value;
        return bytes;
    };
    struct Case {
        const char* name;
        std::vector<BYTE> property;
        size_t dataLength;
        HRESULT expected;
    };
    const Case cases[] = {
        {"version, one byte short", std::vector<BYTE>(version.begin(), version.end() - 1), 5, E_INVALIDARG},
        {"version as SET", changed(version, 20, 2), 5, E_INVALIDARG},
        {"version on another pin", changed(version, 24, 2), 5, E_INVALIDARG},
        {"reserved word set", changed(version, 28, 1), 5, E_INVALIDARG},
        {"reply room of 3 bytes", version, 3, kTooSmall},
        {"unknown PP id", changed(version, 16, 9), 5, kNotFound},
        {"unknown set", changed(version, 0, 0x38), 5, HRESULT_FROM_WIN32(ERROR_SET_NOT_FOUND)},
        {"shorter than a KSPROPERTY", std::vector<BYTE>(version.begin(), version.begin() + 20), 5, E_INVALIDARG},
        {"request tag changed", changed(parameterSet, 40, 0), kelix::kPpParameterBufferSize, E_INVALIDARG},
        {"unknown module id", changed(parameterSet, 60, 0), kelix::kPpParameterBufferSize, kNotFound},
        {"wrong module type", changed(parameterSet, 48, 1), kelix::kPpParameterBufferSize, kNotFound},
        {"parameter SET with trailing 0", changed(parameterSet, 72, 0), kelix::kPpParameterBufferSize, E_INVALIDARG},
        {"parameter buffer of 64003", parameterSet, kelix::kPpParameterBufferSize - 1, E_INVALIDARG},
        {"enable GET with trailing 1", changed(enableGet, 68, 1), 1, E_INVALIDARG},
        {"enable GET into 2 bytes", enableGet, 2, E_INVALIDARG},
        {"AMD word 40 not 2", changed(amd, 40, 3), 8, E_INVALIDARG},
        {"AMD row unknown", changed(amd, 30, 0), 8, kNotFound},
        {"AMD reply room of 7", amd, 7, kTooSmall},
    };
    for (const Case& c : cases) {
        std::vector<BYTE> data(c.dataLength, 0);
        EXPECT_HR(c.expected, Send(c.property, &data)) << c.name;
    }
    // A value length beyond the buffer's room.
    std::vector<BYTE> value(kelix::kPpParameterBufferSize, 0);
    value[0] = 0x01;
    value[1] = 0xFA;  // 64001
    EXPECT_HR(E_INVALIDARG, Send(parameterSet, &value));
    // A null buffer with a length, and null pointers.
    ULONG returned = 0;
    EXPECT_HR(HRESULT_FROM_WIN32(ERROR_NOACCESS),
              control->KsProperty(reinterpret_cast<PKSPROPERTY>(std::vector<BYTE>(version).data()), 32, nullptr, 5,
                                  &returned));
    EXPECT_HR(E_POINTER, control->KsProperty(nullptr, 32, nullptr, 0, &returned));
    EXPECT_FALSE(dsp->Parameter(kModule, 20).has_value());
    EXPECT_EQ(dsp->Requests().size(), std::size(cases) + 3);
}

// Mutated answers follow the seed: the same seed gives the same answers, and the module-list size
// query gets absurd sizes among them.
TEST_F(SimDsp, MutatedAnswersRepeatWithTheirSeed) {
    const auto version = Bytes(kelix::PpShortHeader(kelix::kPpVersion, kelix::kKsPropertyGet, kPin));
    const auto listSize = Bytes(kelix::PpModuleHeader(kelix::kPpModuleList, kelix::kKsPropertyGet, kPin));
    const auto run = [&] {
        dsp->Mutate({5, 100});
        std::vector<std::tuple<HRESULT, ULONG, std::vector<BYTE>>> answers;
        for (int i = 0; i < 40; ++i) {
            std::vector<BYTE> reply(5, 0xEE);
            ULONG returned = 0;
            const HRESULT hr = i % 2 == 0 ? Send(version, &reply, &returned) : Send(listSize, nullptr, &returned);
            answers.emplace_back(hr, returned, reply);
        }
        return answers;
    };
    const auto first = run();
    EXPECT_EQ(run(), first);
    const sim::DspMutationCounts counts = dsp->MutationCounts();
    EXPECT_EQ(counts.answers, 40);
    EXPECT_GT(counts.failures + counts.shortCounts + counts.overlongCounts + counts.randomBytes, 0);
    EXPECT_TRUE(std::any_of(first.begin(), first.end(), [](const auto& answer) { return std::get<1>(answer) > 64004; }));
}

}  // namespace
}  // namespace simtest
