#include "config/NodeBlocks.h"

#include <sanitizer/asan_interface.h>

#include <atomic>
#include <cstdint>

#include "util/config/Array.h"
#include "util/config/Dictionary.h"
#include "util/config/Scalars.h"

namespace util::config {

namespace {

// Reference count while the block is being filled. It is larger than any real count.
constexpr std::size_t OPEN = NodeBlocks::SIZE;
constexpr std::align_val_t ALIGNMENT{NodeBlocks::SIZE};

// Destructs the node. Its memory is poisoned so that AddressSanitizer reports use after free.
template <typename Node>
void destructNode(Value* node) noexcept {
    static_cast<Node*>(node)->~Node();
    ASAN_POISON_MEMORY_REGION(node, sizeof(Node));
}

}  // namespace

struct NodeBlocks::Block {
    std::atomic<std::size_t> nodes{OPEN};
    bool isAligned;

    explicit Block(bool aligned) noexcept : isAligned(aligned) {}
};

// Starts a new block with space for at least `size` bytes. Returns true if memory is exhausted.
bool NodeBlocks::open(std::size_t size) noexcept {
    const std::size_t bytes = isSmall_ ? sizeof(Block) + (total_ < size ? size : total_) : SIZE;
    void* const memory = isSmall_ ? ::operator new(bytes, std::nothrow)
                                  : ::operator new(bytes, ALIGNMENT, std::nothrow);
    if (memory == nullptr) {
        return true;
    }
    close();
    block_ = new (memory) Block(!isSmall_);
    next_ = static_cast<std::byte*>(memory) + sizeof(Block);
    limit_ = static_cast<std::byte*>(memory) + bytes;
    return false;
}

// Ends the filling of the block. Its reference count becomes the number of nodes that still exist.
void NodeBlocks::close() noexcept {
    if (block_ != nullptr) {
        release(block_, OPEN - made_);
        block_ = nullptr;
        made_ = 0;
    }
}

// Releases `nodes` references to the block. If these are the last references, this thread has
// exclusive access, so it skips the atomic subtraction.
void NodeBlocks::release(Block* block, std::size_t nodes) noexcept {
    if (block->nodes.load(std::memory_order_acquire) == nodes ||
        block->nodes.fetch_sub(nodes, std::memory_order_acq_rel) == nodes) {
        free(block);
    }
}

void NodeBlocks::free(Block* block) noexcept {
    if (block->isAligned) {
        ::operator delete(block, ALIGNMENT);
    } else {
        ::operator delete(block);
    }
}

NodeBlocks::Block* NodeBlocks::blockOfLabelled(void* node) noexcept {
    return static_cast<Label*>(node)[-1].block;
}

NodeBlocks::Block* NodeBlocks::blockOfAligned(void* node) noexcept {
    const std::size_t within = reinterpret_cast<std::uintptr_t>(node) % SIZE;
    return reinterpret_cast<Block*>(static_cast<std::byte*>(node) - within);
}

void NodeBlocks::releaseLabelled(void* node, [[maybe_unused]] std::size_t size) noexcept {
    ASAN_POISON_MEMORY_REGION(node, size);
    release(blockOfLabelled(node), 1);
}

void NodeBlocks::releaseAligned(void* node, [[maybe_unused]] std::size_t size) noexcept {
    ASAN_POISON_MEMORY_REGION(node, size);
    release(blockOfAligned(node), 1);
}

// Destructs a node without releasing its memory. The node must have exactly the type that `make`
// created.
template <template <typename> class Place>
void NodeBlocks::destruct(Value* node) noexcept {
    switch (node->kind()) {
        case Value::Kind::Integer:
            return destructNode<Place<ValueInt>>(node);
        case Value::Kind::Float:
            return destructNode<Place<ValueFloat>>(node);
        case Value::Kind::String:
            return destructNode<Place<ValueString>>(node);
        case Value::Kind::Array:
            return destructNode<Place<Array>>(node);
        case Value::Kind::Dictionary:
            return destructNode<Place<Dictionary>>(node);
        default:
            return destructNode<Place<ValueUnicodeString>>(node);
    }
}

void NodeReleases::destroy(Value* node) noexcept {
    if (node->memory_ == Value::Memory::Own) {
        delete node;
        return;
    }
    const bool isLabelled = node->memory_ == Value::Memory::Labelled;
    NodeBlocks::Block* const block =
        isLabelled ? NodeBlocks::blockOfLabelled(node) : NodeBlocks::blockOfAligned(node);
    if (isLabelled) {
        NodeBlocks::destruct<NodeBlocks::Labelled>(node);
    } else {
        NodeBlocks::destruct<NodeBlocks::Aligned>(node);
    }
    if (block != block_) {
        flush();
        block_ = block;
    }
    ++nodes_;
}

void NodeReleases::flush() noexcept {
    if (nodes_ != 0) {
        NodeBlocks::release(block_, nodes_);
        nodes_ = 0;
    }
}

}  // namespace util::config
