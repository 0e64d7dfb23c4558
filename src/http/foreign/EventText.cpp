#include "foreign/EventText.h"

#include <optional>

#include "foreign/Accept.h"
#include "foreign/JsonText.h"
#include "foreign/Replies.h"
#include "kova/core/MimeTypes.h"
#include "zel/unicode/String.h"

namespace kova::http::detail {

namespace {

void begin(std::string& out, char const* event, std::string_view path) {
    out.append("event: ").append(event).append("\ndata: {");
    if (!path.empty()) {
        out += "\"path\":";
        appendQuoted(out, path);
        out += ',';
    }
}

// Ends the object, whose last member may be followed by a comma.
void end(std::string& out) {
    if (out.back() == ',') {
        out.pop_back();
    }
    out += "}\n\n";
}

void appendType(std::string& out, const std::string& mimeType) {
    out += ",\"type\":";
    appendQuoted(out, toMediaType(mimeType));
}

void appendPayload(std::string& out, const Payload& payload) {
    const std::string_view bytes = bytesOf(payload);
    const bool isJson = payload.getMimeType() == mimetypes::JSON_TYPE;
    if (isJson) {
        if (const std::optional<std::string> line = oneLine(bytes)) {
            out += ",\"value\":" + *line;
            return;
        }
    }
    appendType(out, payload.getMimeType());
    const bool isText = isJson || payload.getMimeType() == mimetypes::PLAIN_TEXT_TYPE;
    if (isText && zel::unicode::isUtf8(bytes)) {
        out += R"(,"text":)";
        appendQuoted(out, bytes);
    } else {
        out += R"(,"base64":")" + toBase64(bytes) + '"';
    }
}

}  // namespace

void appendNext(std::string& out, const Response& value, std::string_view path) {
    begin(out, "next", path);
    out += "\"status\":" + std::to_string(value.getStatusCode());
    const std::string tree = treeText(value);
    if (!tree.empty()) {
        out += ",\"header\":" + tree;
    }
    if (!value.getPayload().isEmpty()) {
        appendPayload(out, value.getPayload());
    }
    end(out);
}

void appendError(std::string& out, const Response& error, std::string_view path) {
    begin(out, "error", path);
    const std::string problem = problemText(problemStatus(error, Accept()), error);
    out += problem.substr(1, problem.size() - 2);
    end(out);
}

void appendCompleted(std::string& out, std::string_view path) {
    begin(out, "completed", path);
    end(out);
}

void appendDropped(std::string& out, std::string_view path) {
    begin(out, "dropped", path);
    end(out);
}

}  // namespace kova::http::detail
