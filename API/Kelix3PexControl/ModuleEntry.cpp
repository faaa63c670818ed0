#include "ModuleEntry.h"

#include <utility>

#include "ComError.h"

namespace kelix {

BSTR CopyBstr(BSTR text) {
    if (text == nullptr) return nullptr;
    BSTR copy = SysAllocStringByteLen(reinterpret_cast<const char*>(text), SysStringByteLen(text));
    if (copy == nullptr) throw ComError(E_OUTOFMEMORY);
    return copy;
}

BSTR MakeBstr(const wchar_t* text) {
    BSTR copy = SysAllocString(text);
    if (copy == nullptr && text != nullptr) throw ComError(E_OUTOFMEMORY);
    return copy;
}

ModuleEntry::~ModuleEntry() { FreeStrings(); }

ModuleEntry::ModuleEntry(const ModuleEntry& other)
    : EndpointGuid(other.EndpointGuid),
      FormFactor(other.FormFactor),
      KsControl(other.KsControl),
      PinId(other.PinId),
      ModuleId(other.ModuleId),
      ModuleType(other.ModuleType),
      IsAmd(other.IsAmd),
      WorkingWord(other.WorkingWord) {
    // Strings copied one by one; a failure leaves the ones made so far to the destructor.
    try {
        DeviceID = CopyBstr(other.DeviceID);
        FriendlyName = CopyBstr(other.FriendlyName);
        ModuleVersion = CopyBstr(other.ModuleVersion);
        ModuleName = CopyBstr(other.ModuleName);
    } catch (...) {
        FreeStrings();
        throw;
    }
}

ModuleEntry& ModuleEntry::operator=(const ModuleEntry& other) {
    if (this != &other) {
        ModuleEntry copy(other);
        *this = std::move(copy);
    }
    return *this;
}

ModuleEntry::ModuleEntry(ModuleEntry&& other) noexcept { *this = std::move(other); }

ModuleEntry& ModuleEntry::operator=(ModuleEntry&& other) noexcept {
    if (this == &other) return *this;
    FreeStrings();
    EndpointGuid = other.EndpointGuid;
    DeviceID = std::exchange(other.DeviceID, nullptr);
    FormFactor = other.FormFactor;
    FriendlyName = std::exchange(other.FriendlyName, nullptr);
    KsControl = std::exchange(other.KsControl, nullptr);
    PinId = other.PinId;
    ModuleId = other.ModuleId;
    ModuleType = other.ModuleType;
    IsAmd = other.IsAmd;
    ModuleVersion = std::exchange(other.ModuleVersion, nullptr);
    ModuleName = std::exchange(other.ModuleName, nullptr);
    WorkingWord = other.WorkingWord;
    return *this;
}

void ModuleEntry::ReleaseControl() {
    if (KsControl != nullptr) std::exchange(KsControl, nullptr)->Release();
}

void ModuleEntry::FreeStrings() noexcept {
    SysFreeString(std::exchange(DeviceID, nullptr));
    SysFreeString(std::exchange(FriendlyName, nullptr));
    SysFreeString(std::exchange(ModuleVersion, nullptr));
    SysFreeString(std::exchange(ModuleName, nullptr));
}

}  // namespace kelix
