#pragma once

#include <mutex>
#include <new>
#include <vector>

namespace kova::test {

/// A store for the memory of destroyed objects, which it frees in its destructor.
///
/// A request handle is the address of the response handler, so it is unique only while the handler
/// lives. If the memory of handlers is not reused, handles are unique during the whole test. An
/// entry that was stored after its request had terminated then cannot be confused with the entry of
/// a later request.
class RetainedMemory {
public:
    RetainedMemory() = default;
    ~RetainedMemory() {
        for (void* const memory : memory_) {
            ::operator delete(memory);
        }
    }
    RetainedMemory(const RetainedMemory&) = delete;
    RetainedMemory& operator=(const RetainedMemory&) = delete;

    /// Takes ownership of memory that was allocated with `operator new`. Any thread may call it.
    void retain(void* memory) {
        const std::lock_guard<std::mutex> guard(mutex_);
        memory_.push_back(memory);
    }

private:
    std::mutex mutex_;
    std::vector<void*> memory_;
};

}  // namespace kova::test
