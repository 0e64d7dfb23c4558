#include "zel/ErrorStorage.h"

#include <new>

namespace zel {

ErrorStorage& ErrorStorage::current() noexcept {
    // Destructors of other thread-local objects, and of static objects after them, may report
    // errors. The storage is therefore only closed at the end of the thread, never destroyed.
    alignas(ErrorStorage) thread_local unsigned char place[sizeof(ErrorStorage)];
    thread_local auto* const storage = new (place) ErrorStorage();
    struct End {
        ~End() { storage->close(); }
    };
    thread_local const End end{};
    return *storage;
}

void ErrorStorage::acknowledge() noexcept {
    type_ = nullptr;
    number_ = 0;
    line_ = 0;
    file_ = "";
    reason_.clear();
}

void ErrorStorage::close() noexcept {
    acknowledge();
    std::string().swap(reason_);
    closed_ = true;
}

void ErrorStorage::keep(const ErrorType& type, int number, char const* file, int line,
                        std::string_view reason) noexcept {
    if (closed_) {
        return;
    }
    type_ = &type;
    number_ = number;
    file_ = file;
    line_ = line;
    try {
        reason_.assign(reason);
    } catch (const std::bad_alloc&) {
        reason_.clear();
    }
}

}  // namespace zel
