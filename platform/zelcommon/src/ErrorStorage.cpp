#include "zel/ErrorStorage.h"

#include <new>

namespace zel {

ErrorDetails::~ErrorDetails() = default;

namespace {

// The pointer is set at the first use in the thread. It has no constructor, so an access needs no
// check for initialization.
thread_local ErrorStorage* storage = nullptr;

}  // namespace

ErrorStorage& ErrorStorage::current() noexcept {
    return storage != nullptr ? *storage : makeCurrent();
}

ErrorStorage& ErrorStorage::makeCurrent() noexcept {
    // Destructors of other thread-local objects, and of static objects after them, may report
    // errors. The storage is therefore only closed at the end of the thread, never destroyed.
    alignas(ErrorStorage) thread_local unsigned char place[sizeof(ErrorStorage)];
    storage = new (place) ErrorStorage();
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
    dropDetails();
    reason_.clear();
}

void ErrorStorage::close() noexcept {
    acknowledge();
    std::string().swap(reason_);
    closed_ = true;
}

bool detail::replaceError(ErrorStorage& storage, const ErrorType& type, int number,
                          char const* file, int line) noexcept {
    if (storage.closed_) {
        return false;
    }
    storage.type_ = &type;
    storage.number_ = number;
    storage.file_ = file;
    storage.line_ = line;
    ++storage.count_;
    storage.dropDetails();
    storage.reason_.clear();
    return true;
}

void ErrorStorage::keep(const ErrorType& type, int number, char const* file, int line,
                        std::string_view reason) noexcept {
    if (!detail::replaceError(*this, type, number, file, line)) {
        return;
    }
    try {
        reason_.assign(reason);
    } catch (const std::bad_alloc&) {
        reason_.clear();
    }
}

void ErrorStorage::dropDetails() const noexcept {
    if (details_ != nullptr) {
        std::exchange(details_, nullptr)->~ErrorDetails();
    }
}

const std::string& ErrorStorage::reason() const noexcept {
    if (details_ == nullptr) {
        return reason_;
    }
    try {
        details_->describe(reason_);
    } catch (const std::bad_alloc&) {
        reason_.clear();
    }
    dropDetails();
    return reason_;
}

}  // namespace zel
