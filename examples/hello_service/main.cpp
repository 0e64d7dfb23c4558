#include <iostream>
#include <map>
#include <memory>

#include "kova/core/MimeTypes.h"
#include "kova/core/StaticComposedKovaService.h"
#include "kova/core/response_handlers.h"

using Handler = std::unique_ptr<kova::IResponseHandler<kova::Response>>;
using Printer = kova::responsehandlers::FuncResponseHandler<kova::Response>;

class Greeter : public kova::IResourceHandler {
    void* actionRequest(const kova::Request&, Handler&& handler, const std::string& path) override {
        handler->onNext({200, kova::Payload::createFromString("Hello, " + path + "!")});
        handler->onCompleted();
        return kova::IKovaApi::UNDEFINED_REQUEST_HANDLE;  // nothing stays pending
    }
    void cancelRequest(void*) override {}
};

int main() {
    // Selects the mime type of the service root. Set it before creating a service: without it, a
    // request for "/" ends the process.
    kova::servicecomp::overrideMimeTypeFunc(
        [](const kova::Request&) { return kova::mimetypes::JSON_TYPE; });
    std::map<std::string, std::unique_ptr<kova::IResourceHandler>> handlers;
    handlers["/greeting"] = std::make_unique<Greeter>();
    kova::StaticComposedKovaService service(std::move(handlers));

    for (char const* path : {"/", "/greeting/world", "/nowhere"}) {
        service.actionRequest(kova::Request("retrieve", path),
                              std::make_unique<Printer>(
                                  [](const kova::Response& value) {
                                      std::cout << value.toString() << '\n';
                                      return false;  // true would stop the values
                                  },
                                  [](const kova::Response& error) {
                                      std::cout << error.getErrorMessageWithCode() << '\n';
                                  },
                                  [] { std::cout << "completed\n"; }));
    }
    service.shutdown();
}
