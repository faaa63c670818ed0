// The simulated DSP as a driver: strict about every request, answering the PP API and the AMD
// set from its state, and recording what it received.
#include <devicetopology.h>
#include <mmdeviceapi.h>

#include <algorithm>
#include <cstring>
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
const HRESULT kSetNotFound = HRESULT_FROM_WIN32(ERROR_SET_NOT_FOUND);
const HRESULT kTooSmall = HRESULT_FROM_WIN32(ERROR_INSUFFICIENT_BUFFER);

kelix::Guid Wire(const GUID& guid) {
    kelix::Guid out;
    std::memcpy(&out, &guid, sizeof out);
    return out;
}

const kelix::PpModuleAddress kAddress{kPin, 2, Wire(kModule)};
constexpr PROPERTYKEY kAnyKey = {{0x1DA5D803, 0xD492, 0x4EDD, {0x8C, 0x23, 0xE0, 0xC0, 0xFF, 0xEE, 0x7F, 0x0E}}, 4};

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

    static std::vector<BYTE> ValueBuffer(size_t size, std::vector<BYTE> value) {
        return *kelix::ParameterValueBuffer(size, value);
    }

    sim::Dsp* dsp = nullptr;
    ComPtr<IKsControl> control;
};

TEST_F(SimDsp, AnswersFromWhatWasWritten) {
    std::vector<BYTE> value = ValueBuffer(kelix::kPpParameterBufferSize, {1, 2, 3, 4, 5});
    EXPECT_HR(S_OK, Send(Bytes(kelix::PpModuleParameterRequest(kelix::kKsPropertySet, kAddress, 127, 1)), &value));
    EXPECT_EQ(dsp->Parameter(kModule, 127), (std::vector<BYTE>{1, 2, 3, 4, 5}));
    const auto get = Bytes(kelix::PpModuleParameterRequest(kelix::kKsPropertyGet, kAddress, 127, 0));
    std::vector<BYTE> reply(kelix::kPpParameterBufferSize, 0xEE);
    ULONG returned = 0;
    EXPECT_HR(S_OK, Send(get, &reply, &returned));
    EXPECT_EQ(std::vector<BYTE>(reply.begin(), reply.begin() + 10), (std::vector<BYTE>{5, 0, 0, 0, 1, 2, 3, 4, 5, 0xEE}));
    EXPECT_EQ(returned, 9u);
    // A reply length set by the test: the stored bytes, then zeros.
    dsp->SetParameterReplyLength(kModule, 127, 720);
    EXPECT_HR(S_OK, Send(get, &reply, &returned));
    EXPECT_EQ(kelix::ReadU32(reply, 0), 720u);
    EXPECT_EQ(reply[8], 5);
    EXPECT_EQ(reply[9], 0);
    EXPECT_EQ(returned, 724u);

    std::vector<BYTE> flag{0};
    EXPECT_HR(S_OK, Send(Bytes(kelix::PpModuleEnableRequest(kelix::kKsPropertySet, kAddress, 1)), &flag));
    EXPECT_FALSE(dsp->Enabled(kModule));
    std::vector<BYTE> amdValue = ValueBuffer(kelix::kAmdParameterBufferSize, {9, 9});
    EXPECT_HR(S_OK, Send(Bytes(kelix::AmdParameterRequest(kelix::kKsPropertySet, Wire(kAmdRow), 2, 45)), &amdValue));
    EXPECT_EQ(dsp->Parameter(kAmdRow, 45), (std::vector<BYTE>{9, 9}));

    // Every request is on record as sent.
    const std::vector<sim::KsRequest> requests = dsp->Requests();
    ASSERT_EQ(requests.size(), 5u);
    EXPECT_EQ(requests[0].device, kRender);
    EXPECT_EQ(requests[0].data, ValueBuffer(kelix::kPpParameterBufferSize, {1, 2, 3, 4, 5}));
    EXPECT_EQ(requests[1].property, get);
    EXPECT_EQ(requests[1].dataLength, kelix::kPpParameterBufferSize);
}

