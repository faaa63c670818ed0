// What the DSP route knows of one effect module on the DSP: the endpoint it
// serves, the filter's IKsControl and pin that reach it, and its identity.
#pragma once

#include <windows.h>
#include <oleauto.h>
#include <devicetopology.h>

namespace kelix {

// The strings are BSTRs the entry owns (null allowed). The entry holds one
// reference on KsControl, which only ReleaseControl gives back: copying an
// entry duplicates the strings and copies the pointer without a reference of
// its own, and destroying an entry frees its strings only. Whoever clears a
// list of entries releases each control once, then drops the entries.
class ModuleEntry {
public:
    ModuleEntry() = default;
    ~ModuleEntry();
    // Throws ComError(E_OUTOFMEMORY) when a string cannot be copied.
    ModuleEntry(const ModuleEntry& other);
    ModuleEntry& operator=(const ModuleEntry& other);
    ModuleEntry(ModuleEntry&& other) noexcept;
    ModuleEntry& operator=(ModuleEntry&& other) noexcept;

    // Releases the control reference and forgets the pointer.
    void ReleaseControl();

    GUID EndpointGuid{};
    BSTR DeviceID = nullptr;
    UINT32 FormFactor = 0;
    BSTR FriendlyName = nullptr;
    IKsControl* KsControl = nullptr;
    UINT32 PinId = 0;
    GUID ModuleId{};
    UINT32 ModuleType = 0;     // 0 SFX, 1 MFX, 2 EFX
    UINT32 IsAmd = 0;          // 1 for a module found through the AMD property set
    BSTR ModuleVersion = nullptr;  // e.g. "1.4.2", "2.10.0-lite"
    BSTR ModuleName = nullptr;     // "krelo-amd" for AMD modules
    UINT64 WorkingWord = 0;    // sent and cleared by the direct module request

private:
    void FreeStrings() noexcept;
};

// A copy of a BSTR by its byte length (null stays null); throws ComError(E_OUTOFMEMORY).
BSTR CopyBstr(BSTR text);
// A BSTR of text; throws ComError(E_OUTOFMEMORY).
BSTR MakeBstr(const wchar_t* text);

}  // namespace kelix
