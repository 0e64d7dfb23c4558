#include "IdleBuffer.h"

#include "kova/kit/values/Fast.h"

#if KOVA_KIT_HAS_FAST_PATH

#include <utility>

namespace kova::kit::detail {

namespace {

/// The idle buffer of a thread. It is plain data, so it may be used while the thread's other
/// thread-local objects are destroyed. After `Owner` is destroyed, no buffer is kept.
struct Idle {
    util::ByteBufferWriter* buffer;
    bool isOwned;
    bool isClosed;
};
thread_local Idle t_idle{};

struct Owner {
    Owner() noexcept = default;
    Owner(const Owner&) = delete;
    Owner& operator=(const Owner&) = delete;
    ~Owner() {
        t_idle.isClosed = true;
        delete std::exchange(t_idle.buffer, nullptr);
    }
    /// Does nothing, but a call makes the compiler create this thread-local object, so that it is
    /// destroyed when the thread ends.
    void touch() const noexcept {}
};

thread_local const Owner t_owner;

}  // namespace

BufferLoan::BufferLoan() : buffer_(std::exchange(t_idle.buffer, nullptr)) {
    if (buffer_ == nullptr) {
        buffer_ = new util::ByteBufferWriter(FIRST_CAPACITY);
    }
}

BufferLoan::~BufferLoan() {
    Idle& idle = t_idle;
    if (idle.buffer != nullptr || idle.isClosed ||
        buffer_->size() + buffer_->capacityLeft() > MAX_KEPT) {
        delete buffer_;
        return;
    }
    if (!idle.isOwned) {
        t_owner.touch();
        idle.isOwned = true;
    }
    buffer_->truncate(0);
    idle.buffer = buffer_;
}

}  // namespace kova::kit::detail

#endif
