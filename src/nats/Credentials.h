#pragma once

#include <cstddef>
#include <string>

#include "kova/kit/Result.h"

namespace kova::nats::detail {

/// The highest number of bytes of a credentials file.
constexpr std::size_t LONGEST_CREDENTIALS = std::size_t{64} * 1024;

/// Returns the error 503, which names the file, if a credentials file cannot be read: it is
/// missing, no regular file, too long, or has no JWT of a user.
///
/// libnats would log in without a user if it found no JWT.
kit::Result<void> checkCredentials(const std::string& file);

}  // namespace kova::nats::detail
