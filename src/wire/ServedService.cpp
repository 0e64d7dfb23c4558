#include "wire/ServedService.h"

#include <exception>
#include <new>

namespace kova::wire {

namespace {

// Short enough for a string without memory of its own.
constexpr char const* NO_MEMORY = "out of memory";

}  // namespace

kit::Result<void*> ServedService::send(const Request& request,
                                       std::unique_ptr<IResponseHandler<Response>> handler) {
    void* const handle = calls_.actionRequest(request, std::move(handler));
    if (!guard_.failure) {
        return handle;
    }
    calls_.cancelRequest(handle);
    return *std::exchange(guard_.failure, std::nullopt);
}

void* ServedService::actionRequest(const Request& request,
                                   std::unique_ptr<IResponseHandler<Response>>&& handler) {
    void* const handle = calls_.actionRequest(request, std::move(handler));
    guard_.failure.reset();
    return handle;
}

void* ServedService::Guard::actionRequest(const Request& request,
                                          std::unique_ptr<IResponseHandler<Response>>&& handler) {
    try {
        return service_.actionRequest(request, std::move(handler));
    } catch (const std::bad_alloc&) {
        failure = kit::Error{statuscodes::INTERNAL_SERVER_ERROR, NO_MEMORY};
    } catch (const std::exception& error) {
        failure = kit::Error{statuscodes::INTERNAL_SERVER_ERROR, error.what()};
    } catch (...) {
        failure = kit::Error{statuscodes::INTERNAL_SERVER_ERROR, "the service has thrown"};
    }
    if (handler) {
        handler->onError(failure->toResponse());
        handler.reset();
    }
    return UNDEFINED_REQUEST_HANDLE;
}

// An exception of the service is ignored here, because there is no request that could report it.
void ServedService::Guard::cancelRequest(void* handle) {
    try {
        service_.cancelRequest(handle);
    } catch (...) {  // NOLINT(bugprone-empty-catch)
    }
}

}  // namespace kova::wire
