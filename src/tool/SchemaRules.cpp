#include "SchemaRules.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>

#include "JsonNode.h"
#include "SchemaForm.h"
#include "kova/core/StatusCodes.h"
#include "kova/kit/Tree.h"
#include "kova/kit/Values.h"

namespace kova::tool {

namespace {

using util::config::Value;

// The most bytes of a message about alternatives.
constexpr std::size_t LONGEST_MESSAGE = 400;

// The values of an enum, required names and members of an object that cost a step. If they cost
// nothing, an array of many elements with a long enum would keep the program busy for hours.
constexpr std::size_t PARTS_PER_STEP = 16;

// --- Sizes that keywords limit -------------------------------------------------------------------

// Returns the number of characters of a text, or null.
kit::Tree lengthOf(const Value& value) {
    if (!isText(value)) {
        return nullptr;
    }
    const std::string text = textOf(value);
    const auto count = std::count_if(text.begin(), text.end(), [](char byte) {
        return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U;  // the first of a character
    });
    return kit::toTree(static_cast<std::uint64_t>(count)).orThrow();
}

kit::Tree elementsOf(const Value& value) {
    if (!value.isArray()) {
        return nullptr;
    }
    return kit::toTree(static_cast<std::uint64_t>(value.arraySize())).orThrow();
}

kit::Tree numberIn(const Value& value) {
    return kit::Tree(isNumber(value) ? value.clone() : nullptr);
}

struct Limit {
    char const* keyword;
    kit::Tree (*sizeOf)(const Value&);
    bool isLowest;
    char const* words;
    char const* unit;
};

constexpr std::array<Limit, 6> LIMITS = {
    {{"minimum", numberIn, true, "a number from ", ""},
     {"maximum", numberIn, false, "a number up to ", ""},
     {"minLength", lengthOf, true, "a string of at least ", " characters"},
     {"maxLength", lengthOf, false, "a string of at most ", " characters"},
     {"minItems", elementsOf, true, "an array of at least ", " elements"},
     {"maxItems", elementsOf, false, "an array of at most ", " elements"}}};

// --- The check of a value ------------------------------------------------------------------------

/// One check. The functions return false, and store the reason, if a rule is violated.
class Checker {
public:
    Checker(const SchemaRules& rules, std::size_t& steps) : rules_(rules), steps_(steps) {}

    bool check(const Value& schema, const Value& value);
    std::string reason() const {
        if (place_.empty()) {
            return reason_;
        }
        return place_ + ": " + reason_;
    }

private:
    struct Rule {
        char const* keyword;
        bool (Checker::*check)(const Value& content, const Value& schema, const Value& value);
    };
    static const std::array<Rule, 11> RULES;

    bool refuse(const std::string& reason) {
        reason_ = reason;
        return false;
    }
    bool refuse(const std::string& expected, const Value& value) {
        return refuse("expected " + expected + ", found " + shown(value));
    }
    // Refuses a value that no alternative accepts. Each of the reasons has its place.
    bool refuseAll(const std::string& reasons) {
        place_.clear();
        return refuse(reasons);
    }
    // Checks a part of the value. After a failure, the place is that of the part.
    bool checkPart(std::string place, const Value& schema, const Value& value) {
        place_.swap(place);
        const bool isValid = check(schema, value);
        if (isValid) {
            place_.swap(place);
        }
        return isValid;
    }
    // Counts a part of a schema or value that is compared without a check of its own.
    void countPart() { steps_ += ++parts_ % PARTS_PER_STEP == 0 ? 1 : 0; }
    bool applyRules(const Value& schema, const Value& value);
    bool checkLimits(const Value& schema, const Value& value);
    std::size_t countMatches(const Value& schemas, const Value& value, std::string& reasons);

