// Captures the library's log through its text sink: set up before the DLL is
// loaded, it points KELIX3PEX_LOG_LEVEL and KELIX3PEX_LOG_FILE at a fresh file.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace kelix::test {

struct LogLine {
    int level = 0;
    std::wstring file;      // base name of the source file
    int line = -1;          // -1 when the prefix carries none (Leave lines)
    std::wstring function;
    std::wstring message;
    std::wstring raw;
};

class LogCapture {
public:
    explicit LogCapture(int level = 5);
    ~LogCapture();

    std::vector<LogLine> Lines() const;
    void Clear() const;
    const std::wstring& Path() const { return path_; }

    // Exactly `times` lines with this level, file, function and message; the line number is
    // checked by shape (a number, or none in a Leave line). An object address in a line (16 hex
    // digits after "[0x") matches "[0xXXXXXXXXXXXXXXXX]" in the message.
    testing::AssertionResult Has(int level, const std::wstring& file, const std::wstring& function,
                                 const std::wstring& message, int times = 1) const;

private:
    std::wstring path_;
};

}  // namespace kelix::test
