#pragma once

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "Record.h"
#include "config/NodeBlocks.h"
#include "util/config/Array.h"
#include "util/config/Dictionary.h"

namespace util::serializer {

/// A builder that fills a container of a value tree from a record. It is faster than reading entry
/// by entry. The new nodes are allocated together. It uses a stack of the open containers, not
/// recursion.
class RecordTree {
public:
    /// Creates a builder from the fields or elements in `record` from the event `next` up to `end`.
    /// The record must outlive the builder.
    RecordTree(const Record& record, std::uint32_t next, std::uint32_t end) noexcept;

    /// @{
    /// Adds the fields or elements to `root`. Called once. Returns true if memory is exhausted;
    /// those that were complete are added then.
    bool fill(config::Dictionary& root) noexcept;
    bool fill(config::Array& root) noexcept;
    /// @}

private:
    struct Destroy {
        void operator()(config::Value* value) const noexcept { config::Value::destroy(value); }
    };
    using Owned = std::unique_ptr<config::Value, Destroy>;
    /// A container that is being filled: the root, or a container that is added to its parent when
    /// it is complete.
    struct Open {
        Owned owned;
        config::Dictionary* dictionary;  // either this or `array` is null
        config::Array* array;
        std::string_view name;  // of the field that is being read
        std::uint32_t next;
        std::uint32_t end;
    };

    bool fillAll(Open root) noexcept;
    bool takeNext();
    config::Value* makeLeaf(const Event& event);
    bool enter(std::uint32_t container);
    bool enterArray(std::uint32_t first, const Event& event);
    bool enterStruct(std::uint32_t first, const Event& event);
    bool add(config::Value* value) noexcept;
    bool close() noexcept;
    unsigned long countFields(std::uint32_t next, std::uint32_t end) const noexcept;

    const Record& record_;
    std::uint32_t next_;
    std::uint32_t end_;
    config::NodeBlocks blocks_;
    std::vector<Open> open_;
};

}  // namespace util::serializer
