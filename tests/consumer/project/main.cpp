// Uses a service, a client, a payload and an exception, so that every layer of kova is exercised
// and virtual calls and type information work across the boundary between the libraries and this
// program.
#include <exception>
#include <iostream>
#include <map>
#include <memory>
#include <string>

#include "kova/core/KovaException.h"
#include "kova/core/MimeTypes.h"
#include "kova/core/StaticComposedKovaService.h"
#include "kova/core/response_handlers.h"

namespace {

using Handler = std::unique_ptr<kova::IResponseHandler<kova::Response>>;
using Printer = kova::responsehandlers::FuncResponseHandler<kova::Response>;

class Echo : public kova::IResourceHandler {
    void* actionRequest(const kova::Request& request, Handler&& handler,
                        const std::string& path) override {
        handler->onNext({200, kova::Payload::createFromString(request.getCommand() + ' ' + path)});
        handler->onCompleted();
        return kova::IKovaApi::UNDEFINED_REQUEST_HANDLE;
    }
    void cancelRequest(void* /*handle*/) override {}
};

void ask(kova::IKovaApi& service, const std::string& path) {
    service.actionRequest(kova::Request("retrieve", path),
                          std::make_unique<Printer>(
                              [](const kova::Response& value) {
                                  std::cout << value.toString() << '\n';
                                  return false;
                              },
                              [](const kova::Response& error) {
                                  try {
                                      throw kova::KovaException(error);
                                  } catch (const std::exception& exception) {
                                      std::cout << exception.what() << '\n';
                                  }
                              },
                              [] { std::cout << "completed\n"; }));
}

}  // namespace

int main() {
    kova::servicecomp::overrideMimeTypeFunc(
        [](const kova::Request&) { return kova::mimetypes::JSON_TYPE; });
    std::map<std::string, std::unique_ptr<kova::IResourceHandler>> handlers;
    handlers["/echo"] = std::make_unique<Echo>();
    kova::StaticComposedKovaService service(std::move(handlers));
    ask(service, "/");
    ask(service, "/echo/one");
    ask(service, "/none");
    service.shutdown();
}
