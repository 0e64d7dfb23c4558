#pragma once

#include <string>

namespace zel {

/// Writes `text` to standard error as one line. Replaces control characters by blanks, so that
/// untrusted text cannot forge a second line. Lines of different threads are not interleaved.
void writeLine(std::string text);

}  // namespace zel
