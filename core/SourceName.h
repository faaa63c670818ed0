// Base name of a source path as log prefixes show it.
#pragma once

#include <string_view>

namespace kelix {

// The text after the last backslash; the whole path when there is none.
constexpr std::wstring_view SourceBaseName(std::wstring_view path) {
    const auto slash = path.rfind(L'\\');
    return slash == std::wstring_view::npos ? path : path.substr(slash + 1);
}

}  // namespace kelix
