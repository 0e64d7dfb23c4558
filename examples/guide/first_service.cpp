// A service with one resource: a lamp that clients read and switch.
#include <atomic>
#include <iostream>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "kova/core/Commands.h"
#include "kova/core/MimeTypes.h"
#include "kova/core/StaticComposedKovaService.h"
#include "kova/core/StatusCodes.h"
#include "kova/core/response_handlers.h"

using kova::Payload;
using kova::Request;
using kova::Response;
using Handler = std::unique_ptr<kova::IResponseHandler<Response>>;

class Lamp : public kova::IResourceHandler {
public:
    void* actionRequest(const Request& request, Handler&& handler,
                        const std::string& path) override {
        const auto command = kova::commands::toId(request.getCommand());
        if (!path.empty()) {
            refuse(*handler, kova::statuscodes::NOT_FOUND,
                   "path '" + request.getPath() + "' not found");
        } else if (command == kova::commands::RETRIEVE_ID) {
            answer(*handler,
                   {kova::statuscodes::OK, Payload::createFromString(on_ ? "on" : "off")});
        } else if (command == kova::commands::UPDATE_ID) {
            update(*handler, request);
        } else {
            refuse(*handler, kova::statuscodes::BAD_REQUEST,
                   "command '" + request.getCommand() + "' not supported for path '" +
                       request.getPath() + "'");
        }
        return kova::IKovaApi::UNDEFINED_REQUEST_HANDLE;  // nothing stays pending
    }
    void cancelRequest(void* /*handle*/) override {}

private:
    void update(kova::IResponseHandler<Response>& handler, const Request& request) {
        const std::optional<std::string> text = textIn(request.getPayload());
        if (text != "on" && text != "off") {
            refuse(handler, kova::statuscodes::BAD_REQUEST,
                   "'" + request.getPath() + "' is on or off, not " +
                       (text ? "'" + *text + "'" : "a payload without plain text"));
            return;
        }
        on_ = text == "on";
        answer(handler, Response(kova::statuscodes::NO_CONTENT));
    }
    // Returns the text of a plain text payload, or nullopt for any other payload.
    static std::optional<std::string> textIn(const Payload& payload) {
        if (payload.getMimeType() != kova::mimetypes::PLAIN_TEXT_TYPE) {
            return std::nullopt;
        }
        std::string text;
        payload.getBlob().toString(text);
        return text;
    }
    static void answer(kova::IResponseHandler<Response>& handler, const Response& response) {
        handler.onNext(response);
        handler.onCompleted();
    }
    static void refuse(kova::IResponseHandler<Response>& handler, unsigned short code,
                       const std::string& reason) {
        handler.onError(Response::createErrorResponse(code, reason.c_str()));
    }

    std::atomic<bool> on_{false};  // several threads may send requests at the same time
};

void ask(kova::IKovaApi& service, const Request& request) {
    using Printer = kova::responsehandlers::FuncResponseHandler<Response>;
    const auto next = [](const Response& value) {
        std::cout << "  " << value.toString() << '\n';
        return false;  // true would stop the values
    };
    const auto error = [](const Response& response) {
        std::cout << "  " << response.getErrorMessageWithCode() << '\n';
    };
    const auto completed = [] { std::cout << "  completed\n"; };
    std::cout << request.getCommand() << ' ' << request.getPath() << '\n';
    service.actionRequest(request, std::make_unique<Printer>(next, error, completed));
}

int main() {
    kova::servicecomp::overrideMimeTypeFunc(
        [](const Request&) { return kova::mimetypes::JSON_TYPE; });
    std::map<std::string, std::unique_ptr<kova::IResourceHandler>> handlers;
    handlers["/lamp"] = std::make_unique<Lamp>();
    kova::StaticComposedKovaService service(std::move(handlers));

    ask(service, Request("retrieve", "/"));
    ask(service, Request("retrieve", "/lamp"));
    ask(service, Request("update", "/lamp", Payload::createFromString("on")));
    ask(service, Request("retrieve", "/lamp/"));
    ask(service, Request("update", "/lamp", Payload::createFromString("dim")));
    ask(service, Request("update", "/lamp"));
    ask(service, Request("delete", "/lamp"));
    ask(service, Request("retrieve", "/lamp/bulb"));
    service.shutdown();
}
