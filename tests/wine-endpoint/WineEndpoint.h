// Whether the Wine audio setup these tests need is required to be there: under
// ctest, which names an ALSA configuration for them (ALSA_CONFIG_PATH), it is,
// so a missing setup fails; run by hand without one, the tests skip instead.
#pragma once

#include <windows.h>

namespace kelix::test {

inline bool Required() { return GetEnvironmentVariableW(L"ALSA_CONFIG_PATH", nullptr, 0) != 0; }

}  // namespace kelix::test