    bool checkReference(const Value& content, const Value& schema, const Value& value);
    bool checkType(const Value& content, const Value& schema, const Value& value);
    bool checkEnum(const Value& content, const Value& schema, const Value& value);
    bool checkConst(const Value& content, const Value& schema, const Value& value);
    bool checkItems(const Value& content, const Value& schema, const Value& value);
    bool checkRequired(const Value& content, const Value& schema, const Value& value);
    bool checkProperties(const Value& content, const Value& schema, const Value& value);
    bool checkOthers(const Value& content, const Value& schema, const Value& value);
    bool checkAll(const Value& content, const Value& schema, const Value& value);
    bool checkAny(const Value& content, const Value& schema, const Value& value);
    bool checkOne(const Value& content, const Value& schema, const Value& value);

    const SchemaRules& rules_;
    std::size_t& steps_;
    std::size_t parts_ = 0;
    std::size_t depth_ = 0;
    std::string place_;
    std::string reason_;
};

const std::array<Checker::Rule, 11> Checker::RULES = {
    {{"$ref", &Checker::checkReference},
     {"type", &Checker::checkType},
     {"enum", &Checker::checkEnum},
     {"const", &Checker::checkConst},
     {"items", &Checker::checkItems},
     {"required", &Checker::checkRequired},
     {"properties", &Checker::checkProperties},
     {"additionalProperties", &Checker::checkOthers},
     {"allOf", &Checker::checkAll},
     {"anyOf", &Checker::checkAny},
     {"oneOf", &Checker::checkOne}}};

bool Checker::check(const Value& schema, const Value& value) {
    if (++steps_ > SchemaRules::MOST_STEPS) {
        return refuse("the check needs more than " + std::to_string(SchemaRules::MOST_STEPS) +
                      " steps");
    }
    if (depth_ == SchemaRules::DEEPEST) {
        return refuse("the schemas are nested more than " + std::to_string(SchemaRules::DEEPEST) +
                      " deep");
    }
    ++depth_;
    const bool isValid = applyRules(schema, value) && checkLimits(schema, value);
    --depth_;
    return isValid;
}

bool Checker::applyRules(const Value& schema, const Value& value) {
    bool isAllowed = true;
    if (!schema.get(isAllowed) && !isAllowed) {  // the schema is false
        return refuse("no value", value);
    }
    return std::all_of(RULES.begin(), RULES.end(), [&](const Rule& rule) {
        const Value& content = schema[rule.keyword];
        return content.isUndefined() || (this->*rule.check)(content, schema, value);
    });
}

bool Checker::checkLimits(const Value& schema, const Value& value) {
    return std::all_of(LIMITS.begin(), LIMITS.end(), [&](const Limit& limit) {
        const Value& content = schema[limit.keyword];
        const kit::Tree size = content.isUndefined() ? nullptr : limit.sizeOf(value);
        const bool isViolated =
            size && (limit.isLowest ? isLess(*size, content) : isLess(content, *size));
        if (!isViolated) {
            return true;
        }
        return refuse(limit.words + shown(content) + limit.unit, value);
    });
}

bool Checker::checkReference(const Value& content, const Value& /*schema*/, const Value& value) {
    return check(rules_.resolve(textOf(content)), value);
}

bool Checker::checkType(const Value& content, const Value& /*schema*/, const Value& value) {
    std::string expected;
    const auto matches = [&](const Value& name) {
        JsonType const& type = *jsonTypeNamed(textOf(name));
        expected += (expected.empty() ? "" : " or ") + std::string(type.words);
        return type.matches(value);
    };
    bool isMatch = !content.isArray() && matches(content);
    for (unsigned long i = 0; i < content.arraySize() && !isMatch; ++i) {
        isMatch = matches(content[i]);
    }
    return isMatch || refuse(expected, value);
}

bool Checker::checkEnum(const Value& content, const Value& /*schema*/, const Value& value) {
    std::string expected;
    bool isMatch = false;
    for (unsigned long i = 0; i < content.arraySize() && !isMatch; ++i) {
        countPart();
        isMatch = content[i] == value;
        if (expected.size() < LONGEST_MESSAGE) {
            expected += (i == 0 ? "" : " or ") + shown(content[i]);
        }
    }
    return isMatch || refuse(expected, value);
}

bool Checker::checkConst(const Value& content, const Value& /*schema*/, const Value& value) {
    if (content == value) {
        return true;
    }
    return refuse(shown(content), value);
}

bool Checker::checkItems(const Value& content, const Value& /*schema*/, const Value& value) {
    bool isValid = true;
    for (unsigned long i = 0; i < value.arraySize() && isValid; ++i) {
        isValid = checkPart(placeOf(place_, i), content, value[i]);
    }
    return isValid;
}

bool Checker::checkRequired(const Value& content, const Value& /*schema*/, const Value& value) {
    for (unsigned long i = 0; i < content.arraySize(); ++i) {
        countPart();
        const std::string name = textOf(content[i]);
        if (value.isDictionary() && !value.hasKey(name)) {
            place_ = placeOf(place_, name);
            return refuse("expected a value, found nothing");
        }
    }
    return true;
}

bool Checker::checkProperties(const Value& content, const Value& /*schema*/, const Value& value) {
    return std::all_of(value.begin(), value.end(), [&](const auto& member) {
        countPart();
        const std::string name(member.first);
        if (!content.hasKey(name)) {
            return true;
        }
        return checkPart(placeOf(place_, name), content[name], *member.second);
    });
}

bool Checker::checkOthers(const Value& content, const Value& schema, const Value& value) {
    const Value& properties = schema["properties"];
    return std::all_of(value.begin(), value.end(), [&](const auto& member) {
        countPart();
        const std::string name(member.first);
        if (properties.hasKey(name)) {
            return true;
        }
        return checkPart(placeOf(place_, name), content, *member.second);
    });
}

bool Checker::checkAll(const Value& content, const Value& /*schema*/, const Value& value) {
    bool isValid = true;
    for (unsigned long i = 0; i < content.arraySize() && isValid; ++i) {
        isValid = check(content[i], value);
    }
    return isValid;
}

// Returns the number of schemas that accept the value. Appends the reasons of the others.
std::size_t Checker::countMatches(const Value& schemas, const Value& value, std::string& reasons) {
    const std::string place = place_;
    std::size_t matches = 0;
    for (unsigned long i = 0; i < schemas.arraySize(); ++i) {
        if (check(schemas[i], value)) {
            ++matches;
        } else if (reasons.size() < LONGEST_MESSAGE) {
            reasons += (reasons.empty() ? "" : "; or ") + reason();
        }
        place_ = place;
    }
    return matches;
}

bool Checker::checkAny(const Value& content, const Value& /*schema*/, const Value& value) {
    std::string reasons;
    return countMatches(content, value, reasons) != 0 || refuseAll(reasons);
}

bool Checker::checkOne(const Value& content, const Value& /*schema*/, const Value& value) {
    std::string reasons;
    const std::size_t matches = countMatches(content, value, reasons);
    if (matches == 0) {
        return refuseAll(reasons);
    }
    if (matches == 1) {
        return true;
    }
    return refuse("a value that only one alternative of oneOf accepts", value);
}

}  // namespace

kit::Result<void> SchemaRules::check(const Value& schema, const Value& value) const {
    std::size_t steps = 0;
    return check(schema, value, steps);
}

kit::Result<void> SchemaRules::check(const Value& schema, const Value& value,
                                     std::size_t& steps) const {
    Checker checker(*this, steps);
    if (checker.check(schema, value)) {
        return {};
    }
    return kit::Error{statuscodes::BAD_REQUEST, checker.reason()};
}

const Value& SchemaRules::resolve(const std::string& reference) const {
    return (*components_)[reference.substr(SCHEMA_REFERENCE.size())];
}

const Value& SchemaRules::followed(const Value& schema) const {
    Value const* current = &schema;
    while (current->hasKey("$ref")) {
        current = &resolve(textOf((*current)["$ref"]));
    }
    return *current;
}

}  // namespace kova::tool
