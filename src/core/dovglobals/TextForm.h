#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>

#include "Scanner.h"
#include "api/Report.h"
#include "util/serializer/IStructuredPullDeserializer.h"
#include "util/serializer/IStructuredSerializer.h"

/// The functions that all types with a text form have. Each type defines its form:
///
///     struct Form {
///         using Value = ...;   // the type
///         using Fields = ...;  // the unchecked content of a text; converts to Value
///         static const Failure MISMATCH;      // reported for a text that `scan` rejects
///         static constexpr std::size_t SIZE;  // at least the size of the longest printed text
///         static bool scan(Scanner&, Fields&);  // returns whether the text matches
///         static std::optional<Failure> check(const Fields&);  // returns the first failed check
///         static char* print(char* out, const Value&);  // returns the end of the printed text
///     };
///
/// A form that contains another form calls the `scan`, `check` and `print` of that form.
namespace kova::detail {

/// The source file and the type name that the reports of a form contain.
struct Source {
    char const* file;
    char const* type;
};

/// The reason for which a text or its fields are rejected, and the source position of the report.
struct Failure {
    Source source;
    int line;
    char const* reason;
};

/// The reported reason if the text does not have the form.
constexpr char const* MISMATCH_REASON = "String does not match format from PELU specification";

/// One check of a form: a predicate on the fields, and the reason that is reported if it is false.
template <typename Holds>
struct Check {
    int line;
    char const* reason;
    Holds holds;
};
template <typename Holds>
Check(int, char const*, Holds) -> Check<Holds>;

/// Returns the failure of the first check that does not hold, or nothing if all hold. The checks
/// are a tuple, so that the compiler can inline their lambdas.
template <typename Checks, typename Fields>
std::optional<Failure> firstFailure(const Source& source, const Checks& checks,
                                    const Fields& fields) {
    std::optional<Failure> failure;
    const auto passes = [&](const auto& check) {
        const bool holds = check.holds(fields);
        if (!holds) {
            failure = Failure{source, check.line, check.reason};
        }
        return holds;
    };
    std::apply([&](const auto&... each) { return (passes(each) && ...); }, checks);
    return failure;
}

/// Reports the failure to the error output.
[[gnu::cold]] inline void report(const Failure& failure) {
    report({failure.source.file, failure.line}, errors::UnexpectedDataFormat, failure.source.type,
           failure.reason);
}

/// Returns `value`. If a check of `fields` fails, reports the failure and returns nothing instead.
template <typename Form>
std::optional<typename Form::Value> create(const typename Form::Fields& fields,
                                           const typename Form::Value& value) {
    if (const std::optional<Failure> failure = Form::check(fields)) {
        report(*failure);
        return std::nullopt;
    }
    return value;
}

/// Parses the whole of `text`. If the text does not match or a check fails, reports one error and
/// returns nothing.
template <typename Form>
std::optional<typename Form::Value> parse(std::string_view text) {
    Scanner scanner(text);
    typename Form::Fields fields{};
    if (!Form::scan(scanner, fields) || !scanner.atEnd()) {
        report(Form::MISMATCH);
        return std::nullopt;
    }
    if (const std::optional<Failure> failure = Form::check(fields)) {
        report(*failure);
        return std::nullopt;
    }
    return fields;
}

/// The printed text of a value, in a buffer inside the object.
template <typename Form>
class Printed {
public:
    // cppcheck-suppress uninitMemberVar ; print() initializes the part of text_ that is used
    explicit Printed(const typename Form::Value& value)
        : size_(static_cast<std::size_t>(Form::print(text_, value) - text_)) {}

    std::string_view view() const noexcept { return {text_, size_}; }
    std::string toString() const { return std::string(view()); }

private:
    char text_[Form::SIZE];
    std::size_t size_;
};

/// Writes the text of a value as one string. Returns whether the serializer accepted it.
template <typename Form>
bool writeString(util::serializer::IStructuredSerializer& serializer,
                 const typename Form::Value& value) {
    return !serializer.serializeString(Printed<Form>(value).view());
}

/// Reads a value from one string. Returns true on success. Returns false on failure; `value` is
/// then unchanged.
template <typename Form>
bool readString(util::serializer::IStructuredPullDeserializer& deserializer,
                typename Form::Value& value) {
    std::string text;
    if (deserializer.getString(text)) {
        return false;
    }
    const std::optional<typename Form::Value> parsed = parse<Form>(text);
    if (parsed) {
        value = *parsed;
    }
    return parsed.has_value();
}

}  // namespace kova::detail
