#include "kova/core/ResourceUpdateTypeSerializer.h"

#include "EnumTable.h"

namespace kova {

namespace {

constexpr detail::EnumRow<ResourceUpdateType> ROWS[] = {{ResourceUpdateType::ADDED, "ADDED"},
                                                        {ResourceUpdateType::MODIFIED, "MODIFIED"},
                                                        {ResourceUpdateType::REMOVED, "REMOVED"}};
constexpr detail::EnumTable<ResourceUpdateType, 3> TABLE(ROWS);
static_assert(TABLE.isSorted());

}  // namespace

std::optional<std::string> ResourceUpdateTypeSerializer::enumToValue(ResourceUpdateType value) {
    return TABLE.text(value);
}

std::optional<ResourceUpdateType> ResourceUpdateTypeSerializer::valueToEnum(
    const std::string& text) {
    return TABLE.value(text);
}

}  // namespace kova
