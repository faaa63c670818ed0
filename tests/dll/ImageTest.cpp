// The DLL as a client receives it: exactly the five undecorated exports, and
// imports from system DLLs only.
#include <windows.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

const IMAGE_DATA_DIRECTORY& Directory(HMODULE module, int index) {
    const auto* base = reinterpret_cast<const BYTE*>(module);
    const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
    const auto* nt = reinterpret_cast<const IMAGE_NT_HEADERS*>(base + dos->e_lfanew);
    return nt->OptionalHeader.DataDirectory[index];
}

class ImageTest : public testing::Test {
protected:
    void SetUp() override {
        module_ = LoadLibraryW(L"Kelix3PexControl.dll");
        ASSERT_NE(module_, nullptr) << GetLastError();
        base_ = reinterpret_cast<const BYTE*>(module_);
    }
    void TearDown() override {
        if (module_ != nullptr) FreeLibrary(module_);
    }
    HMODULE module_ = nullptr;
    const BYTE* base_ = nullptr;
};

TEST_F(ImageTest, ExportsExactlyTheFiveUndecoratedNames) {
    const IMAGE_DATA_DIRECTORY& directory = Directory(module_, IMAGE_DIRECTORY_ENTRY_EXPORT);
    ASSERT_NE(directory.VirtualAddress, 0u);
    const auto* exports = reinterpret_cast<const IMAGE_EXPORT_DIRECTORY*>(base_ + directory.VirtualAddress);
    const auto* names = reinterpret_cast<const DWORD*>(base_ + exports->AddressOfNames);
    std::vector<std::string> found;
    for (DWORD i = 0; i < exports->NumberOfNames; ++i) found.emplace_back(reinterpret_cast<const char*>(base_ + names[i]));
    std::sort(found.begin(), found.end());
    const std::vector<std::string> expected = {"ClosePexControl", "GetPexParam", "OpenPexControl", "SetPexParam",
                                               "SetPexVariantParam"};
    EXPECT_EQ(found, expected);
    EXPECT_EQ(exports->NumberOfFunctions, 5u);
}

TEST_F(ImageTest, ImportsOnlySystemDlls) {
    wchar_t system[MAX_PATH];
    ASSERT_NE(GetSystemDirectoryW(system, MAX_PATH), 0u);
    const IMAGE_DATA_DIRECTORY& directory = Directory(module_, IMAGE_DIRECTORY_ENTRY_IMPORT);
    ASSERT_NE(directory.VirtualAddress, 0u);
    int count = 0;
    for (const auto* import = reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(base_ + directory.VirtualAddress);
         import->Name != 0; ++import, ++count) {
        const std::string name = reinterpret_cast<const char*>(base_ + import->Name);
        const std::wstring path = std::wstring(system) + L"\\" + std::wstring(name.begin(), name.end());
        EXPECT_NE(GetFileAttributesW(path.c_str()), INVALID_FILE_ATTRIBUTES) << name << " is not a system DLL";
        EXPECT_EQ(name.find("libstdc++"), std::string::npos) << name;
        EXPECT_EQ(name.find("libgcc"), std::string::npos) << name;
        EXPECT_EQ(name.find("winpthread"), std::string::npos) << name;
    }
    EXPECT_GT(count, 0);
}

}  // namespace
