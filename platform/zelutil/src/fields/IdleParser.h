#pragma once

#include <simdjson.h>

#include <cstddef>
#include <memory>
#include <string_view>

namespace util::json {

/// A parser of JSON texts, and the memory that the parser needs.
struct TextParser {
    simdjson::dom::parser parser;
    std::unique_ptr<char[]> text;  // a copy, because the parser reads past the end
    std::size_t capacity = 0;

    /// Parses the text. Returns false if it is malformed or memory is exhausted.
    bool parse(std::string_view payload) noexcept;
};

/// A parser that is borrowed from the thread. Each thread keeps one idle parser, because creating a
/// parser allocates memory four times. A parser that has read a text of more than `MAX_KEPT` bytes
/// is not kept.
class ParserLoan {
public:
    /// The maximum size of a text after which a thread keeps its parser.
    static constexpr std::size_t MAX_KEPT = std::size_t{1} << 16;

    ParserLoan() noexcept = default;
    ~ParserLoan();
    ParserLoan(const ParserLoan&) = delete;
    ParserLoan& operator=(const ParserLoan&) = delete;

    /// Borrows a parser and parses the text. Returns the document, or null if the text is malformed
    /// or memory is exhausted. The document is valid as long as this object exists. Call it once.
    simdjson::dom::document const* parse(std::string_view payload) noexcept;

private:
    std::unique_ptr<TextParser> parser_;
};

}  // namespace util::json
