#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>

#include "Scanner.h"
#include "kova/core/Errors.h"
#include "util/serializer/IStructuredPullDeserializer.h"
#include "util/serializer/IStructuredSerializer.h"
#include "zel/ErrorOutput.h"

/// What all types with a text have in common, written once. A type gives its form:
///
///     struct Form {
///         using Value = ...;   // the type
///         using Fields = ...;  // what its text holds, before any check; converts to Value
///         static const Failure MISMATCH;      // what is reported for any other text
///         static constexpr std::size_t SIZE;  // of the longest text that any Value prints
///         static bool scan(Scanner&, Fields&);
///         static std::optional<Failure> check(const Fields&);  // the first check that fails
///         static char* print(char* out, const Value&);         // gives the end of what it wrote
///     };
///
/// A form that holds another calls its `scan`, `check` and `print`.
namespace kova::dovglobals {

/// The file in which a form stands, and the name of its type in reports.
struct Source {
    char const* file;
    char const* type;
};

/// Why a text or a set of fields is refused, and where that is decided.
struct Failure {
    Source source;
    int line;
    char const* reason;
};

constexpr char const* MISMATCH_REASON = "String does not match format from PELU specification";

/// A row of a form's table of checks: what is reported unless it holds.
template <typename Holds>
struct Check {
    int line;
    char const* reason;
    Holds holds;
};
template <typename Holds>
Check(int, char const*, Holds) -> Check<Holds>;

/// The first check of a table (`std::tuple` of checks, which are inlined so) that does not hold.
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

[[gnu::cold]] inline void report(const Failure& failure) {
    zel::ErrorOutput(failure.source.file, failure.line, true)(
        errors::Error, errors::UnexpectedDataFormat, failure.source.type, failure.reason);
}

/// Gives `value`, unless a check of `fields` fails: then reports it and gives nothing.
template <typename Form>
std::optional<typename Form::Value> create(const typename Form::Fields& fields,
                                           const typename Form::Value& value) {
    if (const std::optional<Failure> failure = Form::check(fields)) {
        report(*failure);
        return std::nullopt;
    }
    return value;
}

/// Gives the value that the whole of `text` stands for, or reports once and gives nothing.
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

/// The text of a value, in place.
template <typename Form>
class Printed {
public:
    // cppcheck-suppress uninitMemberVar ; the form fills as much of the text as is used
    explicit Printed(const typename Form::Value& value)
        : size_(static_cast<std::size_t>(Form::print(text_, value) - text_)) {}

    std::string_view view() const noexcept { return {text_, size_}; }
    std::string toString() const { return std::string(view()); }

private:
    char text_[Form::SIZE];
    std::size_t size_;
};

template <typename Form>
bool serialize(util::serializer::IStructuredSerializer& serializer,
               const typename Form::Value& value) {
    return serializer.serializeString(Printed<Form>(value).view());
}

template <typename Form>
bool deserialize(util::serializer::IStructuredPullDeserializer& deserializer,
                 typename Form::Value& value) {
    std::string text;
    if (deserializer.getString(text)) {
        return true;
    }
    const std::optional<typename Form::Value> parsed = parse<Form>(text);
    if (parsed) {
        value = *parsed;
    }
    return !parsed;
}

}  // namespace kova::dovglobals
