#pragma once

#include <string>

#include "kova/core/Export.h"
#include "zel/UUID.h"

/// Functions that create identifiers. Any thread may call any function.
///
///     zel::UUID id;
///     if (!kova::uuid::createRandom(id)) {
///         id.toString();  // 36 characters
///     }
namespace kova::uuid {

/// Sets `out` to a random identifier (version 4). Waits until the random source of the system is
/// ready. Returns false on success. Returns true if the source fails; `out` is then unchanged.
[[nodiscard]] KOVA_API bool createRandom(zel::UUID& out) noexcept;

/// Sets `out` to the identifier of a name (version 5): the first 16 bytes of the SHA-1 digest of
/// the name. Unlike in RFC 4122, the digest includes no namespace, so a name has the same
/// identifier in all uses. Cannot fail: always returns false.
KOVA_API bool createFromName(const std::string& name, zel::UUID& out) noexcept;

}  // namespace kova::uuid
