#pragma once

#include <string>

#include "kova/core/Export.h"
#include "zel/UUID.h"

/// Makes identifiers. Any thread may call any of it.
///
///     zel::UUID id;
///     if (!kova::uuid::createRandom(id)) {
///         id.toString();  // 36 characters
///     }
namespace kova::uuid {

/// Sets `out` to a random identifier (version 4), waiting for the system's random source where it
/// is not ready yet. False on success; true when the source fails, and then `out` is untouched.
[[nodiscard]] KOVA_API bool createRandom(zel::UUID& out) noexcept;

/// Sets `out` to the identifier of a name (version 5): the first 16 bytes of the name's SHA-1
/// digest. No namespace goes into it, unlike RFC 4122 has it, so that a name has one identifier in
/// all uses. Always succeeds (false).
KOVA_API bool createFromName(const std::string& name, zel::UUID& out) noexcept;

}  // namespace kova::uuid
