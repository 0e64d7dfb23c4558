#pragma once

#include <mutex>
#include <new>
#include <vector>

namespace kova::test {

/// Memory of destroyed objects, given back at its own end. A request handle is unique while the
/// response handler lives; with handlers buried here it is unique for the whole test, so that an
/// entry which a termination came too early for is never taken for that of a later request.
class Graveyard {
public:
    Graveyard() = default;
    ~Graveyard() {
        for (void* const memory : memory_) {
            ::operator delete(memory);
        }
    }
    Graveyard(const Graveyard&) = delete;
    Graveyard& operator=(const Graveyard&) = delete;

    void bury(void* memory) {
        const std::lock_guard<std::mutex> guard(mutex_);
        memory_.push_back(memory);
    }

private:
    std::mutex mutex_;
    std::vector<void*> memory_;
};

}  // namespace kova::test
