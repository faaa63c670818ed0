#include "SimTestSupport.h"

namespace simtest {
namespace {

using SimPropertyStore = SimFixture;

constexpr GUID kFmtid = {0x6d1e2f3a, 0x41c7, 0x4b8e, {0x9a, 0x52, 0x0c, 0x3f, 0x7e, 0x21, 0x88, 0x14}};
constexpr PROPERTYKEY Key(DWORD pid) { return PROPERTYKEY{kFmtid, pid}; }

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

}  // namespace
}  // namespace simtest
