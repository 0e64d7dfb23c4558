#pragma once

#include <string>

#include "zel/Export.h"

namespace tracing::client_helper {

/// Returns the identity under which this process traces. The text is empty until `setClientId` is
/// called. The reference is valid until the process ends.
ZEL_API const std::string& getClientId() noexcept;

/// Sets the identity. Only the first call has an effect, because references to the text may already
/// be in use. Call it at start-up, before other threads call `getClientId`.
ZEL_API void setClientId(const std::string& id);

}  // namespace tracing::client_helper
