#pragma once

#include <functional>
#include <ostream>

namespace kova::tool {

/// Where a word writes to, and what it knows of the other end.
struct Screen {
    /// The stream.
    std::ostream& stream;
    /// Whether the other end is a terminal.
    bool isTerminal = false;
    /// Whether texts are coloured. False unless the other end is a terminal or the user wants it.
    bool hasColours = false;
    /// Returns the columns and rows of the terminal.
    struct Size {
        unsigned columns = 80;
        unsigned rows = 24;
    };
    std::function<Size()> size = [] { return Size{}; };
};

/// What a word uses of its process. Tests replace the parts.
struct Context {
    /// Standard output: payloads only.
    Screen out;
    /// Standard error: errors, progress, headers.
    Screen err;
    /// The descriptor of standard input.
    int input = 0;
    /// A descriptor that is readable from the first Ctrl-C on. -1 for none.
    int interrupt = -1;
};

}  // namespace kova::tool
