#pragma once

#include <string>
#include <string_view>

#include "zel/ErrorType.h"
#include "zel/Export.h"

namespace zel {

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
    /// Returns the formatted message, or an empty text if there is no error. The reference is valid
    /// until this thread reports or acknowledges an error.
    const std::string& reason() const noexcept { return reason_; }
    /// @{
    /// Returns the source position of the report: file and line, or an empty text and 0 if there is
    /// no error.
    char const* file() const noexcept { return file_; }
    int line() const noexcept { return line_; }
    /// @}

    /// Marks the latest error as handled and empties the storage.
    void acknowledge() noexcept;

private:
    friend class ErrorOutput;
    void close() noexcept;
    void keep(const ErrorType& type, int number, char const* file, int line,
              std::string_view reason) noexcept;

    ErrorType const* type_ = nullptr;
    int number_ = 0;
    int line_ = 0;
    bool closed_ = false;
    char const* file_ = "";
    std::string reason_;
};

}  // namespace zel
