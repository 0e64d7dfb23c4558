#pragma once

#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "kova/core/IKovaApi.h"
#include "kova/core/Payload.h"
#include "kova/core/Request.h"
#include "kova/core/Response.h"
#include "kova/core/response_handlers.h"
#include "util/config/Scalars.h"

namespace kova::test {

/// A service with the same answers in every release. It answers during the call.
class SampleService final : public IKovaApi {
public:
    void* actionRequest(const Request& request,
                        std::unique_ptr<IResponseHandler<Response>>&& handler) override {
        const auto owned = std::move(handler);
        const std::string& path = request.getPath();
        if (path == "/nowhere") {
            owned->onError(Response::createErrorResponse(404, "no state here."));
            return UNDEFINED_REQUEST_HANDLE;
        }
        if (path == "/values") {
            for (const char digit : {'1', '2', '3'}) {
                Response value(299, Payload::createFromJSON(std::string(1, digit)));
                value.add2header("digit", new util::config::ValueInt(digit));
                owned->onNext(value);
            }
        } else if (path == "/large") {
            owned->onNext(Response(200, Payload::createFromString(std::string(17000, 'x'))));
        } else if (path != "/empty") {
            owned->onNext(Response(200, request.getPayload()));
        }
        owned->onCompleted();
        return UNDEFINED_REQUEST_HANDLE;
    }
    void cancelRequest(void*) override {}
};

/// Returns the requests of a recorded connection, in their order. A new one comes last, so that
/// earlier recordings are the begin of later ones.
inline std::vector<Request> sampleRequests() {
    std::vector<Request> requests;
    requests.emplace_back("retrieve", "/empty");
    requests.emplace_back("retrieve", "/nowhere");
    requests.emplace_back("retrieve", "/values");
    requests.emplace_back("update", "/json", Payload::createFromJSON(R"({"level":55,"on":true})"));
    requests.emplace_back("update", "/text", Payload::createFromString("\xc3\xa4 and \x01"));
    requests.emplace_back("invoke", "/none");
    requests.back().setMimeType("application/json");
    requests.emplace_back("retrieve", "/large");
    return requests;
}

/// Returns all parts of an answer as text.
inline std::string textOf(const Response& response) {
    return response.toString() + " mimeType='" + response.getPayload().getMimeType() + "'";
}

/// The events of one request, as texts.
class Events {
public:
    /// Sends a request to a service.
    Events(IKovaApi& service, const Request& request) {
        auto ended = std::make_shared<std::promise<std::vector<std::string>>>();
        auto events = std::make_shared<std::vector<std::string>>();
        result_ = ended->get_future();
        const auto end = [ended, events](std::string last) {
            events->push_back(std::move(last));
            ended->set_value(*events);
        };
        service.actionRequest(request,
                              std::make_unique<responsehandlers::FuncResponseHandler<Response>>(
                                  [events](const Response& value) {
                                      events->push_back("next " + textOf(value));
                                      return false;
                                  },
                                  [end](const Response& error) { end("error " + textOf(error)); },
                                  [end] { end("completed"); }));
    }
    /// Waits for the end, and returns all events; nothing if no end arrives for 20 s.
    std::vector<std::string> wait() {
        if (result_.wait_for(std::chrono::seconds(20)) != std::future_status::ready) {
            return {};
        }
        return result_.get();
    }

private:
    std::future<std::vector<std::string>> result_;
};

}  // namespace kova::test
