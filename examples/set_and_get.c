/*
 * set_and_get: a complete client of Kelix3PexControl.dll, in C89 (it builds
 * as C++ as well). It opens the default render endpoint, writes a gain and a
 * structure to the endpoint's property store, reads both back, reads the PEX
 * effect's version text and closes the endpoint.
 *
 * Build (mingw-w64):  x86_64-w64-mingw32-gcc set_and_get.c -I../include -lKelix3PexControl -lole32
 * Build (MSVC):       cl set_and_get.c /I..\include Kelix3PexControl.lib ole32.lib
 */
#include <stdio.h>
#include <string.h>

#include <windows.h>
#include <objbase.h>

#include "Kelix3PexControl.h"

static int Report(const char* step, HRESULT hr)
{
    if (SUCCEEDED(hr)) return 0;
    fprintf(stderr, "set_and_get: %s failed: 0x%08lX\n", step, (unsigned long)hr);
    return 1;
}

/* Writes, reads back and compares; 0 when every step succeeded. */
static int Run(wchar_t* handle)
{
    INT32 gain = -6;
    INT32 gainRead = 0;
    UINT32 size = sizeof gainRead;
    KelixKreloRegulatorIsolatedBands bands;
    KelixKreloRegulatorIsolatedBands bandsRead;
    wchar_t version[64];
    char versionText[256];
    int i;

    if (Report("SetPexParam(pex_postgain)",
               SetPexParam(handle, KELIX_PEX_POSTGAIN, &gain, sizeof gain, KELIX_ROUTE_PROPERTY_STORE))) return 1;
    if (Report("GetPexParam(pex_postgain)",
               GetPexParam(handle, KELIX_PEX_POSTGAIN, &gainRead, &size, KELIX_ROUTE_PROPERTY_STORE))) return 1;
    printf("pex_postgain = %ld\n", (long)gainRead);
    if (gainRead != gain) return 1;

    for (i = 0; i < 20; ++i) bands.a[i] = 100 * i;
    if (Report("SetPexParam(krelo_regulator_isolated_bands)",
               SetPexParam(handle, KELIX_KRELO_REGULATOR_ISOLATED_BANDS, &bands, sizeof bands,
                           KELIX_ROUTE_PROPERTY_STORE))) return 1;
    size = sizeof bandsRead;
    if (Report("GetPexParam(krelo_regulator_isolated_bands)",
               GetPexParam(handle, KELIX_KRELO_REGULATOR_ISOLATED_BANDS, &bandsRead, &size,
                           KELIX_ROUTE_PROPERTY_STORE))) return 1;
    printf("krelo_regulator_isolated_bands: %lu bytes, a[19] = %ld\n", (unsigned long)size, (long)bandsRead.a[19]);
    if (size != sizeof bandsRead || memcmp(&bands, &bandsRead, sizeof bands) != 0) return 1;

    /* A text answer: on E_INVALIDARG, size holds the bytes the text needs. */
    size = sizeof version;
    if (Report("GetPexParam(pex_version)",
               GetPexParam(handle, KELIX_PEX_VERSION, version, &size, KELIX_ROUTE_PROPERTY_STORE))) return 1;
    if (size == 0 || WideCharToMultiByte(CP_UTF8, 0, version, -1, versionText, sizeof versionText, NULL, NULL) == 0) {
        strcpy(versionText, "(no PEX effect)");
    }
    printf("pex_version = %s\n", versionText);
    return 0;
}

int main(void)
{
    wchar_t* handle = NULL;
    int failed = 1;
    HRESULT hr = CoInitializeEx(NULL, COINIT_MULTITHREADED);
    if (Report("CoInitializeEx", hr)) return 1;

    hr = OpenPexControl(&handle, NULL);
    if (!Report("OpenPexControl", hr)) {
        failed = Run(handle);
        if (Report("ClosePexControl", ClosePexControl(handle))) failed = 1;
    }
    CoUninitialize();
    return failed;
}
