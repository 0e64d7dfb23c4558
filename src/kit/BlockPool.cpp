#include "kova/kit/resources/BlockPool.h"

#include <sanitizer/asan_interface.h>

#include <array>
#include <mutex>
#include <new>

namespace kova::kit::detail {

namespace {

constexpr std::size_t STEP = 64;
constexpr std::size_t SIZES = 16;
// The `Label::size` of a block that is too large to be kept for reuse
constexpr std::size_t LARGE = SIZES;
constexpr std::size_t BATCH = 32;
constexpr std::size_t MAX_OF_THREAD = 2 * BATCH;
constexpr std::size_t MAX_BATCHES = 64;

/// The header in front of the memory of a block.
struct alignas(std::max_align_t) Label {
    std::size_t size;  ///< index of the list of blocks of this size, or `LARGE`
    Label* next;
};

void* memoryOf(Label* label) noexcept {
    return label + 1;
}

void destroyAll(Label* label) noexcept {
    while (label != nullptr) {
        Label* const next = label->next;
        ::operator delete(label);
        label = next;
    }
}

/// The blocks for reuse that belong to no thread. They are stored in batches; each batch is a
/// linked list of blocks.
class SharedBlocks {
public:
    /// Adds a batch. Returns false if there is no space for another batch.
    bool push(Label* batch) noexcept {
        const std::lock_guard<std::mutex> guard(mutex_);
        if (count_ == MAX_BATCHES) {
            return false;
        }
        batches_[count_++] = batch;
        return true;
    }
    /// Removes and returns a batch, or null.
    Label* pop() noexcept {
        const std::lock_guard<std::mutex> guard(mutex_);
        return count_ == 0 ? nullptr : batches_[--count_];
    }

private:
    std::mutex mutex_;
    std::array<Label*, MAX_BATCHES> batches_{};
    std::size_t count_ = 0;
};

// Never destroyed, because threads may end after static objects are destroyed.
SharedBlocks& sharedBlocks(std::size_t size) {
    static auto& all = *new std::array<SharedBlocks, SIZES>;
    return all[size];
}

/// The released blocks that a thread keeps for reuse.
struct ThreadBlocks {
    struct List {
        Label* first = nullptr;
        std::size_t count = 0;
    };
    std::array<List, SIZES> lists;
};

// The blocks of the current thread. Null before the thread uses its first block, and after the
// thread has released its blocks. Like `currentThread`, the variable is read at a fixed offset,
// which is faster than a call.
thread_local ThreadBlocks* currentBlocks __attribute__((tls_model("initial-exec"))) = nullptr;
thread_local bool isThreadEnding = false;

// Removes `count` blocks from a list with more than `count` blocks, and returns them as a linked
// list.
Label* removeBatch(ThreadBlocks::List& list, std::size_t count) noexcept {
    Label* const batch = list.first;
    Label* last = batch;
    for (std::size_t i = 1; i < count; ++i) {
        last = last->next;
    }
    list.first = last->next;
    list.count -= count;
    last->next = nullptr;
    return batch;
}

void giveAway(ThreadBlocks::List& list, std::size_t size) noexcept {
    Label* const batch = removeBatch(list, BATCH);
    if (!sharedBlocks(size).push(batch)) {
        destroyAll(batch);
    }
}

/// Releases the blocks that a thread keeps when the thread ends.
class Registration {
public:
    Registration() noexcept { currentBlocks = &blocks_; }
    ~Registration() {
        currentBlocks = nullptr;
        isThreadEnding = true;
        for (std::size_t size = 0; size < SIZES; ++size) {
            ThreadBlocks::List& list = blocks_.lists[size];
            while (list.count >= BATCH) {
                giveAway(list, size);
            }
            destroyAll(list.first);
        }
    }
    Registration(const Registration&) = delete;
    Registration& operator=(const Registration&) = delete;

private:
    ThreadBlocks blocks_;
};

ThreadBlocks* registerThread() noexcept {
    if (!isThreadEnding) {
        thread_local const Registration registration;
        static_cast<void>(registration);
    }
    return currentBlocks;
}

ThreadBlocks* thisThread() noexcept {
    return currentBlocks != nullptr ? currentBlocks : registerThread();
}

Label* newBlock(std::size_t index, std::size_t size) {
    auto* const label = static_cast<Label*>(::operator new(sizeof(Label) + size));
    label->size = index;
    return label;
}

// Returns a kept block of this size, or null.
Label* takeKept(ThreadBlocks::List& list, std::size_t size) noexcept {
    if (list.first == nullptr) {
        list.first = sharedBlocks(size).pop();
        list.count = list.first != nullptr ? BATCH : 0;
    }
    Label* const label = list.first;
    if (label != nullptr) {
        list.first = label->next;
        --list.count;
    }
    return label;
}

}  // namespace

void* allocateBlock(std::size_t size) {
    const std::size_t index = size == 0 ? 0 : (size - 1) / STEP;
    if (index >= SIZES) {
        return memoryOf(newBlock(LARGE, size));
    }
    ThreadBlocks* const blocks = thisThread();
    Label* label = blocks != nullptr ? takeKept(blocks->lists[index], index) : nullptr;
    if (label == nullptr) {
        label = newBlock(index, (index + 1) * STEP);
    }
    ASAN_UNPOISON_MEMORY_REGION(memoryOf(label), (index + 1) * STEP);
    return memoryOf(label);
}

void releaseBlock(void* block) noexcept {
    Label* const label = static_cast<Label*>(block) - 1;
    ThreadBlocks* const blocks = label->size != LARGE ? thisThread() : nullptr;
    if (blocks == nullptr) {
        ::operator delete(label);
        return;
    }
    // Poisoned so that AddressSanitizer reports a use of the block until it is allocated again.
    ASAN_POISON_MEMORY_REGION(block, (label->size + 1) * STEP);
    ThreadBlocks::List& list = blocks->lists[label->size];
    label->next = list.first;
    list.first = label;
    if (++list.count > MAX_OF_THREAD) {
        giveAway(list, label->size);
    }
}

}  // namespace kova::kit::detail
