#pragma once

#include <functional>
#include <ostream>

#include "BrokerAccess.h"

namespace kova::tool {

/// A stream that a subcommand writes to, and the properties of the terminal behind it, if any.
struct Screen {
    /// The stream.
    std::ostream& stream;
    /// Whether the stream writes to a terminal.
    bool isTerminal = false;
    /// Whether texts are coloured. False unless the stream writes to a terminal or the user asks
    /// for colours.
    bool hasColours = false;
    /// The columns and rows of the terminal, which `size` returns.
    struct Size {
        unsigned columns = 80;
        unsigned rows = 24;
    };
    std::function<Size()> size = [] { return Size{}; };
};

/// The streams and descriptors of the process that a subcommand uses. Tests replace them.
struct Context {
    /// Standard output: payloads only.
    Screen out;
    /// Standard error: errors, progress, headers.
    Screen err;
    /// The descriptor of standard input.
    int input = 0;
    /// A descriptor that is readable from the first Ctrl-C on. -1 for none.
    int interrupt = -1;
    /// The descriptor of standard output, to notice that nobody reads it any more. -1 for none.
    int output = -1;
    /// Whether the word is a line of `kova shell`. Ctrl-C then ends the word, not the process.
    bool isInShell = false;
    /// The access to brokers. `runProgram` sets it from the options and the environment.
    BrokerAccess broker = {};
};

}  // namespace kova::tool
