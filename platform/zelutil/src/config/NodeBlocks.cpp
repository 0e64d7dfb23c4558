#include "NodeBlocks.h"

#include <sanitizer/asan_interface.h>

#include <atomic>
#include <cstdint>

namespace util::config {

namespace {

// What a block counts as its nodes while it may get more: more than it can have.
constexpr std::size_t OPEN = NodeBlocks::SIZE;
constexpr std::align_val_t ALIGNMENT{NodeBlocks::SIZE};

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

void* NodeBlocks::carve(std::size_t size) noexcept {
    if (static_cast<std::size_t>(limit_ - next_) < size && open(size)) {
        return nullptr;
    }
    void* const memory = next_;
    next_ += size;
    ++made_;
    return memory;
}

void NodeBlocks::drop(Block* block, std::size_t nodes) noexcept {
    if (block->nodes.fetch_sub(nodes, std::memory_order_acq_rel) != nodes) {
        return;
    }
    if (block->isAligned) {
        ::operator delete(block, ALIGNMENT);
    } else {
        ::operator delete(block);
    }
}

void* NodeBlocks::takeLabelled(std::size_t size) noexcept {
    void* const memory = carve(sizeof(Block*) + size);
    return memory == nullptr ? nullptr : new (memory) Block*(block_) + 1;
}

void* NodeBlocks::takeAligned(std::size_t size) noexcept {
    return carve(size);
}

// The memory is poisoned, so that its use is found where that is looked for.

void NodeBlocks::releaseLabelled(void* node, [[maybe_unused]] std::size_t size) noexcept {
    ASAN_POISON_MEMORY_REGION(node, size);
    drop(static_cast<Block**>(node)[-1], 1);
}

void NodeBlocks::releaseAligned(void* node, [[maybe_unused]] std::size_t size) noexcept {
    ASAN_POISON_MEMORY_REGION(node, size);
    const std::size_t within = reinterpret_cast<std::uintptr_t>(node) % SIZE;
    drop(reinterpret_cast<Block*>(static_cast<std::byte*>(node) - within), 1);
}

}  // namespace util::config
