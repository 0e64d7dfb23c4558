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

/// Fills a container of the value tree from a record, without the calls that reading entry by entry
/// takes. The new nodes lie together; the open containers are on a stack, not in recursion.
class RecordTree {
public:
    /// Of the fields or elements in `record`, borrowed, from the event `next` up to `end`.
    RecordTree(const Record& record, std::uint32_t next, std::uint32_t end) noexcept;

    /// @{
    /// Adds them to `root`, once. True when memory is exhausted: then those that were read whole
    /// are in it.
    bool fill(config::Dictionary& root) noexcept;
    bool fill(config::Array& root) noexcept;
    /// @}

private:
    struct Destroy {
        void operator()(config::Value* value) const noexcept { config::Value::destroy(value); }
    };
    using Owned = std::unique_ptr<config::Value, Destroy>;
    /// A container that is being filled: the root, which is borrowed, or one that its parent gets
    /// when it is complete.
    struct Open {
        Owned owned;
        config::Dictionary* dictionary;  // one of the two is null
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
