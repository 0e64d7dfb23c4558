#pragma once

#include "util/config/Array.h"
#include "util/config/Dictionary.h"

namespace util::config {

/// Reads JSON text into value trees.
class JSONParser {
public:
    explicit JSONParser(bool unicodeStrings) : unicodeStrings_(unicodeStrings) {}

    /// Parses one text. On success returns false, stores the tree in the output of its kind, and
    /// sets the other output to null. The caller owns the tree. For a scalar both outputs are null.
    bool parseString(char const* text, Dictionary** dictionary, Array** array);

private:
    bool unicodeStrings_;
};

}  // namespace util::config
