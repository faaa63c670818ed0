#include "sim/Installation.h"

#include <mmdeviceapi.h>
#include <wrl/client.h>

#include "sim/Platform.h"

namespace sim {

Installation::Installation(Platform& platform) {
    const Microsoft::WRL::ComPtr<IClassFactory> factory = platform.CreateClassFactory();
    // COM keeps its own reference to the class object until the revocation.
    result_ = CoRegisterClassObject(__uuidof(MMDeviceEnumerator), factory.Get(), CLSCTX_INPROC_SERVER,
                                    REGCLS_MULTIPLEUSE, &cookie_);
}

Installation::~Installation() {
    if (SUCCEEDED(result_)) CoRevokeClassObject(cookie_);
}

HRESULT Installation::Result() const { return result_; }

}  // namespace sim
