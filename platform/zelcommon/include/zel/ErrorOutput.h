#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <type_traits>

#include "zel/ErrorType.h"
#include "zel/Export.h"

namespace zel {

/// One argument of an error message: a text or an address. The argument refers to the text and does
/// not copy it.
class ErrorArgument {
public:
    /// @{
    /// Constructs a text argument. `text` must outlive it. A null pointer is printed as "(null)".
    ErrorArgument(char const* text) noexcept
        : text_(text != nullptr ? text : "(null)"), address_(nullptr), isText_(true) {}
    ErrorArgument(std::string_view text) noexcept : text_(text), address_(nullptr), isText_(true) {}
    ErrorArgument(const std::string& text) noexcept
        : text_(text), address_(nullptr), isText_(true) {}
    /// @}

    /// Constructs an address argument.
    ErrorArgument(void const* address) noexcept : address_(address), isText_(false) {}

    /// Returns whether the argument is a text.
    bool isText() const noexcept { return isText_; }
    /// Returns the text, or an empty text if the argument is an address.
    std::string_view text() const noexcept { return text_; }
    /// Returns the address, or null if the argument is a text.
    void const* address() const noexcept { return address_; }

private:
    std::string_view text_;
    void const* address_;
    bool isText_;
};

/// An error that is passed to a sink. The views are valid only during the call.
struct ErrorReport {
    /// Name of the error catalogue.
    std::string_view type;
    /// Number of the error in the catalogue.
    int number;
    /// Formatted message.
    std::string_view reason;
    /// @{
    /// Source position: a path within the source tree and a line number.
    std::string_view file;
    int line;
    /// @}
};

class ErrorOutput;

namespace detail {

/// Reports an error with its `count` arguments. `ErrorOutput::operator()` calls it.
ZEL_API void report(const ErrorOutput& output, const ErrorType& type, int number,
                    ErrorArgument const* arguments, std::size_t count) noexcept;

}  // namespace detail

/// A function object that reports an error from one source position. It formats the message once,
/// passes it to the process-wide sink and stores it as the calling thread's latest error
/// (`ErrorStorage`).
///
/// Reporting does not change the control flow: the caller continues and returns its failure value.
/// Any thread may report errors and replace the sink. The sink is called on the reporting thread
/// without a lock, possibly by several threads at the same time. Errors that a sink itself reports
/// go to the default sink. A report never throws, never fails and preserves `errno`. If memory for
/// the message is exhausted, the unformatted text of the catalogue is reported instead. Exceptions
/// of a sink are discarded.
///
///     static constexpr zel::ErrorID MESSAGES[] = {{0, "cannot open '%s'", 1}};
///     static constexpr zel::ErrorType Error("EXAMPLE", MESSAGES);
///     zel::ErrorOutput("src/example/Device", 64, true)(Error, 0, "/dev/light");
class ZEL_API ErrorOutput {
public:
    /// A function that receives the reports.
    using Sink = std::function<void(const ErrorReport&)>;

    /// Constructs a reporter for one source position. `file` must outlive the thread's latest
    /// error, as a string literal does. If `keep` is false, the report goes only to the sink, and
    /// the thread's latest error is unchanged.
    ErrorOutput(char const* file, int line, bool keep) noexcept
        : file_(file), line_(line), keep_(keep) {}

    /// Reports the error `number` of the catalogue `type`. Each "%s" of its message formats a text
    /// argument, each "%p" an address argument. If an argument is missing or is of the wrong kind,
    /// "?" is printed. Extra arguments are ignored. A number that is not in the catalogue is
    /// reported as "unknown error".
    template <typename... Arguments>
    void operator()(const ErrorType& type, int number, const Arguments&... arguments) const {
        const ErrorArgument list[] = {ErrorArgument(arguments)..., ErrorArgument("")};
        detail::report(*this, type, number, list, sizeof...(Arguments));
    }

    /// Replaces the process-wide sink and returns the former one, which is empty if it was the
    /// default. An empty `sink` restores the default. The default sink writes one line to standard
    /// error, "FILE:LINE: TYPE NUMBER: REASON", and replaces control characters by blanks. A report
    /// that another thread is making may still reach the former sink after `setSink` has returned.
    static Sink setSink(Sink sink);

private:
    friend void detail::report(const ErrorOutput&, const ErrorType&, int, ErrorArgument const*,
                               std::size_t) noexcept;
    ZEL_LOCAL void report(const ErrorType& type, int number, ErrorArgument const* arguments,
                          std::size_t count) const noexcept;

    char const* file_;
    int line_;
    bool keep_;
};

}  // namespace zel
