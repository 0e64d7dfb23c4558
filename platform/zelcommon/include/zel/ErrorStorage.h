#pragma once

#include <cstddef>
#include <new>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "zel/ErrorType.h"
#include "zel/Export.h"

namespace zel {

/// The data of an error whose message is not formatted yet. The message is formatted when it is
/// read, so an error that is never read costs no formatting.
///
/// The object lives in the `ErrorStorage` of its thread until the next error or acknowledgement.
class ZEL_API ErrorDetails {
public:
    ErrorDetails() noexcept = default;
    virtual ~ErrorDetails();
    ErrorDetails(const ErrorDetails&) = delete;
    ErrorDetails& operator=(const ErrorDetails&) = delete;

    /// Appends the message to `out`, which is empty. Throws `std::bad_alloc` if memory is
    /// exhausted.
    virtual void describe(std::string& out) const = 0;
};

class ErrorStorage;

namespace detail {

/// Stores an error whose message is not formatted yet. Returns false if the storage is closed; it
/// is then unchanged. `ErrorStorage::record` calls this function.
ZEL_API bool replaceError(ErrorStorage& storage, const ErrorType& type, int number,
                          char const* file, int line) noexcept;

}  // namespace detail

/// The latest error of the calling thread: its catalogue and number, its message, and its source
/// position.
///
/// It is not a log: a new report overwrites the former one. Each thread has its own storage and
/// cannot access that of another thread, so no function needs a lock.
///
///     zel::ErrorStorage& errors = zel::ErrorStorage::current();
///     if (errors.hasError()) {
///         const std::string reason = errors.reason();
///         errors.acknowledge();
///     }
class ZEL_API ErrorStorage {
public:
    /// Returns the storage of the calling thread. The reference is valid until the thread ends. The
    /// storage closes when the thread-local objects are destroyed. A closed storage is empty and
    /// does not store errors.
    static ErrorStorage& current() noexcept;

    /// Returns whether the storage has an error that was not acknowledged.
    bool hasError() const noexcept { return type_ != nullptr; }
    /// Returns the catalogue of the latest error, or null if there is no error.
    ErrorType const* type() const noexcept { return type_; }
    /// Returns the number of the latest error in its catalogue, or 0 if there is no error.
    int number() const noexcept { return number_; }
    /// Returns the formatted message. Returns an empty text if there is no error or if memory for
    /// the message is exhausted. The reference is valid until this thread stores or acknowledges an
    /// error.
    const std::string& reason() const noexcept;
    /// @{
    /// Returns the source position of the report: its file and its line. Returns an empty text and
    /// 0 if there is no error.
    char const* file() const noexcept { return file_; }
    int line() const noexcept { return line_; }
    /// @}

    /// Returns the number of errors that this thread has stored so far. If the number changes
    /// during a call, the call stored the latest error.
    unsigned long count() const noexcept { return count_; }

    /// Marks the latest error as handled and empties the storage.
    void acknowledge() noexcept;

    /// The maximum size of a class that is derived from `ErrorDetails`, in bytes.
    static constexpr std::size_t DETAILS_SIZE = 256;

    /// Stores the error `number` of the catalogue `type` as the thread's latest error without
    /// calling the sink. A `Details` object is constructed from the arguments. It formats the
    /// message when the message is read for the first time. `file` must outlive the thread's latest
    /// error, as a string literal does.
    template <class Details, class... Arguments>
    void record(const ErrorType& type, int number, char const* file, int line,
                Arguments&&... arguments) noexcept {
        static_assert(std::is_base_of_v<ErrorDetails, Details>);
        static_assert(sizeof(Details) <= DETAILS_SIZE);
        static_assert(alignof(Details) <= alignof(void*));
        static_assert(std::is_nothrow_constructible_v<Details, Arguments&&...>);
        if (detail::replaceError(*this, type, number, file, line)) {
            details_ = new (place_) Details(std::forward<Arguments>(arguments)...);
        }
    }

private:
    friend class ErrorOutput;
    friend bool detail::replaceError(ErrorStorage&, const ErrorType&, int, char const*,
                                     int) noexcept;
    ZEL_LOCAL static ErrorStorage& makeCurrent() noexcept;
    ZEL_LOCAL void close() noexcept;
    ZEL_LOCAL void dropDetails() const noexcept;
    ZEL_LOCAL void keep(const ErrorType& type, int number, char const* file, int line,
                        std::string_view reason) noexcept;

    ErrorType const* type_ = nullptr;
    int number_ = 0;
    int line_ = 0;
    bool closed_ = false;
    char const* file_ = "";
    unsigned long count_ = 0;
    // Mutable, because the first read of the message formats it and releases the details.
    mutable std::string reason_;
    mutable ErrorDetails* details_ = nullptr;  // the object in `place_`, or null
    alignas(void*) unsigned char place_[DETAILS_SIZE];
};

}  // namespace zel
