#include "zel/ErrorStorage.h"

#include <new>

namespace zel {

ErrorStorage& ErrorStorage::current() noexcept {
    thread_local ErrorStorage storage;
    return storage;
}

void ErrorStorage::acknowledge() noexcept {
    type_ = nullptr;
    number_ = 0;
    line_ = 0;
    file_ = "";
    reason_.clear();
}

void ErrorStorage::keep(const ErrorType& type, int number, char const* file, int line,
                        std::string_view reason) noexcept {
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
