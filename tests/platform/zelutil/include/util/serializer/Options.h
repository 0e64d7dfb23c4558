#pragma once

#include <map>

namespace util::serializer {

/// The options of serializers and deserializers. This platform has none.
enum class OptionTag : int {};

/// Options by tag.
using Options = std::map<OptionTag, int>;

}  // namespace util::serializer
