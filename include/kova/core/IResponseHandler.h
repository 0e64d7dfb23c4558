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

    /// Receives a value. Returns true if the receiver wants no further values. The request is then
    /// still pending: the sender must call `onCompleted` or `onError` before it destroys the
    /// handler. Otherwise a composed service keeps the request in its table of pending requests.
    /// Neither the caller nor `shutdown` can then cancel a later request whose handler has the same
    /// address.
    virtual bool onNext(const T& value) = 0;
    /// Receives the failure of the request, and terminates it. The error is a `Response` for every
    /// `T`.
    virtual void onError(const Response& error) = 0;
    /// Receives the completion of the request, and terminates it.
    virtual void onCompleted() = 0;
};

}  // namespace kova
