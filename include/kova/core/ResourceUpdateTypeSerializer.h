#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "kova/core/Export.h"

namespace kova {

/// A kind of change of a resource. A payload contains its text, which is the name of the
/// enumerator, never its number.
enum class ResourceUpdateType : std::uint8_t { ADDED, MODIFIED, REMOVED };

/// The conversions between a kind of change and its text. Any thread may call them.
///
///     using kova::ResourceUpdateTypeSerializer;
///     ResourceUpdateTypeSerializer::enumToValue(kova::ResourceUpdateType::ADDED);  // "ADDED"
///     ResourceUpdateTypeSerializer::valueToEnum("added");                          // nothing
class KOVA_API ResourceUpdateTypeSerializer {
public:
    ResourceUpdateTypeSerializer() = delete;

    /// Returns the text of a kind, or nothing for a number outside the enumeration.
    static std::optional<std::string> enumToValue(ResourceUpdateType value);
    /// Returns the kind that has this text, or nothing when no kind has it. Case matters.
    static std::optional<ResourceUpdateType> valueToEnum(const std::string& text);
};

}  // namespace kova
