#pragma once

#include <cstdint>

#include "util/serializer/PullFromPushDeserializer.h"

namespace fuzz {

/// One of the calls of the pull interface, as `number` chooses; true when it failed. That a getter
/// which fails leaves its output untouched is a law.
bool callPull(util::serializer::PullFromPushDeserializer& pull, std::uint8_t number);

}  // namespace fuzz
