#include "resources/PathTemplate.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace kova::kit::detail {

namespace {

using SegmentKind = TemplateSegment::Kind;

struct KindName {
    std::string_view name;
    SegmentKind kind;
};

constexpr KindName KIND_NAMES[] = {{"uint", SegmentKind::unsignedInteger},
                                   {"int", SegmentKind::signedInteger},
                                   {"text", SegmentKind::text},
                                   {"rest", SegmentKind::rest}};

// Returns whether an argument of a function can receive the text that a parameter of the template
// matches.
bool accepts(ArgumentKind argument, SegmentKind parameter) noexcept {
    switch (parameter) {
        case SegmentKind::unsignedInteger:
            return argument == ArgumentKind::unsignedInteger ||
                   argument == ArgumentKind::signedInteger;
        case SegmentKind::signedInteger:
            return argument == ArgumentKind::signedInteger;
        default:
            return argument == ArgumentKind::text;
    }
}

}  // namespace

int TemplateSegment::rank() const noexcept {
    return kind == SegmentKind::signedInteger ? static_cast<int>(SegmentKind::unsignedInteger)
                                              : static_cast<int>(kind);
}

PathTemplate::PathTemplate(std::string_view text) : text_(text) {
    for (std::size_t begin = 0; !text.empty() && begin <= text.size();) {
        const std::size_t end = std::min(text.find('/', begin), text.size());
        if (!segments_.empty() && segments_.back().kind == SegmentKind::rest) {
            refuse("a parameter of the kind rest is the last segment");
        }
        addSegment(parseSegment(text.substr(begin, end - begin)));
        begin = end + 1;
    }
    if (segments_.size() > LONGEST) {
        refuse("more than " + std::to_string(LONGEST) + " segments");
    }
}

void PathTemplate::addSegment(TemplateSegment&& segment) {
    const auto isSame = [&](const TemplateSegment& other) {
        return other.kind != SegmentKind::literal && other.text == segment.text;
    };
    if (segment.kind != SegmentKind::literal &&
        std::any_of(segments_.begin(), segments_.end(), isSame)) {
        refuse("two parameters {" + segment.text + "}");
    }
    segments_.push_back(std::move(segment));
}

void PathTemplate::refuse(const std::string& reason) const {
    throw std::invalid_argument("template '" + text_ + "': " + reason);
}

TemplateSegment PathTemplate::parseSegment(std::string_view segment) const {
    if (segment.empty()) {
        refuse("an empty segment");
    }
    if (segment.find_first_of("{}") == std::string_view::npos) {
        if (segment == "." || segment == "..") {
            refuse("a segment '.' or '..'");
        }
        return {SegmentKind::literal, std::string(segment)};
    }
    const std::string_view inner = segment.substr(1, segment.size() - 2);
    if (segment.size() < 3 || segment.front() != '{' || segment.back() != '}' ||
        inner.find_first_of("{}") != std::string_view::npos) {
        refuse("a parameter is a whole segment such as {id:uint}");
    }
    const std::size_t colon = inner.find(':');
    const std::string name(inner.substr(0, colon));
    if (name.empty()) {
        refuse("a parameter without a name");
    }
    if (colon == std::string_view::npos) {
        return {SegmentKind::text, name};
    }
    for (const KindName& row : KIND_NAMES) {
        if (row.name == inner.substr(colon + 1)) {
            return {row.kind, name};
        }
    }
    refuse("the kinds of parameters are uint, int, text and rest");
}

std::size_t PathTemplate::parameters() const noexcept {
    return static_cast<std::size_t>(std::count_if(
        segments_.begin(), segments_.end(),
        [](const TemplateSegment& each) { return each.kind != SegmentKind::literal; }));
}

bool PathTemplate::isAsGoodAs(const PathTemplate& other) const noexcept {
    return std::equal(segments_.begin(), segments_.end(), other.segments_.begin(),
                      other.segments_.end(),
                      [](const TemplateSegment& left, const TemplateSegment& right) {
                          return left.rank() == right.rank() &&
                                 (left.kind != SegmentKind::literal || left.text == right.text);
                      });
}

void PathTemplate::check(const std::vector<ArgumentKind>& arguments, bool acceptsBody) const {
    const std::size_t count = parameters();
    if (arguments.size() != count && !(arguments.size() == count + 1 && acceptsBody)) {
        refuse("has " + std::to_string(count) + (count == 1 ? " parameter" : " parameters") +
               ", but the function has " + std::to_string(arguments.size()) +
               ", one of which may be the body");
    }
    std::size_t at = 0;
    for (const TemplateSegment& segment : segments_) {
        if (segment.kind != SegmentKind::literal && !accepts(arguments[at++], segment.kind)) {
            refuse("the function has a parameter of another type for {" + segment.text + "}");
        }
    }
}

}  // namespace kova::kit::detail
