#pragma once

#include "zel/ErrorStorage.h"

namespace kova::detail {

/// The error that the calling thread records between the construction of this object and a failing
/// call. An error that was recorded before belongs to other code: it is neither shown nor
/// acknowledged.
class RecordedError {
public:
    RecordedError() noexcept : storage_(zel::ErrorStorage::current()), before_(storage_.count()) {}

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
    bool exists() const noexcept { return storage_.count() != before_; }

    zel::ErrorStorage& storage_;
    unsigned long before_;
};

}  // namespace kova::detail
