#include "sim/RegistryOverride.h"

#include <atomic>

namespace sim {

RegistryOverride::RegistryOverride() {
    static std::atomic<unsigned> counter{0};
    path_ = L"Software\\Kelix3PexSimulation\\Machine" + std::to_wstring(GetCurrentProcessId()) + L"." +
            std::to_wstring(counter++);
    result_ = RegCreateKeyExW(HKEY_CURRENT_USER, path_.c_str(), 0, nullptr, REG_OPTION_VOLATILE, KEY_ALL_ACCESS,
                              nullptr, &root_, nullptr);
    if (result_ != ERROR_SUCCESS) return;
    result_ = RegOverridePredefKey(HKEY_LOCAL_MACHINE, root_);
}

RegistryOverride::~RegistryOverride() {
    if (root_ == nullptr) return;
    if (result_ == ERROR_SUCCESS) RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr);
    RegDeleteTreeW(root_, nullptr);
    RegCloseKey(root_);
    RegDeleteKeyW(HKEY_CURRENT_USER, path_.c_str());
}

LSTATUS RegistryOverride::SetValue(const std::wstring& subkey, const std::wstring& name, DWORD type, const void* data,
                                   DWORD bytes) {
    HKEY key = nullptr;
    LSTATUS status = RegCreateKeyExW(root_, subkey.c_str(), 0, nullptr, REG_OPTION_VOLATILE, KEY_SET_VALUE, nullptr,
                                     &key, nullptr);
    if (status != ERROR_SUCCESS) return status;
    status = RegSetValueExW(key, name.c_str(), 0, type, static_cast<const BYTE*>(data), bytes);
    RegCloseKey(key);
    return status;
}

LSTATUS RegistryOverride::SetString(const std::wstring& subkey, const std::wstring& name, const std::wstring& text) {
    return SetValue(subkey, name, REG_SZ, text.c_str(), static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
}

LSTATUS RegistryOverride::DeleteKey(const std::wstring& subkey) { return RegDeleteTreeW(root_, subkey.c_str()); }

}  // namespace sim
