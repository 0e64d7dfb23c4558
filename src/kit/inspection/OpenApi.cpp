#include "inspection/OpenApi.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <optional>
#include <string_view>
#include <utility>

#include "inspection/Printable.h"
#include "inspection/SchemaPool.h"
#include "kova/core/MimeTypes.h"
#include "kova/kit/Command.h"
#include "kova/kit/Fields.h"
#include "kova/kit/Schema.h"
#include "resources/PathTemplate.h"

namespace kova::kit::detail {

namespace {

constexpr char const* EVENT_STREAM_TYPE = "text/event-stream";
constexpr char const* PROBLEM_TYPE = "application/problem+json";

// --- The objects of a document -------------------------------------------------------------------

// The body of an error response: a problem object (RFC 9457).
struct Problem {
    std::string type;
    std::string title;
    int status = 0;
    std::string detail;
    std::string instance;
};
KOVA_FIELDS(Problem, optional(type), optional(title), optional(status), optional(detail),
            optional(instance))

// A media type object of OpenAPI. The only member that is used is "schema".
using MediaType = std::map<std::string, Payload>;
using Content = std::map<std::string, MediaType>;

struct Parameter {
    std::string name;
    std::string in = "path";
    bool required = true;
    std::optional<std::string> description;
    Payload schema;
};
KOVA_FIELDS(Parameter, name, in, required, description, schema)

struct RequestBody {
    bool required = true;
    Content content;
};
KOVA_FIELDS(RequestBody, required, content)

struct Answer {
    std::string description;
    std::optional<Content> content;
};
KOVA_FIELDS(Answer, description, content)

struct Method {
    std::optional<std::vector<Parameter>> parameters;
    std::optional<RequestBody> requestBody;
    std::map<std::string, Answer> responses;
};
KOVA_FIELDS(Method, parameters, requestBody, responses)

struct Other {
    std::string command;
    std::string path;
};
KOVA_FIELDS(Other, command, path)

struct PathItem {
    std::optional<Method> get;
    std::optional<Method> put;
    std::optional<Method> post;
    std::optional<Method> remove;
    std::optional<std::vector<Other>> others;
};
KOVA_FIELDS(PathItem, get, put, post, as("delete", remove), as("x-kova-operations", others))

struct Info {
    std::string title;
    std::string version;
};
KOVA_FIELDS(Info, title, version)

struct Components {
    SchemaPool::Components schemas;
};
KOVA_FIELDS(Components, schemas)

struct Document {
    std::string openapi = "3.1.0";
    Info info;
    std::map<std::string, PathItem> paths;
    Components components;
};
KOVA_FIELDS(Document, openapi, info, paths, components)

// --- Paths ---------------------------------------------------------------------------------------

// Returns the text with percent-encoding (RFC 3986). Only the bytes that a path segment may contain
// are unchanged.
std::string encode(std::string_view text) {
    constexpr std::string_view OTHERS = "-._~!$&'()*+,;=:@";
    constexpr std::string_view DIGITS = "0123456789ABCDEF";
    std::string result;
    for (const char each : text) {
        const auto byte = static_cast<unsigned char>(each);
        const bool isAlphanumeric = (each >= 'a' && each <= 'z') || (each >= 'A' && each <= 'Z') ||
                                    (each >= '0' && each <= '9');
        if (isAlphanumeric || each == '/' || OTHERS.find(each) != std::string_view::npos) {
            result += each;
        } else {
            result += {'%', DIGITS[byte / 16], DIGITS[byte % 16]};
        }
    }
    return result;
}

std::string join(const std::string& mount, const std::string& below) {
    if (below.empty()) {
        return mount;
    }
    return (mount == "/" ? std::string() : mount) + '/' + below;
}

// The path of an operation. OpenAPI does not distinguish paths of the same shape: paths that differ
// only in the names of their parameters.
struct Address {
    std::string shape;
    std::vector<std::string> names;
    std::vector<TemplateSegment::Kind> kinds;
};

Address addressOf(const std::string& mount, const std::string& below) {
    Address address;
    address.shape = mount == "/" ? std::string() : encode(mount);
    const PathTemplate pattern(below);
    for (const TemplateSegment& segment : pattern.segments()) {
        if (segment.kind == TemplateSegment::Kind::literal) {
            address.shape += '/' + encode(segment.text);
            continue;
        }
        address.shape += "/{}";
        std::string name = printable(segment.text);
        while (std::count(address.names.begin(), address.names.end(), name) != 0) {
            name += '_';
        }
        address.names.push_back(std::move(name));
        address.kinds.push_back(segment.kind);
    }
    if (address.shape.empty()) {
        address.shape = "/";
    }
    return address;
}

// Returns the path in the form of OpenAPI, with the names of its parameters.
std::string pathOf(const Address& address) {
    std::string path;
    auto name = address.names.begin();
    for (const char each : address.shape) {
        path += each;
        if (each == '{') {
            path += *name++;
        }
    }
    return path;
}

// --- The document --------------------------------------------------------------------------------

class Builder {
public:
    Builder(const std::string& name, const std::string& version) {
        document_.info = {name.empty() ? "kova" : printable(name), printable(version)};
        problem_ = pool_.add(schemaOf<Problem>());
    }

