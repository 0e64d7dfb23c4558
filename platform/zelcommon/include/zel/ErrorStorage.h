#pragma once

#include <string>
#include <string_view>

#include "zel/ErrorType.h"
#include "zel/Export.h"

namespace zel {

/// The latest error of the calling thread: what it was, why, and where.
///
/// It is not a log: a new report overwrites the former one. Each thread has its own and sees no
/// other's, so no operation needs a lock.
class ZEL_API ErrorStorage {
public:
    /// The storage of the calling thread; lives as long as the thread. While the thread's objects
    /// are being destroyed it closes: it stays empty, whatever is reported.
    static ErrorStorage& current() noexcept;

    /// Whether there is an error that was not acknowledged.
    bool hasError() const noexcept { return type_ != nullptr; }
    /// The catalogue of the latest error; null when there is none.
    ErrorType const* type() const noexcept { return type_; }
    /// The number of the latest error in its catalogue; 0 when there is none.
    int number() const noexcept { return number_; }
    /// The formatted message; empty when there is none. The reference stays valid until the next
    /// report or acknowledgement of this thread.
    const std::string& reason() const noexcept { return reason_; }
    /// @{
    /// Source position; an empty text and 0 when there is none.
    char const* file() const noexcept { return file_; }
    int line() const noexcept { return line_; }
    /// @}

    /// Marks the latest error as handled: the storage is empty afterwards.
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
