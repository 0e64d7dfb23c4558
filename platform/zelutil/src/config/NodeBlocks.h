#pragma once

#include <cstddef>
#include <new>
#include <utility>

#include "util/config/Value.h"

namespace util::config {

/// An allocator for the nodes of one tree. The nodes of a small tree are in one block. The nodes of
/// a larger tree are in several blocks of some dozens of nodes. Nodes are deleted one by one, in
/// any order and by any thread. The last node of a block frees it. A node that outlives its tree
/// therefore keeps a block of at most `SIZE` bytes allocated.
///
/// An object is used by one thread. Nodes may outlive the allocator that created them.
class NodeBlocks {
public:
    /// The maximum size of a block in bytes.
    static constexpr std::size_t SIZE = 4096;

    /// Creates an allocator. `total` is the sum of `sizeOf` for all nodes that will be created. If
    /// the sum is greater than `SIZE`, any number greater than `SIZE` has the same effect.
    explicit NodeBlocks(std::size_t total) noexcept
        : total_(total), isSmall_(total <= MAX_SMALL_TOTAL) {}
    ~NodeBlocks() { close(); }
    NodeBlocks(const NodeBlocks&) = delete;
    NodeBlocks& operator=(const NodeBlocks&) = delete;

    /// Returns the size of a node with its label.
    template <typename Node>
    static constexpr std::size_t sizeOf() noexcept {
        return sizeof(Node) + sizeof(Label);
    }
    /// Returns a new node, or null if memory for the node is exhausted. Throws `std::bad_alloc` if
    /// the constructor of the node throws it.
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
    /// The address of a node's block, stored before the node.
    struct Label {
        Block* block;
    };

    // The class of a node determines how `delete` releases the memory of the node.

    /// A node with a label before it.
    template <typename Node>
    class Labelled final : public Node {
    public:
        using Node::Node;
        static constexpr Memory MEMORY = Memory::Labelled;
        static void* operator new(std::size_t size, NodeBlocks& blocks) noexcept {
            return blocks.allocateLabelled(size);
        }
        static void operator delete(void* node, NodeBlocks& /*blocks*/) noexcept {
            releaseLabelled(node, sizeof(Labelled));
        }
        static void operator delete(void* node, std::size_t size) noexcept {
            releaseLabelled(node, size);
        }
    };
    /// A node in a block whose address is a multiple of `SIZE`. The address of the node thus
    /// determines the block.
    template <typename Node>
    class Aligned final : public Node {
    public:
        using Node::Node;
        static constexpr Memory MEMORY = Memory::Aligned;
        static void* operator new(std::size_t size, NodeBlocks& blocks) noexcept {
            return blocks.allocateAligned(size);
        }
        static void operator delete(void* node, NodeBlocks& /*blocks*/) noexcept {
            releaseAligned(node, sizeof(Aligned));
        }
        static void operator delete(void* node, std::size_t size) noexcept {
            releaseAligned(node, size);
        }
    };

    static constexpr std::size_t MAX_SMALL_TOTAL = SIZE - 4 * sizeof(void*);

    template <typename Node>
    static Node* label(Node* node) noexcept {
        if (node != nullptr) {
            node->memory_ = Node::MEMORY;
        }
        return node;
    }

    void* allocateLabelled(std::size_t size) noexcept {
        void* const memory = carve(sizeof(Label) + size);
        return memory == nullptr ? nullptr : new (memory) Label{block_} + 1;
    }
    void* allocateAligned(std::size_t size) noexcept { return carve(size); }
    static Block* blockOfLabelled(void* node) noexcept;
    static Block* blockOfAligned(void* node) noexcept;
    static void releaseLabelled(void* node, std::size_t size) noexcept;
    static void releaseAligned(void* node, std::size_t size) noexcept;
    template <template <typename> class Place>
    static void destruct(Value* node) noexcept;

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
    static void release(Block* block, std::size_t nodes) noexcept;
    static void free(Block* block) noexcept;

    std::size_t total_;
    bool isSmall_;
    Block* block_ = nullptr;
    std::byte* next_ = nullptr;  // the unused part of the block
    std::byte* limit_ = nullptr;
    std::size_t made_ = 0;  // number of nodes in the block
};

/// A batch of deletions. It destroys nodes of any `Memory` and releases the nodes of one block
/// together, because changing the atomic reference count of a block is slow.
class NodeReleases {
public:
    NodeReleases() noexcept = default;
    ~NodeReleases() { flush(); }
    NodeReleases(const NodeReleases&) = delete;
    NodeReleases& operator=(const NodeReleases&) = delete;

    /// Deletes a node, which must not be null or shared. A container must have no children.
    void destroy(Value* node) noexcept;
    /// Deletes a child of a container, unless it is a shared node. The child must not have
    /// children.
    void destroyLeaf(Value* node) noexcept {
        if (node->kind() > Value::Kind::Boolean) {
            destroy(node);
        } else {
            Value::destroy(node);  // most likely a shared node
        }
    }

private:
    void flush() noexcept;

    NodeBlocks::Block* block_ = nullptr;
    std::size_t nodes_ = 0;  // destructed nodes of the block that are not released yet
};

}  // namespace util::config