    void add(const MountInfo& mount) {
        for (const Operation& operation : mount.operations) {
            add(mount.path, operation);
        }
    }
    Result<Payload> write(const std::string& mimeType) {
        document_.components.schemas = pool_.components();
        return toPayload(document_, mimeType);
    }

private:
    void add(const std::string& mount, const Operation& operation) {
        Address address = addressOf(mount, operation.path);
        const auto known = names_.try_emplace(address.shape, address.names);
        address.names = known.first->second;
        PathItem& item = document_.paths[pathOf(address)];
        std::optional<Method>* const method = methodOf(item, operation.command);
        if (method != nullptr && !*method) {
            *method = describe(operation, address);
            return;
        }
        if (!item.others) {
            item.others.emplace();
        }
        item.others->push_back(
            {printable(operation.command), printable(join(mount, operation.path))});
    }

    static std::optional<Method>* methodOf(PathItem& item, std::string_view command) noexcept {
        if (command == command::retrieve) {
            return &item.get;
        }
        if (command == command::update) {
            return &item.put;
        }
        if (command == command::insert) {
            return &item.post;
        }
        return command == command::remove ? &item.remove : nullptr;
    }

    Method describe(const Operation& operation, const Address& address) {
        Method method;
        if (!address.names.empty()) {
            method.parameters = parametersOf(address);
        }
        if (operation.bodySchema != nullptr) {
            method.requestBody = RequestBody{true, contentOf(operation.bodySchema())};
        }
        if (operation.valueSchema != nullptr) {
            Content content = contentOf(operation.valueSchema());
            if (operation.streams) {
                content[EVENT_STREAM_TYPE];
            }
            method.responses["2XX"] = {"The value", std::move(content)};
        } else {
            method.responses["204"] = {"Completed without a value", std::nullopt};
        }
        method.responses["default"] = {"The request failed",
                                       Content{{PROBLEM_TYPE, {{"schema", problem_}}}}};
        return method;
    }

    std::vector<Parameter> parametersOf(const Address& address) {
        std::vector<Parameter> parameters;
        for (std::size_t i = 0; i < address.names.size(); ++i) {
            Parameter parameter;
            parameter.name = address.names[i];
            parameter.schema = pool_.add(schemaOfKind(address.kinds[i]));
            if (address.kinds[i] == TemplateSegment::Kind::rest) {
                parameter.description = "One or more segments of the path";
            }
            parameters.push_back(std::move(parameter));
        }
        return parameters;
    }
    static Payload schemaOfKind(TemplateSegment::Kind kind) {
        switch (kind) {
            case TemplateSegment::Kind::unsignedInteger:
                return schemaOf<std::uint64_t>();
            case TemplateSegment::Kind::signedInteger:
                return schemaOf<std::int64_t>();
            default:
                return schemaOf<std::string>();
        }
    }

    Content contentOf(const Payload& schema) {
        const MediaType media{{"schema", pool_.add(schema)}};
        return {{mimetypes::JSON_TYPE, media}, {mimetypes::AXOBIN_TYPE, media}};
    }

    Document document_;
    SchemaPool pool_;
    Payload problem_;
    /// The names of the parameters of each path. The key is the shape of the path.
    std::map<std::string, std::vector<std::string>> names_;
};

}  // namespace

Result<Payload> openApi(const std::string& name, const std::string& version,
                        const std::vector<MountInfo>& mounts, const std::string& mimeType) {
    Builder builder(name, version);
    for (const MountInfo& mount : mounts) {
        builder.add(mount);
    }
    return builder.write(mimeType);
}

}  // namespace kova::kit::detail
