#pragma once

#include "util/config/Array.h"
#include "util/config/Dictionary.h"

namespace util::config {

/// Reads JSON text into value trees.
class JSONParser {
public:
    explicit JSONParser(bool unicodeStrings) : unicodeStrings_(unicodeStrings) {}

    /// Parses one text. Returns false on success: the tree, which the caller owns, is in the output
    /// of its kind, and the other output is null; both are null for a scalar.
    bool parseString(char const* text, Dictionary** dictionary, Array** array);

private:
    bool unicodeStrings_;
};

}  // namespace util::config
