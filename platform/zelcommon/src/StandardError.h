#pragma once

#include <string>

namespace zel {

/// Writes `text` to standard error as one line, whatever it holds: control characters show as
/// blanks, so a text from outside cannot forge a second line. Lines of several threads do not mix.
void writeLine(std::string text);

}  // namespace zel
