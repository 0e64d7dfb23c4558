#pragma once

#include <type_traits>
#include <utility>

#include "zel/ErrorStorage.h"

namespace kova::detail {

/// True if the platform's error storage counts the errors that its thread records. An application
/// may replace the platform by one that does not count errors.
template <class Storage, class = void>
struct CountsErrors : std::false_type {};
template <class Storage>
struct CountsErrors<Storage, std::void_t<decltype(std::declval<Storage&>().count())>>
    : std::true_type {};

/// The error that a failing call records in the calling thread after the construction of this
/// object. An error that was recorded before belongs to other code: it is neither shown nor
/// acknowledged. If the platform does not count errors, the latest error is assumed to be the error
/// of the call.
template <class Storage>
class BasicRecordedError {
public:
    explicit BasicRecordedError(Storage& storage) noexcept
        : storage_(storage), before_(count(storage)) {}

    /// Returns the reason, or an empty text if no error was recorded. It is valid until the thread
    /// records or acknowledges an error.
    char const* reason() const noexcept { return exists() ? storage_.reason().c_str() : ""; }

    /// Acknowledges the error if there is one.
    void acknowledge() noexcept {
        if (exists()) {
            storage_.acknowledge();
        }
    }

private:
    static unsigned long count(const Storage& storage) noexcept {
        if constexpr (CountsErrors<const Storage>::value) {
            return storage.count();
        } else {
            return 0;
        }
    }
    bool exists() const noexcept {
        return !CountsErrors<const Storage>::value || count(storage_) != before_;
    }

    Storage& storage_;
    unsigned long before_;
};

/// A `BasicRecordedError` for the storage of the calling thread.
class RecordedError : public BasicRecordedError<zel::ErrorStorage> {
public:
    RecordedError() noexcept : BasicRecordedError(zel::ErrorStorage::current()) {}
};

}  // namespace kova::detail
