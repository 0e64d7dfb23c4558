#pragma once

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "Record.h"
#include "util/config/Array.h"
#include "util/config/Dictionary.h"

namespace util::serializer {

/// Fills containers of the value tree from a record, without the calls that reading entry by entry
/// takes. The open containers are on a stack of its own, not in recursion.
class RecordTree {
public:
    /// From `record`, borrowed.
    explicit RecordTree(const Record& record) noexcept : record_(record) {}

    /// @{
    /// Adds the fields or elements from the event `next` up to `end`. True when memory is
    /// exhausted: then those that were read whole are in `root`.
    bool fill(config::Dictionary& root, std::uint32_t next, std::uint32_t end) noexcept;
    bool fill(config::Array& root, std::uint32_t next, std::uint32_t end) noexcept;
    /// @}

private:
    /// A container that is being filled: the root, which is borrowed, or one that its parent gets
    /// when it is complete.
    struct Open {
        std::unique_ptr<config::Value> owned;
        config::Dictionary* dictionary;  // one of the two is null
        config::Array* array;
        std::string_view name;  // of the field that is being read
        std::uint32_t next;
        std::uint32_t end;
    };

    bool fill(Open root) noexcept;
    bool takeNext();
    config::Value* makeLeaf(const Event& event) const;
    bool enter(std::uint32_t container);
    bool add(config::Value* value) noexcept;
    bool close() noexcept;
    unsigned long countFields(std::uint32_t next, std::uint32_t end) const noexcept;

    const Record& record_;
    std::vector<Open> open_;
};

}  // namespace util::serializer
