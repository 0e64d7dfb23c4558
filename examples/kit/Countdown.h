#pragma once

#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "kova/core/IKovaApi.h"

/// A service that sends the stream 3, 2, 1 for each request, from a separate thread.
class Countdown : public kova::IKovaApi {
public:
    using Handler = std::unique_ptr<kova::IResponseHandler<kova::Response>>;

    ~Countdown() override {
        for (std::thread& thread : threads_) {
            thread.join();
        }
    }

    void* actionRequest(const kova::Request&, Handler&& handler) override {
        threads_.emplace_back([handler = std::move(handler)] {
            for (const int value : {3, 2, 1}) {
                handler->onNext({299, kova::Payload::createFromJSON(std::to_string(value))});
            }
            handler->onCompleted();
        });
        return UNDEFINED_REQUEST_HANDLE;
    }
    void cancelRequest(void*) override {}

private:
    std::vector<std::thread> threads_;
};
