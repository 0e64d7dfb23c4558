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
    /// The definitions. The keys are their names in the OpenAPI document.
    using Components = std::map<std::string, Payload>;

    /// Collects the definitions of a schema. Returns the schema without its definitions. Its
    /// references then lead to the components.
    Payload add(const Payload& schema);
    const Components& components() const noexcept { return components_; }

private:
    /// The texts of the definitions of one schema. The keys are their names in that schema.
    using Definitions = std::map<std::string, std::string>;
    /// The names of the definitions of one schema. The keys are the names in that schema, the
    /// values are the names in the OpenAPI document.
    using Names = std::map<std::string, std::string>;

    std::string unusedName(std::string_view name) const;
    void collect(const Definitions& definitions, Names& names);

    Components components_;
    /// The names of the components. The key is the text of the definition and of all definitions to
    /// which it refers.
    std::map<std::string, std::string> known_;
};

}  // namespace kova::kit::detail
