// Shows where errors are reported and how to enable the traces of a component.
#include <iostream>
#include <map>
#include <memory>
#include <string>

#include "kova/core/Errors.h"
#include "kova/core/StaticComposedKovaService.h"
#include "kova/core/response_handlers.h"
#include "kova/core/tracing.h"
#include "tracing/Channel.h"
#include "tracing/SharedChannelMap.h"
#include "zel/ErrorOutput.h"
#include "zel/ErrorStorage.h"

using kova::Request;
using kova::Response;

// A resource that always fails. It traces each request, reports the error to the log and sends an
// error response to the caller.
class Pump : public kova::IResourceHandler {
public:
    Pump()
        : channel_(kova::tracing::bindTraceChannel(
              "PUMP_" + kova::tracing::serviceToChannelPath("/cooling/pump"))) {}
    ~Pump() override { kova::tracing::releaseTraceChannel(channel_); }

    void* actionRequest(const Request& request,
                        std::unique_ptr<kova::IResponseHandler<Response>>&& handler,
                        const std::string& /*path*/) override {
        channel_->trace(1, "asked for '%s'", request.getPath().c_str());
        zel::ErrorOutput("examples/guide/errors_and_traces", __LINE__, true)(
            kova::errors::Error, kova::errors::PathNotConfigured, request.getPath());
        zel::ErrorStorage& latest = zel::ErrorStorage::current();
        handler->onError(Response::createErrorResponse(
            kova::errors::error2StatusCode(latest.number()), latest.reason().c_str()));
        latest.acknowledge();
        return kova::IKovaApi::UNDEFINED_REQUEST_HANDLE;
    }
    void cancelRequest(void* /*handle*/) override {}

private:
    tracing::Channel* channel_;
};

void ask(kova::IKovaApi& service, const std::string& path) {
    using Printer = kova::responsehandlers::FuncResponseHandler<Response>;
    const auto next = [](const Response&) { return false; };
    const auto error = [](const Response& response) {
        std::cout << "  answer: " << response.getErrorMessageWithCode() << '\n';
    };
    std::cout << "retrieve " << path << '\n';
    service.actionRequest(Request("retrieve", path), std::make_unique<Printer>(next, error, [] {}));
}

int main() {
    // Both sinks are process-wide. The reporting thread calls the sink, so a sink that writes to
    // its own file needs its own lock.
    zel::ErrorOutput::setSink([](const zel::ErrorReport& report) {
        std::cout << "  report: " << report.type << ' ' << report.number << ": " << report.reason
                  << '\n';
    });
    tracing::setSink([](const tracing::Message& message) {
        std::cout << "  trace:  " << message.channel << ' ' << message.level << ": " << message.text
                  << '\n';
    });

    std::map<std::string, std::unique_ptr<kova::IResourceHandler>> handlers;
    handlers["/cooling/pump"] = std::make_unique<Pump>();
    kova::StaticComposedKovaService service(std::move(handlers));

    ask(service, "/cooling/fan");
    ask(service, "/cooling/pump");

    tracing::SharedChannelMap::instance().setLevel("PUMP_*", 1);
    tracing::SharedChannelMap::instance().setLevel("KOVA_*", 3);
    std::cout << "with traces\n";
    ask(service, "/cooling/fan");
    ask(service, "/cooling/pump");
    service.shutdown();
}
