// The DLL as a client receives it: a 64-bit image for the machine it was built for,
// exactly the five undecorated exports, and imports from system DLLs only.
// KELIX_IMAGE_UNDER_TEST names another build of the DLL to check (default: the one beside the test).
#include <windows.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

namespace {

const IMAGE_NT_HEADERS& Headers(HMODULE module) {
    const auto* base = reinterpret_cast<const BYTE*>(module);
    const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
    return *reinterpret_cast<const IMAGE_NT_HEADERS*>(base + dos->e_lfanew);
}

const IMAGE_DATA_DIRECTORY& Directory(HMODULE module, int index) {
    return Headers(module).OptionalHeader.DataDirectory[index];
}

std::wstring ImageUnderTest() {
    wchar_t path[MAX_PATH];
    const DWORD length = GetEnvironmentVariableW(L"KELIX_IMAGE_UNDER_TEST", path, MAX_PATH);
    return length > 0 && length < MAX_PATH ? std::wstring(path, length) : L"Kelix3PexControl.dll";
}

#if defined(_M_ARM64) || defined(__aarch64__)
constexpr WORD kMachine = IMAGE_FILE_MACHINE_ARM64;
#elif defined(_M_X64) || defined(__x86_64__)
constexpr WORD kMachine = IMAGE_FILE_MACHINE_AMD64;
#endif

class ImageTest : public testing::Test {
protected:
    void SetUp() override {
        const std::wstring image = ImageUnderTest();
        module_ = LoadLibraryW(image.c_str());
        ASSERT_NE(module_, nullptr) << GetLastError();
        base_ = reinterpret_cast<const BYTE*>(module_);
    }
    void TearDown() override { if (module_ != nullptr) FreeLibrary(module_); }
    HMODULE module_ = nullptr;
    const BYTE* base_ = nullptr;
};

TEST_F(ImageTest, A64BitDllForTheBuildMachineWithExactlyTheFiveUndecoratedExports) {
    const IMAGE_NT_HEADERS& nt = Headers(module_);
    EXPECT_EQ(nt.FileHeader.Machine, kMachine) << std::hex << nt.FileHeader.Machine;
    EXPECT_EQ(nt.OptionalHeader.Magic, IMAGE_NT_OPTIONAL_HDR64_MAGIC) << std::hex << nt.OptionalHeader.Magic;
    EXPECT_NE(nt.FileHeader.Characteristics & IMAGE_FILE_DLL, 0) << std::hex << nt.FileHeader.Characteristics;

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
        for (const char* runtime : {"libstdc++", "libgcc", "winpthread"}) {
            EXPECT_EQ(name.find(runtime), std::string::npos) << name;
        }
    }
    EXPECT_GT(count, 0);
}

// The version of the top CMakeLists.txt's project(), in the version resource's fixed part.
TEST_F(ImageTest, CarriesTheReleaseVersion) {
    HRSRC found = FindResourceW(module_, MAKEINTRESOURCEW(VS_VERSION_INFO), MAKEINTRESOURCEW(16));  // RT_VERSION
    ASSERT_NE(found, nullptr) << GetLastError();
    const auto* data = static_cast<const BYTE*>(LockResource(LoadResource(module_, found)));
    const DWORD size = SizeofResource(module_, found);
    ASSERT_NE(data, nullptr);
    constexpr DWORD kSignature = 0xFEEF04BD;
    const BYTE* at = std::search(data, data + size, reinterpret_cast<const BYTE*>(&kSignature),
                                 reinterpret_cast<const BYTE*>(&kSignature) + sizeof kSignature);
    ASSERT_LE(at + sizeof(VS_FIXEDFILEINFO), data + size) << "no VS_FIXEDFILEINFO";
    VS_FIXEDFILEINFO info;
    std::memcpy(&info, at, sizeof info);
    const DWORD major = KELIX_VERSION_MAJOR, minor = KELIX_VERSION_MINOR, patch = KELIX_VERSION_PATCH;
    EXPECT_EQ(info.dwFileVersionMS, major << 16 | minor);
    EXPECT_EQ(info.dwFileVersionLS, patch << 16);
    EXPECT_EQ(info.dwProductVersionMS, info.dwFileVersionMS);
    EXPECT_EQ(info.dwProductVersionLS, info.dwFileVersionLS);
}

}  // namespace
