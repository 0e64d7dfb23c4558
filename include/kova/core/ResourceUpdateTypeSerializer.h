#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "kova/core/Export.h"

namespace kova {

/// What happened to a resource. It travels as its text, which is the name of the enumerator, never
/// as its number.
enum class ResourceUpdateType : std::uint8_t { ADDED, MODIFIED, REMOVED };

/// Converts between a kind of change and its text. Any thread may call it.
///
///     using kova::ResourceUpdateTypeSerializer;
///     ResourceUpdateTypeSerializer::enumToValue(kova::ResourceUpdateType::ADDED);  // "ADDED"
///     ResourceUpdateTypeSerializer::valueToEnum("added");                          // nothing
class KOVA_API ResourceUpdateTypeSerializer {
public:
    ResourceUpdateTypeSerializer() = delete;

    /// The text of a kind, or nothing for a number outside the enumeration.
    static std::optional<std::string> enumToValue(ResourceUpdateType value);
    /// The kind of a text, compared exactly (case counts), or nothing.
    static std::optional<ResourceUpdateType> valueToEnum(const std::string& text);
};

}  // namespace kova
