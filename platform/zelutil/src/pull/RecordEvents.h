#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string_view>

#include "config/NodeBlocks.h"
#include "pull/Record.h"
#include "util/config/Array.h"
#include "util/config/Dictionary.h"
#include "util/config/Scalars.h"

namespace util::serializer {

/// A view of the events of a record for `config::TreeAssembler`, which documents the functions.
class RecordEvents {
public:
    /// Creates a view of `record`, which must outlive it.
    explicit RecordEvents(const Record& record) noexcept : record_(record) {}

    char kind(std::size_t at) const noexcept {
        const Event& event = record_.at(at);
        if (event.kind == Event::Kind::Boolean) {
            return event.content.boolean ? 't' : 'f';
        }
        return ROWS[static_cast<std::size_t>(event.kind)].letter;
    }
    std::string_view text(std::size_t at) const noexcept { return record_.textOf(record_.at(at)); }
    std::int64_t signedAt(std::size_t at) const noexcept { return record_.at(at).content.int64; }
    std::uint64_t unsignedAt(std::size_t at) const noexcept {
        return record_.at(at).content.uint64;
    }
    double realAt(std::size_t at) const noexcept { return record_.at(at).content.number; }
    std::size_t count(std::size_t at) const noexcept { return record_.at(at).content.count; }
    std::size_t endOf(std::size_t at) const noexcept { return record_.at(at).next; }
    std::size_t after(std::size_t at) const noexcept { return record_.at(at).next; }
    /// Returns 0: the depth was limited when the payload was recorded.
    static std::size_t depthOf(std::size_t /*at*/) noexcept { return 0; }

    /// Returns the total size of the nodes of the events. Stops adding when the total exceeds the
    /// size of a block; the result is then any size that is larger than a block.
    std::size_t nodeSize(std::size_t first, std::size_t end) const noexcept {
        std::size_t total = 0;
        for (; first != end && total <= config::NodeBlocks::SIZE; ++first) {
            total += ROWS[static_cast<std::size_t>(record_.at(first).kind)].nodeSize;
        }
        return total;
    }

private:
    /// The properties of the tree node for one kind of event.
    struct Row {
        char letter;
        std::uint8_t nodeSize;  // null and booleans are shared nodes
    };
    template <class Node>
    static constexpr std::uint8_t SIZE =
        static_cast<std::uint8_t>(config::NodeBlocks::sizeOf<Node>());
    static_assert(config::NodeBlocks::sizeOf<config::Dictionary>() <= 0xFF);
    // The rows are in the order of Event::Kind.
    static constexpr Row ROWS[] = {
        {'n', 0},
        {'t', 0},
        {'l', SIZE<config::ValueInt>},
        {'u', SIZE<config::ValueInt>},
        {'d', SIZE<config::ValueFloat>},
        {'d', SIZE<config::ValueFloat>},
        {'"', SIZE<config::ValueString>},
        {'[', SIZE<config::Array>},
        {'{', SIZE<config::Dictionary>},
        {'"', 0},
    };
    static_assert(std::size(ROWS) == static_cast<std::size_t>(Event::Kind::Field) + 1);

    const Record& record_;
};

}  // namespace util::serializer
