// The DLL as a client receives it: a 64-bit image for the machine it was built for,
// exactly the five undecorated exports, imports from system DLLs only, and the
// release version in its version resource.
// KELIX_IMAGE_UNDER_TEST names another build of the DLL to check (default: the one beside the test).
#include <windows.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

namespace {

#if defined(_M_ARM64) || defined(__aarch64__)
constexpr WORD kMachine = IMAGE_FILE_MACHINE_ARM64;
#elif defined(_M_X64) || defined(__x86_64__)
constexpr WORD kMachine = IMAGE_FILE_MACHINE_AMD64;
#endif

TEST(ImageTest, WhatAClientReceives) {
    wchar_t image[MAX_PATH] = L"Kelix3PexControl.dll";
    const DWORD length = GetEnvironmentVariableW(L"KELIX_IMAGE_UNDER_TEST", image, MAX_PATH);
    if (length == 0 || length >= MAX_PATH) std::wcscpy(image, L"Kelix3PexControl.dll");
    const HMODULE module = LoadLibraryW(image);
    ASSERT_NE(module, nullptr) << GetLastError();
    const auto* base = reinterpret_cast<const BYTE*>(module);
    const auto& nt = *reinterpret_cast<const IMAGE_NT_HEADERS*>(
        base + reinterpret_cast<const IMAGE_DOS_HEADER*>(base)->e_lfanew);
    EXPECT_EQ(nt.FileHeader.Machine, kMachine) << std::hex << nt.FileHeader.Machine;
    EXPECT_EQ(nt.OptionalHeader.Magic, IMAGE_NT_OPTIONAL_HDR64_MAGIC) << std::hex << nt.OptionalHeader.Magic;
    EXPECT_NE(nt.FileHeader.Characteristics & IMAGE_FILE_DLL, 0) << std::hex << nt.FileHeader.Characteristics;
    const auto at = [&](int directory) { return base + nt.OptionalHeader.DataDirectory[directory].VirtualAddress; };

    const auto* exports = reinterpret_cast<const IMAGE_EXPORT_DIRECTORY*>(at(IMAGE_DIRECTORY_ENTRY_EXPORT));
    const auto* names = reinterpret_cast<const DWORD*>(base + exports->AddressOfNames);
    std::vector<std::string> found;
    for (DWORD i = 0; i < exports->NumberOfNames; ++i) found.emplace_back(reinterpret_cast<const char*>(base + names[i]));
    std::sort(found.begin(), found.end());
    EXPECT_EQ(found, (std::vector<std::string>{"ClosePexControl", "GetPexParam", "OpenPexControl", "SetPexParam",
                                               "SetPexVariantParam"}));
    EXPECT_EQ(exports->NumberOfFunctions, 5u);

    wchar_t system[MAX_PATH];
    ASSERT_NE(GetSystemDirectoryW(system, MAX_PATH), 0u);
    int imports = 0;
    for (auto* import = reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(at(IMAGE_DIRECTORY_ENTRY_IMPORT));
         import->Name != 0; ++import, ++imports) {
        const std::string name = reinterpret_cast<const char*>(base + import->Name);
        const std::wstring path = std::wstring(system) + L"\\" + std::wstring(name.begin(), name.end());
        EXPECT_NE(GetFileAttributesW(path.c_str()), INVALID_FILE_ATTRIBUTES) << name << " is not a system DLL";
    }
    EXPECT_GT(imports, 0);

    // The version of the top CMakeLists.txt's project(), in the version resource's fixed part.
    std::vector<BYTE> version(GetFileVersionInfoSizeW(image, nullptr));
    ASSERT_TRUE(GetFileVersionInfoW(image, 0, static_cast<DWORD>(version.size()), version.data())) << GetLastError();
    VS_FIXEDFILEINFO* info = nullptr;
    UINT fixedSize = 0;
    ASSERT_TRUE(VerQueryValueW(version.data(), L"\\", reinterpret_cast<void**>(&info), &fixedSize));
    ASSERT_EQ(fixedSize, sizeof *info);
    const DWORD major = KELIX_VERSION_MAJOR, minor = KELIX_VERSION_MINOR, patch = KELIX_VERSION_PATCH;
    EXPECT_EQ(info->dwFileVersionMS, major << 16 | minor);
    EXPECT_EQ(info->dwFileVersionLS, patch << 16);
    EXPECT_EQ(info->dwProductVersionMS, info->dwFileVersionMS);
    EXPECT_EQ(info->dwProductVersionLS, info->dwFileVersionLS);
    FreeLibrary(module);
}

}  // namespace
