#include <cstring>
#include <cwchar>
#include <string>
#include <vector>

#include "SimTestSupport.h"

namespace simtest {
namespace {

using SimPropertyStore = SimFixture;

constexpr GUID kFmtid = {0x6d1e2f3a, 0x41c7, 0x4b8e, {0x9a, 0x52, 0x0c, 0x3f, 0x7e, 0x21, 0x88, 0x14}};
constexpr PROPERTYKEY Key(DWORD pid) { return PROPERTYKEY{kFmtid, pid}; }

// The bytes a value holds, for the types the tests write.
std::string Payload(const PROPVARIANT& v) {
    const auto bytes = [](const void* data, size_t size) {
        return size == 0 ? std::string() : std::string(static_cast<const char*>(data), size);
    };
    switch (v.vt) {
        case VT_I4: case VT_UI4: return bytes(&v.lVal, sizeof v.lVal);
        case VT_VECTOR | VT_I4: return bytes(v.cal.pElems, v.cal.cElems * sizeof(LONG));
        case VT_BLOB: return bytes(v.blob.pBlobData, v.blob.cbSize);
        case VT_LPWSTR: return bytes(v.pwszVal, std::wcslen(v.pwszVal) * sizeof(wchar_t));
        default: return {};
    }
}

TEST_F(SimPropertyStore, OpenModesFollowTheEndpointsAccess) {
    struct Case {
        sim::StoreAccess access;
        DWORD mode;
        HRESULT open;
        HRESULT set;  // SetValue on the opened store
    };
    const Case cases[] = {
        {sim::StoreAccess::ReadWrite, STGM_READ, S_OK, STG_E_ACCESSDENIED},
        {sim::StoreAccess::ReadWrite, STGM_WRITE, S_OK, S_OK},
        {sim::StoreAccess::ReadWrite, STGM_READWRITE, S_OK, S_OK},
        {sim::StoreAccess::ReadOnly, STGM_READ, S_OK, STG_E_ACCESSDENIED},
        {sim::StoreAccess::ReadOnly, STGM_WRITE, E_ACCESSDENIED, S_OK},
        {sim::StoreAccess::ReadOnly, STGM_READWRITE, E_ACCESSDENIED, S_OK},
        {sim::StoreAccess::None, STGM_READ, E_ACCESSDENIED, S_OK},
        {sim::StoreAccess::None, STGM_READWRITE, E_ACCESSDENIED, S_OK},
        {sim::StoreAccess::ReadWrite, STGM_READWRITE | STGM_SHARE_EXCLUSIVE, E_INVALIDARG, S_OK},
    };
    ComPtr<IMMDevice> device = Device(kRender);
    sim::Endpoint& endpoint = *platform.Find(kRender);
    PROPVARIANT value{};
    value.vt = VT_UI4;
    value.ulVal = 7;
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "access " << static_cast<int>(c.access) << " mode " << c.mode);
        endpoint.SetAccess(c.access);
        IPropertyStore* store = SentinelPointer<IPropertyStore>();
        ASSERT_HR(c.open, device->OpenPropertyStore(c.mode, &store));
        if (FAILED(c.open)) {
            EXPECT_EQ(nullptr, store);
            continue;
        }
        EXPECT_HR(c.set, store->SetValue(Key(1), value));
        EXPECT_HR(c.set, store->Commit());
        store->Release();
    }
}

// A store keeps copies of what it is given, in the order written, for every later store of the
// endpoint and for the endpoint itself; a key it does not hold reads as VT_EMPTY.
TEST_F(SimPropertyStore, ValuesRoundTripAndPersistAcrossStores) {
    LONG words[] = {-1, 0, 0x7FFFFFFF, 42};
    BYTE bytes[] = {0x00, 0xFF, 0x10, 0x80, 0x7F};
    wchar_t text[] = L"Speakers";
    std::vector<PROPVARIANT> values(6);  // one of each type the product writes
    values[0].vt = VT_I4, values[0].lVal = -123456;
    values[1].vt = VT_UI4, values[1].ulVal = 0xFFFFFFFEu;
    values[2].vt = VT_VECTOR | VT_I4, values[2].cal.cElems = 4, values[2].cal.pElems = words;
    values[3].vt = VT_BLOB, values[3].blob.cbSize = 5, values[3].blob.pBlobData = bytes;
    values[4].vt = VT_VECTOR | VT_I4;  // no elements
    values[5].vt = VT_LPWSTR, values[5].pwszVal = text;
    std::vector<std::string> payloads;
    {
        ComPtr<IPropertyStore> writer;
        ASSERT_HR(S_OK, Device(kRender)->OpenPropertyStore(STGM_READWRITE, &writer));
        for (DWORD i = 0; i < values.size(); ++i) {
            payloads.push_back(Payload(values[i]));
            ASSERT_HR(S_OK, writer->SetValue(Key(i), values[i]));
        }
        ASSERT_HR(S_OK, writer->Commit());
    }
    // The caller's buffers are gone after the writes.
    std::memset(words, 0x55, sizeof words);
    std::memset(bytes, 0x55, sizeof bytes);
    std::wmemset(text, L'x', std::size(text) - 1);
    EXPECT_EQ(1, platform.Calls("IPropertyStore::Commit"));

    ComPtr<IPropertyStore> reader;
    ASSERT_HR(S_OK, Device(kRender)->OpenPropertyStore(STGM_READ, &reader));
    DWORD count = 0;
    ASSERT_HR(S_OK, reader->GetCount(&count));
    ASSERT_EQ(values.size(), count);
    for (DWORD i = 0; i < count; ++i) {
        SCOPED_TRACE(testing::Message() << "vt " << values[i].vt);
        PROPERTYKEY key{};
        ASSERT_HR(S_OK, reader->GetAt(i, &key));
        EXPECT_TRUE(IsEqualGUID(kFmtid, key.fmtid) && key.pid == i) << "GetAt keeps the order of writes";
        for (const bool throughEndpoint : {false, true}) {
            PROPVARIANT value;
            value.vt = VT_ILLEGAL;
            ASSERT_HR(S_OK, throughEndpoint ? platform.Find(kRender)->GetValue(key, &value) : reader->GetValue(key, &value));
            EXPECT_EQ(values[i].vt, value.vt) << throughEndpoint;
            EXPECT_EQ(payloads[i], Payload(value)) << throughEndpoint;
            PropVariantClear(&value);
        }
    }
    PROPERTYKEY beyond = Key(0xBAAD);
    EXPECT_HR(E_INVALIDARG, reader->GetAt(count, &beyond));
    EXPECT_EQ(DWORD{0xBAAD}, beyond.pid);
    PROPVARIANT absent;
    absent.vt = VT_ILLEGAL;
    EXPECT_HR(S_OK, reader->GetValue(Key(count), &absent));
    EXPECT_EQ(VT_EMPTY, absent.vt) << "a key the store does not hold";
}

}  // namespace
}  // namespace simtest
