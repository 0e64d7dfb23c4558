#pragma once

#include <string>
#include <type_traits>
#include <utility>

#include "zel/ErrorStorage.h"

namespace kova::kit::detail {

/// Whether the platform's error storage counts the errors that its thread records. A replacement
/// platform need not count them.
template <class Storage, class = void>
inline constexpr bool countsErrors = false;
template <class Storage>
inline constexpr bool
    countsErrors<Storage, std::void_t<decltype(std::declval<Storage&>().count())>> = true;

/// The error that the calling thread records during the life of this object. The destructor
/// acknowledges the error, because its reason is in the result of the read or write. If the
/// platform does not count errors, the latest error is assumed to be this error.
template <class Storage>
class BasicRecorded {
public:
    explicit BasicRecorded(Storage& storage) noexcept
        : storage_(storage), before_(count(storage)) {}
    /// Returns the reason, or an empty text if no error was recorded.
    std::string reason() const { return exists() ? storage_.reason() : std::string(); }

    /// Acknowledges the error if there is one: its reason is in the result of the read or write.
    void acknowledge() noexcept {
        if (exists()) {
            storage_.acknowledge();
        }
    }

private:
    static unsigned long count(const Storage& storage) noexcept {
        if constexpr (countsErrors<const Storage>) {
            return storage.count();
        } else {
            return 0;
        }
    }
    bool exists() const noexcept {
        return !countsErrors<const Storage> || count(storage_) != before_;
    }

    Storage& storage_;
    unsigned long before_;
};

/// A `BasicRecorded` for the storage of the calling thread.
class Recorded : public BasicRecorded<zel::ErrorStorage> {
public:
    Recorded() noexcept : BasicRecorded(zel::ErrorStorage::current()) {}
};

}  // namespace kova::kit::detail
