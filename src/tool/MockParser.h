#pragma once

#include <string>
#include <vector>

#include "MockDocument.h"
#include "SchemaRules.h"
#include "SchemaValues.h"
#include "kova/kit/Result.h"
#include "util/config/Value.h"

namespace kova::tool {

/// Reads the paths of an OpenAPI document. Used by `MockDocument`.
///
/// The root of the document and the rules must outlive the object and the paths.
class MockParser {
public:
    MockParser(const util::config::Value& root, const SchemaRules& rules)
        : root_(root), rules_(rules), values_(rules) {}

    /// Reads the paths. Fails as `MockDocument::parse` does.
    kit::Result<std::vector<MockPath>> run();
    /// Returns the operations that the document lists but that have no method.
    const std::vector<std::string>& unserved() const noexcept { return unserved_; }

private:
    using Value = util::config::Value;
    using Place = const std::string&;

    // Each function returns false, and stores the reason, if it fails.
    bool fail(Place place, const std::string& reason);
    bool unexpected(Place place, const std::string& expected, const Value& found);
    bool accept(const kit::Result<void>& result);
    bool readPath(const std::string& text, const Value& item, Place place);
    bool readSegments(const std::string& text, MockPath& path, Place place);
    bool readParameters(const Value& parameters, MockPath& path, Place place);
    bool readParameter(const Value& parameter, MockPath& path, Place place);
    bool readMember(const std::string& name, const Value& content, MockPath& path, Place place);
    bool readMethod(const Value& content, MockMethod& method, Place place);
    bool readBody(const Value& body, MockMethod& method, Place place);
    bool readAnswer(const Value& responses, MockMethod& method, Place place);
    bool readValue(const Value& content, MockMethod& method, Place place);
    bool readSchema(const Value& content, Place place, Value const*& schema, Value const*& media);
    bool makeFirst(const Value& media, MockMethod& method, Place place);
    void noteOthers(const Value& operations);

    const Value& root_;
    const SchemaRules& rules_;
    SchemaValues values_;
    std::vector<MockPath> paths_;
    std::vector<std::string> unserved_;
    kit::Error error_;
};

}  // namespace kova::tool
