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

/// The data from which an error's message is formatted when the message is read. An error that is
/// never read costs no formatting.
///
/// The object lives in the `ErrorStorage` of its thread until the next error or acknowledgement.
class ZEL_API ErrorDetails {
public:
    ErrorDetails() noexcept = default;
    virtual ~ErrorDetails();
    ErrorDetails(const ErrorDetails&) = delete;
    ErrorDetails& operator=(const ErrorDetails&) = delete;

    /// Appends the message to `out`, which is empty. May throw `std::bad_alloc`.
    virtual void describe(std::string& out) const = 0;
};

class ErrorStorage;

namespace detail {

/// Stores an error that has no message yet. Returns false when the storage is closed, which is then
/// unchanged. `ErrorStorage::record` calls it.
ZEL_API bool replaceError(ErrorStorage& storage, const ErrorType& type, int number,
                          char const* file, int line) noexcept;

}  // namespace detail

/// The latest error of the calling thread: its catalogue and number, its message, and its source
/// position.
///
/// It is not a log: a new report overwrites the former one. Each thread has its own storage and
/// cannot see that of another thread, so no operation needs a lock.
///
///     zel::ErrorStorage& errors = zel::ErrorStorage::current();
///     if (errors.hasError()) {
///         const std::string reason = errors.reason();
///         errors.acknowledge();
///     }
class ZEL_API ErrorStorage {
public:
    /// Returns the storage of the calling thread. The reference is valid until the thread ends.
    /// The storage closes while the thread-local objects are being destroyed: reports are then no
    /// longer stored, and it stays empty.
    static ErrorStorage& current() noexcept;

    /// Returns whether there is an error that was not acknowledged.
    bool hasError() const noexcept { return type_ != nullptr; }
    /// Returns the catalogue of the latest error, or null if there is no error.
    ErrorType const* type() const noexcept { return type_; }
    /// Returns the number of the latest error in its catalogue, or 0 if there is no error.
    int number() const noexcept { return number_; }
    /// Returns the formatted message, or an empty text if there is no error or no memory for the
    /// message. The reference is valid until this thread reports or acknowledges an error.
    const std::string& reason() const noexcept;
    /// @{
    /// Returns the source position of the report: file and line, or an empty text and 0 if there is
    /// no error.
    char const* file() const noexcept { return file_; }
    int line() const noexcept { return line_; }
    /// @}

    /// Returns the number of errors that this thread has stored so far. If a call changes it, the
    /// latest error was reported during the call; otherwise it is older.
    unsigned long count() const noexcept { return count_; }

    /// Marks the latest error as handled and empties the storage.
    void acknowledge() noexcept;

    /// Maximum size of a class of details, in bytes.
    static constexpr std::size_t DETAILS_SIZE = 256;

    /// Stores the error `number` of the catalogue `type` as the thread's latest error without
    /// calling the sink. `Details`, constructed from the arguments, formats the message when it is
    /// read for the first time. `file` must outlive the thread's latest error (a literal does).
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
    // What is read for the first time makes the message and needs the details no longer.
    mutable std::string reason_;
    mutable ErrorDetails* details_ = nullptr;  // in `place_`
    alignas(void*) unsigned char place_[DETAILS_SIZE];
};

}  // namespace zel
