#include "NodeBlocks.h"

#include <sanitizer/asan_interface.h>

#include <atomic>
#include <cstdint>

#include "util/config/Array.h"
#include "util/config/Dictionary.h"
#include "util/config/Scalars.h"

namespace util::config {

namespace {

// What a block counts as its nodes while it may get more: more than it can have.
constexpr std::size_t OPEN = NodeBlocks::SIZE;
constexpr std::align_val_t ALIGNMENT{NodeBlocks::SIZE};

// The memory is poisoned, so that its use is found where that is looked for.
template <typename Node>
void endNode(Value* node) noexcept {
    static_cast<Node*>(node)->~Node();
    ASAN_POISON_MEMORY_REGION(node, sizeof(Node));
}

}  // namespace

struct NodeBlocks::Block {
    std::atomic<std::size_t> nodes{OPEN};
    bool isAligned;

    explicit Block(bool aligned) noexcept : isAligned(aligned) {}
};

// Begins a block with room for at least `size` bytes; true when memory is exhausted.
bool NodeBlocks::open(std::size_t size) noexcept {
    const std::size_t bytes = isSmall_ ? sizeof(Block) + (room_ < size ? size : room_) : SIZE;
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

// From here on the block counts the nodes that are left.
void NodeBlocks::close() noexcept {
    if (block_ != nullptr) {
        drop(block_, OPEN - made_);
        block_ = nullptr;
        made_ = 0;
    }
}

// Who drops all that is counted is alone with the block, and needs no atomic change.
void NodeBlocks::drop(Block* block, std::size_t nodes) noexcept {
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
    drop(blockOfLabelled(node), 1);
}

void NodeBlocks::releaseAligned(void* node, [[maybe_unused]] std::size_t size) noexcept {
    ASAN_POISON_MEMORY_REGION(node, size);
    drop(blockOfAligned(node), 1);
}

// Ends a node without giving back its memory. It has exactly the type that `make` gave it.
template <template <typename> class Place>
void NodeBlocks::end(Value* node) noexcept {
    switch (node->kind()) {
        case Value::Kind::Integer:
            return endNode<Place<ValueInt>>(node);
        case Value::Kind::Float:
            return endNode<Place<ValueFloat>>(node);
        case Value::Kind::String:
            return endNode<Place<ValueString>>(node);
        case Value::Kind::Array:
            return endNode<Place<Array>>(node);
        case Value::Kind::Dictionary:
            return endNode<Place<Dictionary>>(node);
        default:
            return endNode<Place<ValueUnicodeString>>(node);
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
        NodeBlocks::end<NodeBlocks::Labelled>(node);
    } else {
        NodeBlocks::end<NodeBlocks::Aligned>(node);
    }
    if (block != block_) {
        flush();
        block_ = block;
    }
    ++nodes_;
}

void NodeReleases::flush() noexcept {
    if (nodes_ != 0) {
        NodeBlocks::drop(block_, nodes_);
        nodes_ = 0;
    }
}

}  // namespace util::config
