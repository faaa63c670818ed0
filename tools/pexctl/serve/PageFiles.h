// The page's files (serve/page/), embedded at build time by EmbedPage.cmake.
#pragma once

#include <string_view>

namespace pexctl::serve {

struct PageFile {
    std::string_view path;     // "/index.html"
    std::string_view type;     // "text/html; charset=utf-8"
    std::string_view content;
};

// The file served at `path`, or null.
const PageFile* FindPageFile(std::string_view path);

}  // namespace pexctl::serve
