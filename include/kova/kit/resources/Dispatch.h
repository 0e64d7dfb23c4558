#pragma once

#include <charconv>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <system_error>
#include <type_traits>

#include "kova/core/IResponseHandler.h"
#include "kova/core/Response.h"
#include "kova/kit/Answer.h"
#include "kova/kit/Ask.h"
#include "kova/kit/Export.h"
#include "kova/kit/Job.h"
#include "kova/kit/Reply.h"
#include "kova/kit/Values.h"

namespace kova::kit::detail {

class ExchangeTable;

/// A request that is passed to the function of a route, together with the way to answer it.
class KOVA_KIT_API Dispatch {
public:
    /// The parts of the path that match the parameters of the template.
    struct Captures {
        std::string_view const* first = nullptr;
        std::size_t count = 0;
    };
    /// Creates a request that is answered through `handler`. If the answer comes later, an
    /// `Exchange` in `table` owns the handler. `format` and `table` must outlive the object.
    Dispatch(const Ask& ask, Captures captures, const std::string& format,
             std::unique_ptr<IResponseHandler<Response>> handler,
             const std::shared_ptr<ExchangeTable>& table) noexcept;
    /// Creates a request of a job. It is answered through `exchange`.
    Dispatch(const Ask& ask, Captures captures, const std::string& format,
             std::shared_ptr<Exchange> exchange, Job& job) noexcept;
    ~Dispatch();
    Dispatch(const Dispatch&) = delete;
    Dispatch& operator=(const Dispatch&) = delete;

    const Ask& ask() const noexcept { return *ask_; }
    std::size_t captures() const noexcept { return captures_.count; }
    std::string_view capture(std::size_t index) const noexcept { return captures_.first[index]; }
    const Payload& body() const noexcept { return ask_->request().getPayload(); }
    /// The mime type of the answer.
    const std::string& format() const noexcept { return format_; }
    /// Returns the job. Undefined if the route has no worker.
    Job& job() const noexcept { return *job_; }

    /// @{
    /// Answers the request. Only the first answer is sent. The request must not be used afterwards.
    void answer(unsigned short code, const Result<Payload>& value) noexcept;
    void respond(const Response& response) noexcept;
    void done() noexcept;
    void fail(const Error& error) noexcept;
    /// @}
    /// Returns the reply of a request that is answered later. Afterwards `ask` refers to a copy of
    /// the request, because the client may destroy the original when the answer arrives.
    template <typename R>
    R defer() {
        return R(exchangeForLater(), format_);
    }

    /// Returns the exchange of a request that is answered later, or null.
    std::shared_ptr<Exchange> takeExchange() noexcept { return std::move(exchange_); }

    /// Returns the exchange of a request that is answered later.
    std::shared_ptr<Exchange> exchangeForLater();

private:
    struct Later;

    Ask const* ask_;
    const Captures captures_;
    const std::string& format_;
    std::unique_ptr<IResponseHandler<Response>> handler_;
    std::shared_ptr<ExchangeTable> const* table_ = nullptr;
    std::shared_ptr<Exchange> exchange_;
    std::unique_ptr<Later> later_;
    Job* const job_;
};

/// The kind of text that a parameter of a function accepts from a path.
enum class ArgumentKind : unsigned char { none, unsignedInteger, signedInteger, text };

template <typename T>
constexpr ArgumentKind argumentKind() noexcept {
    if constexpr (std::is_same_v<T, std::string> || std::is_same_v<T, std::string_view>) {
        return ArgumentKind::text;
    } else if constexpr (!std::is_integral_v<T> || std::is_same_v<T, bool>) {
        return ArgumentKind::none;
    } else if constexpr (std::is_unsigned_v<T>) {
        return ArgumentKind::unsignedInteger;
    } else {
        return ArgumentKind::signedInteger;
    }
}

/// Reads an argument from the path. If a number does not fit the type, answers the request with 404
/// and returns false.
template <typename T>
bool readCapture(Dispatch& dispatch, std::size_t index, T& out) {
    const std::string_view text = dispatch.capture(index);
    if constexpr (argumentKind<T>() == ArgumentKind::text) {
        out = text;
        return true;
    } else if constexpr (argumentKind<T>() != ArgumentKind::none) {
        const auto read = std::from_chars(text.data(), text.data() + text.size(), out);
        if (read.ec == std::errc() && read.ptr == text.data() + text.size()) {
            return true;
        }
        dispatch.fail(notFound(dispatch.ask()));
        return false;
    } else {
        return false;  // not reached: adding such a route throws
    }
}

/// Reads an argument of the function. Arguments for parameters of the template are read from the
/// path. The argument after these is read from the body.
template <typename T>
bool readArgument(Dispatch& dispatch, std::size_t index, T& out) {
    if (index < dispatch.captures()) {
        return readCapture(dispatch, index, out);
    }
    if constexpr (!std::is_same_v<T, std::string_view>) {
        Result<T> value = fromPayload<T>(dispatch.body());
        if (value) {
            out = *std::move(value);
            return true;
        }
        dispatch.fail(value.error());
    }
    return false;
}

/// @{
/// Answers the request with the result of a function.
template <typename T>
void respondWith(Dispatch& dispatch, const T& value) {
    if constexpr (std::is_convertible_v<T, char const*>) {
        dispatch.answer(statuscodes::OK, toPayload(std::string(value), dispatch.format()));
    } else {
        dispatch.answer(statuscodes::OK, toPayload(value, dispatch.format()));
    }
}
template <typename T>
void respondWith(Dispatch& dispatch, const Answered<T>& answered) {
    dispatch.answer(answered.code, toPayload(answered.value, dispatch.format()));
}
template <typename T>
void respondWith(Dispatch& dispatch, const Result<T>& result) {
    result ? respondWith(dispatch, *result) : dispatch.fail(result.error());
}
inline void respondWith(Dispatch& dispatch, const Result<void>& result) {
    result ? dispatch.done() : dispatch.fail(result.error());
}
inline void respondWith(Dispatch& dispatch, const Error& error) {
    dispatch.fail(error);
}
inline void respondWith(Dispatch& dispatch, const Response& response) {
    dispatch.respond(response);
}
/// @}

}  // namespace kova::kit::detail
