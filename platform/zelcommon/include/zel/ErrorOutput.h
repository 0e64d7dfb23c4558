#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <type_traits>

#include "zel/ErrorType.h"
#include "zel/Export.h"

namespace zel {

/// One argument of an error message: a text or an address. Borrows the text.
class ErrorArgument {
public:
    /// @{
    /// A text; it must live as long as the argument. A null pointer shows as "(null)".
    ErrorArgument(char const* text) noexcept
        : text_(text != nullptr ? text : "(null)"), address_(nullptr), isText_(true) {}
    ErrorArgument(std::string_view text) noexcept : text_(text), address_(nullptr), isText_(true) {}
    ErrorArgument(const std::string& text) noexcept
        : text_(text), address_(nullptr), isText_(true) {}
    /// @}

    /// An address.
    ErrorArgument(void const* address) noexcept : address_(address), isText_(false) {}

    /// Whether it is a text.
    bool isText() const noexcept { return isText_; }
    /// The text; empty when it is an address.
    std::string_view text() const noexcept { return text_; }
    /// The address; null when it is a text.
    void const* address() const noexcept { return address_; }

private:
    std::string_view text_;
    void const* address_;
    bool isText_;
};

/// What a sink is told about one error. The views live as long as the call.
struct ErrorReport {
    /// The catalogue's name.
    std::string_view type;
    /// The error's number in the catalogue.
    int number;
    /// The formatted message.
    std::string_view reason;
    /// @{
    /// Source position: a path within the source tree, and a line.
    std::string_view file;
    int line;
    /// @}
};

/// Reports errors: formats the message once, hands it to the process-wide sink and keeps it as the
/// calling thread's latest error (`ErrorStorage`).
///
/// It decides nothing: the caller goes on and returns its failure value. Any thread may report and
/// may replace the sink; a sink is called on the reporting thread, under no lock, and possibly by
/// several threads at once. What a sink reports itself goes to the default sink. A report never
/// throws, never fails and leaves `errno` as it was: without memory for the message, the
/// unformatted text of the catalogue stands in; what a sink throws is dropped.
///
///     zel::ErrorOutput("src/core/datatypes/Path", 64, true)(
///         kova::errors::Error, kova::errors::RequestFailed, "no such device");
class ZEL_API ErrorOutput {
public:
    /// What takes the reports.
    using Sink = std::function<void(const ErrorReport&)>;

    /// Takes the source position of the report; `file` must outlive the thread's latest error (a
    /// literal does). With `keep` false the report goes to the sink only and the thread's latest
    /// error stays as it was.
    ErrorOutput(char const* file, int line, bool keep) noexcept
        : file_(file), line_(line), keep_(keep) {}

    /// Reports the error `number` of the catalogue `type`. Each "%s" takes a text, each "%p" an
    /// address; an argument that is missing or of the other kind shows as "?", one too many is
    /// ignored. A number outside the catalogue is reported as "unknown error".
    template <typename... Arguments>
    void operator()(const ErrorType& type, int number, const Arguments&... arguments) const {
        const ErrorArgument list[] = {ErrorArgument(arguments)..., ErrorArgument("")};
        report(type, number, list, sizeof...(Arguments));
    }

    /// Replaces the process-wide sink and returns the former one. An empty sink restores the
    /// default, one line on standard error, "FILE:LINE: TYPE NUMBER: REASON", in which control
    /// characters show as blanks. A report in flight on another thread may still reach the former
    /// sink after this returned.
    static Sink setSink(Sink sink);

private:
    void report(const ErrorType& type, int number, ErrorArgument const* arguments,
                std::size_t count) const noexcept;

    char const* file_;
    int line_;
    bool keep_;
};

}  // namespace zel
