// A resource that sends a stream of values until the service or the client ends it.
#include <cstdint>
#include <iostream>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "kova/core/StaticComposedKovaService.h"
#include "kova/core/StatusCodes.h"
#include "kova/core/response_handlers.h"

using kova::Request;
using kova::Response;
using Handler = std::unique_ptr<kova::IResponseHandler<Response>>;

class Speed : public kova::IResourceHandler {
public:
    void* actionRequest(const Request& /*request*/, Handler&& handler,
                        const std::string& /*path*/) override {
        const std::lock_guard<std::mutex> guard(mutex_);
        // A handle is a number that is never dereferenced.
        void* const handle =
            reinterpret_cast<void*>(++lastHandle_);  // NOLINT(performance-no-int-to-ptr)
        watchers_.emplace(handle, std::move(handler));
        return handle;  // the request stays pending
    }
    void cancelRequest(void* handle) override {
        std::cout << "  the service drops a watcher\n";
        drop(handle);
    }

    // Sends a value to every watcher. Must be called by one thread at a time.
    void publish(int value) {
        const Response response(kova::statuscodes::STREAM,
                                kova::Payload::createFromJSON(std::to_string(value)));
        for (const auto& [handle, watcher] : watchers()) {
            if (watcher->onNext(response)) {
                drop(handle);
                watcher->onCompleted();
            }
        }
    }

private:
    using Watchers = std::map<void*, std::shared_ptr<kova::IResponseHandler<Response>>>;

    // Returns a copy, because a watcher is called without the lock: it may cancel or send requests.
    Watchers watchers() {
        const std::lock_guard<std::mutex> guard(mutex_);
        return watchers_;
    }
    void drop(void* handle) {
        Watchers::node_type dropped;  // destroyed after the lock is released
        const std::lock_guard<std::mutex> guard(mutex_);
        dropped = watchers_.extract(handle);
    }

    std::mutex mutex_;
    Watchers watchers_;
    std::uintptr_t lastHandle_ = 0;  // handles are never reused
};

void* watch(kova::IKovaApi& service, const std::string& who, int most) {
    using Printer = kova::responsehandlers::FuncResponseHandler<Response>;
    const auto next = [who, most, count = 0](const Response& value) mutable {
        std::cout << "  " << who << ": " << value.toString() << '\n';
        return ++count == most;  // true stops the values
    };
    const auto error = [who](const Response& response) {
        std::cout << "  " << who << ": " << response.getErrorMessageWithCode() << '\n';
    };
    const auto completed = [who] { std::cout << "  " << who << ": completed\n"; };
    return service.actionRequest(Request("retrieve", "/speed"),
                                 std::make_unique<Printer>(next, error, completed));
}

int main() {
    auto owned = std::make_unique<Speed>();
    Speed& speed = *owned;
    std::map<std::string, std::unique_ptr<kova::IResourceHandler>> handlers;
    handlers["/speed"] = std::move(owned);
    kova::StaticComposedKovaService service(std::move(handlers));

    watch(service, "display", 2);
    void* const logger = watch(service, "logger", 100);
    watch(service, "recorder", 100);

    for (const int value : {48, 50, 51}) {
        std::cout << "the speed is " << value << '\n';
        speed.publish(value);
    }
    std::cout << "the logger cancels\n";
    service.cancelRequest(logger);
    std::cout << "the speed is 52\n";
    speed.publish(52);
    std::cout << "the service shuts down\n";
    service.shutdown();
}
