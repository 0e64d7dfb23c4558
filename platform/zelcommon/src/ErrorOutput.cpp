#include "zel/ErrorOutput.h"

#include <fmt/format.h>

#include <cstdio>
#include <utility>

#include "ReplaceableSink.h"
#include "StandardError.h"
#include "zel/ErrorStorage.h"

namespace zel {

namespace {

void writeReport(const ErrorReport& report) {
    writeLine(fmt::format("{}:{}: {} {}: {}", report.file, report.line, report.type, report.number,
                          report.reason));
}

// Never destroyed: other static objects may report while the process ends.
ReplaceableSink<ErrorReport>& sink() {
    static auto* const instance = new ReplaceableSink<ErrorReport>(writeReport);
    return *instance;
}

void appendArgument(std::string& out, char field, ErrorArgument const* argument) {
    if (argument == nullptr || argument->isText() != (field == 's')) {
        out.push_back('?');
    } else if (argument->isText()) {
        out.append(argument->text());
    } else {
        // Prints with the C library, as traces do. A null pointer becomes "(nil)".
        char text[32];
        const int size = std::snprintf(text, sizeof(text), "%p", argument->address());
        out.append(text, static_cast<std::size_t>(size));
    }
}

// Formats a message of a catalogue: replaces "%s", "%p" and "%%", and copies everything else
// verbatim.
std::string format(std::string_view text, ErrorArgument const* arguments, std::size_t count) {
    std::string out;
    std::size_t next = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char field = i + 1 < text.size() ? text[i + 1] : '\0';
        if (text[i] != '%' || (field != 's' && field != 'p' && field != '%')) {
            out.push_back(text[i]);
            continue;
        }
        ++i;
        if (field == '%') {
            out.push_back('%');
        } else {
            appendArgument(out, field, next < count ? arguments + next : nullptr);
            ++next;
        }
    }
    return out;
}

}  // namespace

ErrorOutput::Sink ErrorOutput::setSink(Sink newSink) {
    return sink().replace(std::move(newSink));
}

void ErrorOutput::report(const ErrorType& type, int number, ErrorArgument const* arguments,
                         std::size_t count) const noexcept {
    ErrorID const* const row = type.find(number);
    char const* const text = row != nullptr ? row->format : "unknown error";
    std::string formatted;
    std::string_view reason = text;
    try {
        formatted = format(text, arguments, count);
        reason = formatted;
    } catch (...) {
        // If memory is exhausted, report the unformatted text of the catalogue.
    }
    try {
        sink().call({type.name(), number, reason, file_, line_});
    } catch (...) {
        // An exception of the sink must not reach the code that reports an error.
    }
    // The error is stored last, so that errors which the sink itself reports do not replace it.
    if (keep_) {
        ErrorStorage::current().keep(type, number, file_, line_, reason);
    }
}

void detail::report(const ErrorOutput& output, const ErrorType& type, int number,
                    ErrorArgument const* arguments, std::size_t count) noexcept {
    output.report(type, number, arguments, count);
}

}  // namespace zel
