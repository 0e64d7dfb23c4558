#include "foreign/Page.h"

#include <algorithm>
#include <memory>
#include <string>

#include "foreign/Replies.h"

namespace kova::http::detail {

namespace {

constexpr std::string_view FOLDER = "/.kova/page/";
constexpr std::string_view HTML_TYPE = "text/html";

// Scripts and styles come from the files alone, and scripts cannot turn texts into HTML.
constexpr char const* SECURITY_POLICY =
    "default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; img-src data:; "
    "base-uri 'none'; form-action 'none'; frame-ancestors 'none'; "
    "require-trusted-types-for 'script'; trusted-types 'none'";

bool isBelowFolder(std::string_view path) noexcept {
    return path.substr(0, FOLDER.size()) == FOLDER;
}

PageFile const* findFile(std::string_view path) {
    const auto* const found =
        std::find_if(std::begin(PAGE_FILES), std::end(PAGE_FILES),
                     [path](const PageFile& file) { return file.path == path; });
    return found == std::end(PAGE_FILES) ? nullptr : found;
}

// Returns whether the field `If-None-Match` (RFC 9110, section 13.1.2) has the entity tag.
bool hasTag(std::string_view list, std::string_view entityTag) {
    while (!list.empty()) {
        const std::size_t end = std::min(list.find(','), list.size());
        std::string_view item = trimmed(list.substr(0, end));
        if (item.substr(0, 2) == "W/") {
            item.remove_prefix(2);
        }
        if (item == entityTag || item == "*") {
            return true;
        }
        list.remove_prefix(std::min(end + 1, list.size()));
    }
    return false;
}

HttpReply toReply(const PageFile& file, const Fields& fields) {
    HttpReply reply;
    reply.fields = {{"ETag", std::string(file.entityTag)},
                    {"Cache-Control", "no-cache"},
                    {"Vary", "Accept"},
                    {"X-Content-Type-Options", "nosniff"},
                    {"Referrer-Policy", "no-referrer"},
                    {"Content-Security-Policy", SECURITY_POLICY}};
    if (hasTag(findField(fields, "If-None-Match").value_or(""), file.entityTag)) {
        reply.status = statuscodes::NOT_MODIFIED;
        return reply;
    }
    const std::string type = std::string(file.mediaType) + "; charset=utf-8";
    reply.fields.push_back({"Content-Type", type});
    reply.fields.push_back({"Content-Encoding", "gzip"});
    reply.body = makePayload(std::make_shared<const std::string>(file.bytes), type);
    return reply;
}

}  // namespace

std::optional<HttpReply> toPageReply(const HttpRequest& request) {
    if (request.method != "GET" && request.method != "HEAD") {
        return std::nullopt;
    }
    const kit::Result<Target> target = Target::parse(request.target);
    if (!target || target->resource.servicePath || !target->watches.empty()) {
        return std::nullopt;
    }
    const std::string& path = target->resource.path;
    if (path == "/" && Accept(joinedField(request.fields, "Accept")).prefers(HTML_TYPE)) {
        return toReply(PAGE_FILES[0], request.fields);
    }
    if (!isBelowFolder(path)) {
        return std::nullopt;
    }
    if (PageFile const* const file = findFile(path)) {
        return toReply(*file, request.fields);
    }
    return toReply(kit::Error{statuscodes::NOT_FOUND, "the page has no file with this path"});
}

}  // namespace kova::http::detail
