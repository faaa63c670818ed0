#pragma once

#include <windows.h>

#include <string>

namespace sim {

// Redirects HKEY_LOCAL_MACHINE of this process to a fresh private key under
// HKEY_CURRENT_USER, so that a test writes the values the product reads there
// (RegOverridePredefKey; the product needs no hook). The destructor restores
// HKEY_LOCAL_MACHINE and deletes the private key with everything under it.
class RegistryOverride {
public:
    RegistryOverride();
    ~RegistryOverride();
    RegistryOverride(const RegistryOverride&) = delete;
    RegistryOverride& operator=(const RegistryOverride&) = delete;

    LSTATUS Result() const { return result_; }

    // Writes a value of any type under HKEY_LOCAL_MACHINE\subkey, creating the key.
    LSTATUS SetValue(const std::wstring& subkey, const std::wstring& name, DWORD type, const void* data, DWORD bytes);
    LSTATUS SetString(const std::wstring& subkey, const std::wstring& name, const std::wstring& text);
    // Removes HKEY_LOCAL_MACHINE\subkey and everything under it.
    LSTATUS DeleteKey(const std::wstring& subkey);

private:
    std::wstring path_;  // under HKEY_CURRENT_USER
    HKEY root_ = nullptr;
    LSTATUS result_ = ERROR_INVALID_FUNCTION;
};

}  // namespace sim
