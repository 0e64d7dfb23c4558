#pragma once

namespace kova {

class Response;

/// Receives the answer to one request: any number of `onNext`, then at most one of `onError` and
/// `onCompleted`, and nothing after that.
///
/// The sender of the events owns the handler through a `std::unique_ptr` and sends the events from
/// one thread at a time. The order of the virtual operations is part of the contract.
template <typename T>
class IResponseHandler {
public:
    virtual ~IResponseHandler() = default;

    /// Receives a value. Returns true when the receiver wants no further values. The request then
    /// still is pending: the sender ends it with `onCompleted` or `onError` before it destroys the
    /// handler. Otherwise a composed service keeps the entry of the request, and a later request
    /// whose handler has the same address can neither be cancelled nor is it cancelled by
    /// `shutdown`.
    virtual bool onNext(const T& value) = 0;
    /// Receives the failure of the request, and terminates it. An error is a response, whatever `T`
    /// is.
    virtual void onError(const Response& error) = 0;
    /// Receives the completion of the request, and terminates it.
    virtual void onCompleted() = 0;
};

}  // namespace kova
