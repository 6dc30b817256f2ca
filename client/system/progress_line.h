#pragma once

#include <cstddef>
#include <string>

namespace orrery {

/// The line of a terminal that tells what goes on; nothing where errors go to a file or pipe.
class CProgressLine {
public:
    explicit CProgressLine(bool isWanted);
    ~CProgressLine() { Clear(); }
    CProgressLine(const CProgressLine&) = delete;
    CProgressLine& operator=(const CProgressLine&) = delete;

    /// Shows a text in place of the one before.
    /// @param text printable, shorter than a line
    void Show(const std::string& text);
    void Clear();

private:
    bool isShown_;
    std::string text_;
};

}  // namespace orrery
