#pragma once

#include <string_view>
#include <vector>

#include "Cursor.h"
#include "util/ByteBufferWriter.h"

namespace util::config {

/// Writes a tree as JSON text, as `Value::print` describes it, without recursion.
class Printer {
public:
    Printer(ByteBufferWriter& writer, bool compact) noexcept : writer_(writer), compact_(compact) {}

    /// True when memory is exhausted.
    [[nodiscard]] bool print(const Value& root) noexcept;

private:
    bool printTree(const Value& root);
    bool begin(const Value& node);
    bool beginChild();
    bool end();
    bool writeScalar(const Value& node) noexcept;
    bool writeText(std::string_view text) noexcept;
    bool startLine() noexcept;

    ByteBufferWriter& writer_;
    bool compact_;
    bool afterChild_ = false;   // a comma goes before the next child
    std::vector<Cursor> open_;  // the containers that have begun, each at its next child
};

}  // namespace util::config
