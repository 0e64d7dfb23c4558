#pragma once

#include <string>

#include "zel/Export.h"

namespace tracing::client_helper {

/// The identity under which this process traces; empty until it was set. The reference lives until
/// the process ends.
ZEL_API const std::string& getClientId() noexcept;

/// Sets the identity. The first call wins and later calls are ignored, so that references handed
/// out stay true; call it at start-up, before other threads ask.
ZEL_API void setClientId(const std::string& id);

}  // namespace tracing::client_helper
