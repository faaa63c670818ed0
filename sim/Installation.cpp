#include "sim/Installation.h"

#include <mmdeviceapi.h>
#include <wrl/client.h>

#include "API/Kelix3PexControl/PolicyConfig.h"
#include "sim/Platform.h"

namespace sim {

Installation::Installation(Platform& platform) {
    // COM keeps its own reference to each class object until the revocation.
    result_ = CoRegisterClassObject(__uuidof(MMDeviceEnumerator), platform.CreateClassFactory().Get(),
                                    CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &cookie_);
    if (FAILED(result_)) return;
    result_ = CoRegisterClassObject(kelix::kClsidPolicyConfig, platform.CreatePolicyConfigFactory().Get(),
                                    CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &policyCookie_);
    if (FAILED(result_)) CoRevokeClassObject(cookie_);
}

Installation::~Installation() {
    if (FAILED(result_)) return;
    CoRevokeClassObject(policyCookie_);
    CoRevokeClassObject(cookie_);
}

HRESULT Installation::Result() const { return result_; }

}  // namespace sim
