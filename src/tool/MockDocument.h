#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "SchemaRules.h"
#include "kova/core/Payload.h"
#include "kova/kit/InspectionViews.h"
#include "kova/kit/Result.h"
#include "kova/kit/Tree.h"
#include "util/config/Value.h"

namespace kova::tool {

/// A method of a path of a document.
struct MockMethod {
    /// The schema of the body; null if the method has no body, undefined if it accepts every body.
    util::config::Value const* body = nullptr;
    /// Whether a request must have a body.
    bool needsBody = false;
    /// The schema of the value in the answer; null if the answer has no value.
    util::config::Value const* value = nullptr;
    /// The status code of the answer. 204 means that the answer has no value.
    unsigned short code = 204;
    /// Whether the answer can be a stream.
    bool streams = false;
    /// The value of the first answer, as JSON. It satisfies `value`. Empty if the answer has no
    /// value.
    Payload first;
};

/// A segment of a path: a text or a parameter.
struct MockSegment {
    /// The kinds, in the order of preference.
    enum class Kind : unsigned char { literal, number, text, rest };

    Kind kind = Kind::literal;
    /// The text, or the name of the parameter.
    std::string text;
    /// The schema of the parameter; undefined if the parameter has no schema.
    util::config::Value const* schema = &util::config::Value::getUndefined();
};

/// A path of a document, and its methods by command word.
struct MockPath {
    std::vector<MockSegment> segments;
    std::map<std::string, MockMethod, std::less<>> methods;
    /// The index of the path of whose value the value of this path is a part. The index of this
    /// path itself if its value is not a part.
    std::size_t owner = 0;
};

/// The service that an OpenAPI 3.1 document describes, in the form that `kova openapi` prints.
///
/// - The methods get, put, post and delete become the commands retrieve, update, insert and delete.
/// - A parameter matches one segment of a path. If its type is integer, the segment must be an
///   integer. A parameter at the end that is described as "One or more segments of the path"
///   matches several segments.
/// - The value of a path with a parameter at its end is a part of the value of the path without the
///   parameter, if the latter accepts every value, is an array and has such values as items (for an
///   integer), or is an object and has them as additional members (for any other parameter).
///
/// Immutable. Any thread may call any function.
class MockDocument {
public:
    /// @{
    /// The maximum number of bytes of a document, of its paths, and of the segments of a path.
    static constexpr std::size_t MOST_BYTES = std::size_t{16} * 1024 * 1024;
    static constexpr std::size_t MOST_PATHS = 10'000;
    static constexpr std::size_t MOST_SEGMENTS = 32;
    /// @}

    /// Parses a document. Fails with 400 and a reason that begins with the place, if the document
    /// is not valid, exceeds a limit, or contains something that the mock does not support.
    static kit::Result<MockDocument> parse(const std::string& text);

    /// Returns the text of the document.
    const std::string& text() const noexcept { return text_; }
    /// @{
    /// Return the title and the version of the document; "" if it has none.
    std::string title() const;
    std::string version() const;
    /// @}
    /// Returns the rules of the schemas.
    const SchemaRules& rules() const noexcept { return rules_; }
    /// Returns the paths. If several paths match a request, the first one is preferred.
    const std::vector<MockPath>& paths() const noexcept { return paths_; }
    /// Returns the operations that the document lists, but that have no method and are not served.
    const std::vector<std::string>& unserved() const noexcept { return unserved_; }

    /// Returns the paths that match the segments of a request, the preferred one first.
    std::vector<MockPath const*> match(const std::vector<std::string>& segments) const;
    /// Returns the operations in the form in which a service shows them at "/.kova/resources". If
    /// the schemas have more than `MOST_BYTES`, some are left out.
    kit::MountView mount() const;

private:
    MockDocument(kit::Tree root, std::string text);
    void findOwners();

    kit::Tree root_;
    std::string text_;
    SchemaRules rules_;
    std::vector<MockPath> paths_;
    std::vector<std::string> unserved_;
};

/// Returns the segments of a path without its first "/"; none for "".
std::vector<std::string> segmentsOf(std::string_view path);

}  // namespace kova::tool
