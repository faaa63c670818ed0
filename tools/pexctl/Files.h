// Whole files by UTF-8 path, as pexctl reads and writes them.
#pragma once

#include <optional>
#include <string>

namespace pexctl {

// Replaces the file as a whole: a new file beside it, then moved over it.
// On failure GetLastError() says why.
bool WriteFileReplacing(const std::string& path, const std::string& content);

std::optional<std::string> ReadFileText(const std::string& path);

// A VALUE argument: the text itself, or with @FILE the file's content
// (without a UTF-8 byte order mark and trailing line ends). `error` says
// which file could not be read.
std::optional<std::string> ReadValueText(const std::string& text, std::string& error);

}  // namespace pexctl
