#pragma once

#include <cstddef>
#include <string>

#include "SchemaRules.h"
#include "kova/kit/Result.h"
#include "kova/kit/Tree.h"
#include "util/config/Value.h"

namespace kova::tool {

/// Makes values that satisfy schemas.
///
/// A value is the first of these that the schema has: its default, its example, the first of its
/// examples, const, the first value of enum. Otherwise it is made from the other keywords, as small
/// as they allow: the number nearest to 0, the shortest text of the format, the shortest array, an
/// object with the required members, the first type of a list, the first alternative of anyOf and
/// oneOf that fits. A schema that accepts every value gets an empty object.
///
/// Not synchronized. The rules must outlive the object.
class SchemaValues {
public:
    /// The maximum number of steps for all values that one object makes. A value costs a step for
    /// each of its parts, for each character of a text without a format, and for each check.
    static constexpr std::size_t MOST_STEPS = SchemaRules::MOST_STEPS;
    /// The maximum nesting of the schemas of one value.
    static constexpr std::size_t DEEPEST = 128;

    explicit SchemaValues(const SchemaRules& rules) noexcept : rules_(&rules) {}

    /// Returns a value that the schema accepts. Fails with 400 and a reason if it finds none, or if
    /// the value exceeds a limit; a value that must contain itself does. `schema` must be valid.
    kit::Result<kit::Tree> make(const util::config::Value& schema);

private:
    SchemaRules const* rules_;
    std::size_t steps_ = 0;
};

}  // namespace kova::tool
