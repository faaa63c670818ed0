#pragma once

#include <windows.h>

namespace sim {

class Platform;

// Registers a platform's class objects for CLSID_MMDeviceEnumerator and the policy-configuration
// class in the calling thread's apartment (CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE) and revokes it in the destructor.
// COM must be initialised on the thread, and the product must create its enumerator in the same
// apartment: the same STA thread, or any thread of the MTA. The Platform must outlive it.
class Installation {
public:
    explicit Installation(Platform& platform);
    ~Installation();
    Installation(const Installation&) = delete;
    Installation& operator=(const Installation&) = delete;

    HRESULT Result() const;  // result of CoRegisterClassObject, e.g. CO_E_NOTINITIALIZED

private:
    HRESULT result_ = E_UNEXPECTED;
    DWORD cookie_ = 0;
    DWORD policyCookie_ = 0;
};

}  // namespace sim
