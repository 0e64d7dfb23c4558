#pragma once

#include <map>

namespace util::serializer {

/// What can be asked of a serializer or deserializer. This platform has no options.
enum class OptionTag : int {};

/// Options by tag.
using Options = std::map<OptionTag, int>;

}  // namespace util::serializer
