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
/// use it; the client may cancel the request meanwhile. A reply that is destroyed without an end
/// answers 500.
class KOVA_KIT_API ReplyBase {
public:
    /// Used only by the kit.
    ReplyBase(std::shared_ptr<detail::Exchange> exchange, std::string format) noexcept;
    /// @{
    /// The reply that was moved from is closed.
    ReplyBase(ReplyBase&& other) noexcept;
    ReplyBase& operator=(ReplyBase&& other) noexcept;
    /// @}
    /// Answers 500 if there was no end.
    ~ReplyBase();

    /// Ends the request with an error. Returns false if it has ended or was cancelled before.
    bool fail(const Error& error) noexcept;
    /// Returns whether the request has no end yet and was not cancelled.
    bool isOpen() const noexcept;
    /// Sets the function that is called once when the client cancels the request or wants no
    /// further value, or when the resource closes; at once if that has happened. It is called on
    /// the thread that cancels. An exception that leaves it ends the process.
    void onCancel(std::function<void()> function);

    /// Returns the mime type of the values.
    const std::string& format() const noexcept { return format_; }

protected:
    /// Sends a value; an error ends the request. Returns false if no further value is wanted.
    bool send(unsigned short code, const Result<Payload>& value) noexcept;
    /// Sends a value and ends the request. Returns false if the request has ended or was cancelled
    /// before.
    bool sendLast(unsigned short code, const Result<Payload>& value) noexcept;
    /// Completes the request. Returns false if it has ended or was cancelled before.
    bool complete() noexcept;

private:
    std::shared_ptr<detail::Exchange> exchange_;
    std::string format_;
};

/// The answer to a request that a function gives later, from any thread.
///
///     const auto measured = [](kova::kit::Reply<double> reply, double celsius) {
///         return reply.value(celsius);  // completes the request
///     };
template <typename T>
class Reply : public ReplyBase {
public:
    using ReplyBase::ReplyBase;

    /// Sends the value and completes the request. Returns false if the request has ended or was
    /// cancelled before.
    bool value(const T& value, unsigned short code = statuscodes::OK) {
        return sendLast(code, toPayload(value, format()));
    }
    /// Sends a value that is not the last, with 298. Returns false if no further value is wanted.
    template <typename Progress>
    bool progress(const Progress& value) {
        return send(statuscodes::MULTI_RESPONSE, toPayload(value, format()));
    }
};

/// The end of a request without a value that a function gives later.
template <>
class Reply<void> : public ReplyBase {
public:
    using ReplyBase::ReplyBase;

    /// Completes the request. Returns false if it has ended or was cancelled before.
    bool done() noexcept { return complete(); }
    /// Sends a value that is not the last, with 298. Returns false if no further value is wanted.
    template <typename Progress>
    bool progress(const Progress& value) {
        return send(statuscodes::MULTI_RESPONSE, toPayload(value, format()));
    }
};

}  // namespace kova::kit
