#pragma once

#include <string_view>

#include "Cursor.h"
#include "Stack.h"
#include "TextBuffer.h"

namespace util::config {

/// Writes a tree as JSON text, as `Value::print` describes it, without recursion.
class Printer {
public:
    Printer(TextBuffer& text, bool compact) noexcept : text_(text), compact_(compact) {}

    /// True when memory is exhausted.
    [[nodiscard]] bool print(const Value& root) noexcept;

private:
    bool printTree(const Value& root);
    bool begin(const Value& node);
    bool goOn();
    bool end() noexcept;
    bool startChild(const Cursor& level) noexcept;
    bool writeScalar(const Value& node) noexcept;
    bool writeString(std::string_view bytes) noexcept;
    bool writeLongString(std::string_view bytes) noexcept;
    template <std::size_t SIZE>
    bool writeText(char const (&text)[SIZE]) noexcept;
    char* writeLine(char* out) const noexcept;
    char* writeColon(char* out) const noexcept;
    template <typename Write>
    bool writeInto(std::size_t room, Write write) noexcept;

    TextBuffer& text_;
    bool compact_;
    bool afterChild_ = false;  // a comma goes before the next child
    Stack<Cursor> open_;       // the containers that have begun, each at its next child
};

}  // namespace util::config
