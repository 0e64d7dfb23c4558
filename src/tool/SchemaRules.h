#pragma once

#include <cstddef>
#include <string>

#include "kova/kit/Result.h"
#include "util/config/Value.h"

namespace kova::tool {

/// The rules of valid schemas (`validateComponents`), and the check of values against them.
///
/// Supported are the keywords $ref, type, enum, const, minimum, maximum, minLength, maxLength,
/// minItems, maxItems, items, properties, required, additionalProperties, allOf, anyOf and oneOf.
/// The text of a string is not checked: `format` is an annotation.
///
/// The components must outlive the object. Any thread may call any function.
class SchemaRules {
public:
    /// The maximum nesting of the schemas that one check applies.
    static constexpr std::size_t DEEPEST = 512;
    /// The maximum number of steps of one check. A step is a schema that it applies, or 16 values
    /// of an enum, required names or members of objects.
    static constexpr std::size_t MOST_STEPS = 1'000'000;

    /// `components` is the object with the schemas to which other schemas refer.
    explicit SchemaRules(const util::config::Value& components) noexcept
        : components_(&components) {}

    /// Checks a value. Fails with 400 and the first rule that the value violates:
    /// "stations[2].name: expected a string, found 17". Also fails if the check exceeds a limit.
    kit::Result<void> check(const util::config::Value& schema,
                            const util::config::Value& value) const;
    /// Checks a value. Adds its steps to `steps`, and fails if `steps` exceeds `MOST_STEPS`.
    kit::Result<void> check(const util::config::Value& schema, const util::config::Value& value,
                            std::size_t& steps) const;

    /// Returns the schema to which the text of a valid reference leads.
    const util::config::Value& resolve(const std::string& reference) const;
    /// Follows references until a schema is not a reference. Returns that schema.
    const util::config::Value& followed(const util::config::Value& schema) const;

    /// Returns the components.
    const util::config::Value& components() const noexcept { return *components_; }

private:
    util::config::Value const* components_;
};

}  // namespace kova::tool
