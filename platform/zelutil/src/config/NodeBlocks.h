#pragma once

#include <cstddef>
#include <new>
#include <utility>

#include "util/config/Value.h"

namespace util::config {

/// Memory for the nodes of one tree: all of a small one lie in one block, of a larger one some
/// dozens in each. The nodes are deleted like any others, one by one, in any order and by any
/// thread; the last one of a block frees it. So a node that outlives its tree keeps its block,
/// which is `SIZE` bytes at most.
///
/// For one thread. Nodes may outlive the object that they came from.
class NodeBlocks {
public:
    static constexpr std::size_t SIZE = 4096;

    /// `room` is the sum of `roomOf` for all nodes that will be made, or more than `SIZE`.
    explicit NodeBlocks(std::size_t room) noexcept : room_(room), isSmall_(room <= MOST_ROOM) {}
    ~NodeBlocks() { close(); }
    NodeBlocks(const NodeBlocks&) = delete;
    NodeBlocks& operator=(const NodeBlocks&) = delete;

    template <typename Node>
    static constexpr std::size_t roomOf() noexcept {
        return sizeof(Node) + sizeof(Label);
    }
    /// A new node, null when memory is exhausted. `std::bad_alloc` when its making throws that.
    template <typename Node, typename... Arguments>
    Node* make(Arguments&&... arguments) {
        static_assert(alignof(Node) <= alignof(Label));
        if (isSmall_) {
            return label(new (*this) Labelled<Node>(std::forward<Arguments>(arguments)...));
        }
        return label(new (*this) Aligned<Node>(std::forward<Arguments>(arguments)...));
    }

private:
    friend class NodeReleases;
    struct Block;
    using Memory = Value::Memory;
    /// Stands before a node.
    struct Label {
        Block* block;
    };

    // `delete` asks the class of the node how its memory is given back.

    /// A node with a label before it, which names its block.
    template <typename Node>
    class Labelled final : public Node {
    public:
        using Node::Node;
        static constexpr Memory MEMORY = Memory::Labelled;
        static void* operator new(std::size_t size, NodeBlocks& blocks) noexcept {
            return blocks.takeLabelled(size);
        }
        static void operator delete(void* node, NodeBlocks& /*blocks*/) noexcept {
            releaseLabelled(node, sizeof(Labelled));
        }
        static void operator delete(void* node, std::size_t size) noexcept {
            releaseLabelled(node, size);
        }
    };
    /// A node of a block that begins where the address is a multiple of `SIZE`.
    template <typename Node>
    class Aligned final : public Node {
    public:
        using Node::Node;
        static constexpr Memory MEMORY = Memory::Aligned;
        static void* operator new(std::size_t size, NodeBlocks& blocks) noexcept {
            return blocks.takeAligned(size);
        }
        static void operator delete(void* node, NodeBlocks& /*blocks*/) noexcept {
            releaseAligned(node, sizeof(Aligned));
        }
        static void operator delete(void* node, std::size_t size) noexcept {
            releaseAligned(node, size);
        }
    };

    static constexpr std::size_t MOST_ROOM = SIZE - 4 * sizeof(void*);

    template <typename Node>
    static Node* label(Node* node) noexcept {
        if (node != nullptr) {
            node->memory_ = Node::MEMORY;
        }
        return node;
    }

    void* takeLabelled(std::size_t size) noexcept {
        void* const memory = carve(sizeof(Label) + size);
        return memory == nullptr ? nullptr : new (memory) Label{block_} + 1;
    }
    void* takeAligned(std::size_t size) noexcept { return carve(size); }
    static Block* blockOfLabelled(void* node) noexcept;
    static Block* blockOfAligned(void* node) noexcept;
    static void releaseLabelled(void* node, std::size_t size) noexcept;
    static void releaseAligned(void* node, std::size_t size) noexcept;
    template <template <typename> class Place>
    static void end(Value* node) noexcept;

    bool open(std::size_t size) noexcept;
    void close() noexcept;
    void* carve(std::size_t size) noexcept {
        if (static_cast<std::size_t>(limit_ - next_) < size && open(size)) {
            return nullptr;
        }
        void* const memory = next_;
        next_ += size;
        ++made_;
        return memory;
    }
    static void drop(Block* block, std::size_t nodes) noexcept;
    static void free(Block* block) noexcept;

    std::size_t room_;
    bool isSmall_;
    Block* block_ = nullptr;
    std::byte* next_ = nullptr;  // the rest of the block
    std::byte* limit_ = nullptr;
    std::size_t made_ = 0;  // nodes of the block
};

/// Deletes nodes of any memory, and gives back those of one block together: what nodes have in
/// common with those of other threads is the count of their block, and it is slow to change.
class NodeReleases {
public:
    NodeReleases() noexcept = default;
    ~NodeReleases() { flush(); }
    NodeReleases(const NodeReleases&) = delete;
    NodeReleases& operator=(const NodeReleases&) = delete;

    /// Deletes a node that is neither shared nor null; a container has no children left.
    void destroy(Value* node) noexcept;
    /// What a container does with a child that has no children of its own.
    void destroyLeaf(Value* node) noexcept {
        if (node->kind() > Value::Kind::Boolean) {
            destroy(node);
        } else {
            Value::destroy(node);  // most likely a shared one
        }
    }

private:
    void flush() noexcept;

    NodeBlocks::Block* block_ = nullptr;
    std::size_t nodes_ = 0;  // of the block, ended but still counted by it
};

}  // namespace util::config
