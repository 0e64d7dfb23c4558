#pragma once

#include <string>

#include "zel/Export.h"

namespace tracing::client_helper {

/// Returns the identity under which this process traces; empty until it is set. The reference is
/// valid until the process ends.
ZEL_API const std::string& getClientId() noexcept;

/// Sets the identity. Only the first call has an effect, so that a text to which a reference was
/// returned never changes. Call it at start-up, before other threads call `getClientId`.
ZEL_API void setClientId(const std::string& id);

}  // namespace tracing::client_helper
