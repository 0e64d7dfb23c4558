#pragma once

#include <cstdint>

#include "util/serializer/PullFromPushDeserializer.h"

namespace fuzz {

/// Calls the function of the pull interface that `number` selects. Returns true if the call fails.
/// Requires that a failing getter leaves its output unchanged.
bool callPull(util::serializer::PullFromPushDeserializer& pull, std::uint8_t number);

}  // namespace fuzz
