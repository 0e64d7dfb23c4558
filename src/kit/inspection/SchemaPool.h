#pragma once

#include <map>
#include <string>
#include <string_view>

#include "kova/core/Payload.h"

namespace kova::kit::detail {

/// Collects the definitions of many JSON Schemas in one place, as the components of an OpenAPI
/// document. A type that several schemas define is collected once.
///
/// It reads only schemas that `schemaOf` returns. Not synchronized.
class SchemaPool {
public:
    /// The definitions by their names in the document.
    using Components = std::map<std::string, Payload>;

    /// Collects the definitions of a schema. Returns the schema without them; its references lead
    /// to the components.
    Payload add(const Payload& schema);
    const Components& components() const noexcept { return components_; }

private:
    /// The texts of the definitions of one schema, by their names there.
    using Definitions = std::map<std::string, std::string>;
    /// The name in the document of each definition of one schema.
    using Names = std::map<std::string, std::string>;

    std::string unusedName(std::string_view name) const;
    void collect(const Definitions& definitions, Names& names);

    Components components_;
    /// The name of a component by what it means: its definition and all that this refers to.
    std::map<std::string, std::string> known_;
};

}  // namespace kova::kit::detail
