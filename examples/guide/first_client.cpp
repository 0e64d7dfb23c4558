// A client that sends requests to a service and waits for the response.
#include <future>
#include <iostream>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "kova/core/GenericObject.h"
#include "kova/core/KovaException.h"
#include "kova/core/MimeTypes.h"
#include "kova/core/RootAccessor.h"
#include "kova/core/StaticComposedKovaService.h"
#include "kova/core/response_handlers.h"
#include "util/config/Scalars.h"

using kova::Request;
using kova::Response;
using Values = std::vector<Response>;

// Collects the response to one request. A request that ends without an event, because it was
// refused or cancelled, destroys the collector and its promise; `get` then throws
// std::future_error.
class Collector : public kova::IResponseHandler<Response> {
public:
    std::future<Values> future() { return answer_.get_future(); }

    bool onNext(const Response& value) override {
        values_.push_back(value);
        return false;
    }
    void onError(const Response& error) override {
        answer_.set_exception(std::make_exception_ptr(kova::KovaException(error)));
    }
    void onCompleted() override { answer_.set_value(std::move(values_)); }

private:
    Values values_;
    std::promise<Values> answer_;
};

Values ask(kova::IKovaApi& service, const Request& request) {
    std::future<Values> answer;
    {
        auto collector = std::make_unique<Collector>();
        answer = collector->future();
        service.actionRequest(request, std::move(collector));
    }
    return answer.get();
}

double celsius(const Response& response) {
    const std::unique_ptr<util::config::Value> tree(
        kova::Payload::createConfigFrom(response.getPayload()));
    double value = 0;
    if (tree == nullptr || (*tree)["celsius"].get(value)) {
        throw std::runtime_error("no temperature in " + response.toString());
    }
    return value;
}

void show(kova::IKovaApi& service, const std::string& path) {
    Request request("retrieve", path);
    request.setMimeType(kova::mimetypes::JSON);
    try {
        const double degrees = celsius(ask(service, request).at(0));
        std::cout << path << ": " << degrees << " degrees\n";
    } catch (const kova::KovaException& error) {
        std::cout << path << ": refused with " << error.getErrorCode() << ", " << error.what()
                  << '\n';
    } catch (const std::future_error&) {
        std::cout << path << ": no answer\n";
    }
}

// The resource handler of the service: a thermometer.
class Thermometer : public kova::IResourceHandler {
    void* actionRequest(const Request& /*request*/,
                        std::unique_ptr<kova::IResponseHandler<Response>>&& handler,
                        const std::string& /*path*/) override {
        const kova::GenericObject reading{{"celsius", new util::config::ValueFloat(21.5)}};
        handler->onNext({200, kova::Payload::createFromConfig(reading)});
        handler->onCompleted();
        return kova::IKovaApi::UNDEFINED_REQUEST_HANDLE;
    }
    void cancelRequest(void* /*handle*/) override {}
};

int main() {
    kova::servicecomp::overrideMimeTypeFunc(
        [](const Request&) { return kova::mimetypes::JSON_TYPE; });
    std::map<std::string, std::unique_ptr<kova::IResourceHandler>> handlers;
    handlers["/room/temperature"] = std::make_unique<Thermometer>();
    kova::StaticComposedKovaService service(std::move(handlers));

    using Names = std::vector<std::string>;
    kova::RootAccessor root(&service, kova::mimetypes::JSON_TYPE, "/thermometer");
    root.trackResources(std::make_shared<kova::responsehandlers::FuncResponseHandler<Names>>(
        [](const Names& names) {
            std::cout << "resources: " << names.size() << ", the first is " << names.at(0) << '\n';
            return false;
        },
        [](const Response& error) { std::cout << error.getErrorMessageWithCode() << '\n'; },
        [] { std::cout << "that is all\n"; }));

    show(service, "/room/temperature");
    show(service, "/attic/temperature");
    service.shutdown();
    show(service, "/room/temperature");
}