TEST_F(SimDsp, RefusesMalformedRequests) {
    const auto version = Bytes(kelix::PpShortHeader(kelix::kPpVersion, kelix::kKsPropertyGet, kPin));
    const auto parameterSet = Bytes(kelix::PpModuleParameterRequest(kelix::kKsPropertySet, kAddress, 20, 1));
    const auto enableGet = Bytes(kelix::PpModuleEnableRequest(kelix::kKsPropertyGet, kAddress, 0));
    const auto amd = Bytes(kelix::AmdInstantiationRequest(Wire(kAmdRow)));
    const auto changed = [](std::vector<BYTE> bytes, size_t offset, BYTE value) {
        bytes.at(offset) = value;
        return bytes;
    };
    const auto shortened = [](std::vector<BYTE> bytes) {
        bytes.pop_back();
        return bytes;
    };
    struct Case {
        const char* name;
        std::vector<BYTE> property;
        size_t dataLength;
        HRESULT expected;
    };
    const Case cases[] = {
        {"version, one byte short", shortened(version), 5, E_INVALIDARG},
        {"version as SET", changed(version, 20, 2), 5, E_INVALIDARG},
        {"version on another pin", changed(version, 24, 2), 5, E_INVALIDARG},
        {"reserved word set", changed(version, 28, 1), 5, E_INVALIDARG},
        {"reply room of 3 bytes", version, 3, kTooSmall},
        {"unknown PP id", changed(version, 16, 9), 5, kNotFound},
        {"unknown set", changed(version, 0, 0x38), 5, kSetNotFound},
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

// A removed endpoint's objects answer as a removed device's for good; the endpoint leaves the
// enumeration and comes back where it was; a plugged one comes ahead of the one named.
TEST_F(SimDsp, RemovedEndpointsObjectsAreDeadAndPluggedOnesComeFirst) {
    sim::Endpoint& render = *platform.Find(kRender);
    ComPtr<IPropertyStore> store;
    ASSERT_HR(S_OK, Device(kRender)->OpenPropertyStore(STGM_READ, &store));
    const auto version = Bytes(kelix::PpShortHeader(kelix::kPpVersion, kelix::kKsPropertyGet, kPin));
    std::vector<BYTE> reply(5);
    const auto activeRenders = [&] {
        ComPtr<IMMDeviceCollection> devices;
        EXPECT_HR(S_OK, Enumerator()->EnumAudioEndpoints(eRender, DEVICE_STATE_ACTIVE, &devices));
        UINT count = 0;
        devices->GetCount(&count);
        std::vector<std::wstring> ids;
        for (UINT i = 0; i < count; ++i) {
            ComPtr<IMMDevice> device;
            devices->Item(i, &device);
            ids.push_back(IdOf(device.Get()));
        }
        return ids;
    };
    PROPVARIANT value;
    PropVariantInit(&value);
    render.Remove();
    EXPECT_HR(sim::kDeviceInvalidated, store->GetValue(kAnyKey, &value));
    EXPECT_HR(sim::kDriverDeviceRemoved, Send(version, &reply));
    EXPECT_EQ(activeRenders(), std::vector<std::wstring>{kRenderSecond});
    render.Restore();
    platform.PlugEndpoint({L"plugged"}, kRender);
    EXPECT_EQ(activeRenders(), (std::vector<std::wstring>{L"plugged", kRender, kRenderSecond}));
    EXPECT_HR(sim::kDeviceInvalidated, store->GetValue(kAnyKey, &value));  // dead for good
    EXPECT_HR(sim::kDriverDeviceRemoved, Send(version, &reply));
    ASSERT_HR(S_OK, Device(kRender)->OpenPropertyStore(STGM_READ, store.ReleaseAndGetAddressOf()));
    EXPECT_HR(S_OK, store->GetValue(kAnyKey, &value));
    ASSERT_HR(S_OK, Device(kRender)->Activate(__uuidof(IKsControl), CLSCTX_ALL, nullptr, &control));
    EXPECT_HR(S_OK, Send(version, &reply));
    PropVariantClear(&value);
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
    EXPECT_GT(counts.absurdLists, 0);
    EXPECT_GT(counts.failures + counts.shortCounts + counts.overlongCounts + counts.randomBytes, 0);
    EXPECT_TRUE(std::any_of(first.begin(), first.end(), [](const auto& answer) { return std::get<1>(answer) > 64004; }));
}

}  // namespace
}  // namespace simtest
