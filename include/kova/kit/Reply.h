#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "kova/core/StatusCodes.h"
#include "kova/kit/Export.h"
#include "kova/kit/Result.h"
#include "kova/kit/Values.h"

namespace kova::kit {

namespace detail {
class Exchange;
}

/// The part of a `Reply` that does not depend on the type of its value.
///
/// It can be moved, so that a function can pass it to another thread. Only one thread at a time may
/// use it; the client may cancel the request meanwhile. If a reply is destroyed before it has ended
/// the request, the request is answered with 500.
class KOVA_KIT_API ReplyBase {
public:
    /// Used only by the kit.
    ReplyBase(std::shared_ptr<detail::Exchange> exchange, std::string format) noexcept;
    /// @{
    /// Moves the reply. Afterwards `other` is closed.
    ReplyBase(ReplyBase&& other) noexcept;
    ReplyBase& operator=(ReplyBase&& other) noexcept;
    /// @}
    /// Answers the request with 500 if it has no end yet.
    ~ReplyBase();

    /// Ends the request with an error. Returns false if the request had already ended or was
    /// cancelled.
    bool fail(const Error& error) noexcept;
    /// Returns whether the request has no end yet and was not cancelled.
    bool isOpen() const noexcept;
    /// Sets the function that is called once when the client cancels the request or wants no
    /// further value, or when the resource closes. If this has already happened, the function is
    /// called at once. The function runs on the thread that cancels the request. An exception that
    /// leaves it ends the process.
    void onCancel(std::function<void()> function);

    /// Returns the mime type in which the values are encoded.
    const std::string& format() const noexcept { return format_; }

protected:
    /// Sends a value. If `value` is an error, ends the request with it. Returns false if the client
    /// wants no further value.
    bool send(unsigned short code, const Result<Payload>& value) noexcept;
    /// Sends a value and ends the request. Returns false if the request had already ended or was
    /// cancelled.
    bool sendLast(unsigned short code, const Result<Payload>& value) noexcept;
    /// Completes the request. Returns false if the request had already ended or was cancelled.
    bool complete() noexcept;

private:
    std::shared_ptr<detail::Exchange> exchange_;
    std::string format_;
};

/// The object with which a function answers a request later, from any thread.
///
///     const auto measured = [](kova::kit::Reply<double> reply, double celsius) {
///         return reply.value(celsius);  // completes the request
///     };
template <typename T>
class Reply : public ReplyBase {
public:
    using ReplyBase::ReplyBase;

    /// Sends the value and completes the request. Returns false if the request had already ended or
    /// was cancelled.
    bool value(const T& value, unsigned short code = statuscodes::OK) {
        return sendLast(code, toPayload(value, format()));
    }
    /// Sends a progress value (code 298). Returns false if the client wants no further value.
    template <typename Progress>
    bool progress(const Progress& value) {
        return send(statuscodes::MULTI_RESPONSE, toPayload(value, format()));
    }
};

/// The object with which a function completes a request later, without a value.
template <>
class Reply<void> : public ReplyBase {
public:
    using ReplyBase::ReplyBase;

    /// Completes the request. Returns false if the request had already ended or was cancelled.
    bool done() noexcept { return complete(); }
    /// Sends a progress value (code 298). Returns false if the client wants no further value.
    template <typename Progress>
    bool progress(const Progress& value) {
        return send(statuscodes::MULTI_RESPONSE, toPayload(value, format()));
    }
};

}  // namespace kova::kit
