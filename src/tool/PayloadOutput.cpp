#include "PayloadOutput.h"

#include <optional>
#include <string>
#include <string_view>

#include "Report.h"
#include "Text.h"
#include "kova/core/StatusCodes.h"
#include "kova/kit/Describe.h"

namespace kova::tool {

namespace {

bool isText(const Payload& payload, const PayloadForm& form) {
    const std::string& type = payload.getMimeType();
    return type == mimetypes::JSON_TYPE || type == mimetypes::PLAIN_TEXT_TYPE ||
           type.compare(0, 5, "text/") == 0 || (type == mimetypes::AXOBIN_TYPE && !form.binary);
}

void printBytes(std::ostream& out, const Payload& payload) {
    out.write(reinterpret_cast<char const*>(payload.data()),
              static_cast<std::streamsize>(payload.size()));
}

ExitStatus printText(const Context& context, const Payload& payload) {
    const std::optional<std::string> text = kit::plainText(payload);
    if (!text) {
        printError(context, "the payload is not valid in the binary format",
                   "--raw prints its bytes, and 'kova decode' says where they are wrong");
        return FAILED;
    }
    context.out.stream << (context.out.isTerminal ? visible(*text, true) : *text);
    if (text->empty() || text->back() != '\n') {
        context.out.stream << '\n';
    }
    return DONE;
}

}  // namespace

ExitStatus printPayload(const Context& context, const Payload& payload, const PayloadForm& form) {
    if (payload.isEmpty()) {
        return DONE;
    }
    if (!form.raw && isText(payload, form)) {
        return printText(context, payload);
    }
    if (form.raw || !context.out.isTerminal) {
        printBytes(context.out.stream, payload);
        return DONE;
    }
    printError(context,
               "the payload has " + std::to_string(payload.size()) + " bytes of the type " +
                   payload.getMimeType() + ", which are not a text",
               "write '> FILE' behind the command to store them");
    return DONE;
}

void printHeader(const Context& context, const Response& response) {
    std::ostream& err = context.err.stream;
    const std::string code = std::to_string(response.getStatusCode()) + ' ' +
                             statuscodes::toString(response.getStatusCode());
    err << coloured(context.err, Colour::green, code) << '\n';
    if (response.getHeader().isDictionary()) {
        const auto header = kit::plainText(Payload::createFromConfig(response.getHeader()));
        err << "header: " << visible(header.value_or("")) << '\n';
    }
    if (!response.getPayload().isEmpty()) {
        err << "payload: " << visible(response.getPayload().getMimeType()) << ", "
            << response.getPayload().size() << " bytes\n";
    }
    err.flush();
}

}  // namespace kova::tool
