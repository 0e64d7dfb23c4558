#pragma once

// This is the only header of the core that uses functions which not every platform has. A platform
// with the optional header util/TreeExtensions.h replaces the functions of PlainTrees.h by faster
// ones with the same names and results.

#if __has_include("util/TreeExtensions.h")
#include "util/TreeExtensions.h"

namespace kova::detail {
namespace trees = util::treeextensions;
}
#else
#include "formats/PlainTrees.h"

namespace kova::detail {
namespace trees = plaintrees;
}
#endif
