#pragma once

#include <cstdint>

#include "util/serializer/PullFromPushDeserializer.h"

namespace fuzz {

/// Calls one of the functions of the pull interface, which `number` selects. Returns true if it
/// fails. Requires that a getter which fails leaves its output unchanged.
bool callPull(util::serializer::PullFromPushDeserializer& pull, std::uint8_t number);

}  // namespace fuzz
