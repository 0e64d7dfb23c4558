#include "resources/Router.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <stdexcept>
#include <system_error>

namespace kova::kit::detail {

namespace {

using SegmentKind = TemplateSegment::Kind;

template <typename Number>
bool isNumber(std::string_view text) noexcept {
    Number number = 0;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), number);
    return read.ec == std::errc() && read.ptr == text.data() + text.size();
}

bool matches(SegmentKind kind, std::string_view segment) noexcept {
    switch (kind) {
        case SegmentKind::unsignedInteger:
            return isNumber<std::uint64_t>(segment);
        case SegmentKind::signedInteger:
            return isNumber<std::int64_t>(segment);
        default:
            return true;
    }
}

Route const* routeOf(const std::vector<const Route*>& routes, std::string_view command) noexcept {
    for (Route const* const route : routes) {
        if (route->operation.command == command || route->stream) {
            return route;
        }
    }
    return nullptr;
}

}  // namespace

void Router::checkUnambiguous(const Route& route, const PathTemplate& pattern) const {
    for (std::size_t i = 0; i < routes_.size(); ++i) {
        const Route& other = routes_[i];
        const bool sameCommand =
            other.operation.command == route.operation.command || other.stream || route.stream;
        if (sameCommand && templates_[i].isAsGoodAs(pattern)) {
            const std::string& command =
                route.stream ? other.operation.command : route.operation.command;
            throw std::invalid_argument(
                "template '" + pattern.text() + "' matches the same paths as '" +
                templates_[i].text() +
                (command.empty() ? "'" : "' for the command '" + command + "'"));
        }
    }
}

void Router::add(Route&& route) {
    PathTemplate pattern(route.operation.path);
    pattern.check(route.arguments, route.acceptsBody);
    checkUnambiguous(route, pattern);
    if (route.arguments.size() > pattern.parameters()) {
        route.operation.bodySchema = route.lastSchema;
    }
    templates_.push_back(std::move(pattern));
    routes_.push_back(std::move(route));
    std::size_t node = 0;
    for (const TemplateSegment& segment : templates_.back().segments()) {
        node = childFor(node, segment);
    }
    nodes_[node].routes.push_back(&routes_.back());
}

std::size_t Router::childFor(std::size_t node, const TemplateSegment& segment) {
    std::size_t& child = segment.kind == SegmentKind::literal
                             ? nodes_[node].literals[segment.text]
                             : nodes_[node].parameters[static_cast<std::size_t>(segment.kind)];
    if (child == 0) {
        nodes_.emplace_back();
        child = nodes_.size() - 1;
    }
    return child;
}

// One look-up. It searches the trie depth-first and tries the preferred kind of segment first.
class Router::Search {
public:
    Search(const Router& router, std::string_view command, Match& match) noexcept
        : router_(router), command_(command), match_(match) {}

    Route const* run(std::size_t index, std::string_view path, std::size_t captures) {
        const Node& node = router_.nodes_[index];
        if (path.empty()) {
            return accept(node, captures);
        }
        const std::size_t end = std::min(path.find('/'), path.size());
        const std::string_view segment = path.substr(0, end);
        const std::string_view behind = path.substr(std::min(end + 1, path.size()));
        if (segment.empty() || (behind.empty() && end < path.size())) {
            return nullptr;  // an empty segment
        }
        if (!node.literals.empty()) {
            const auto found = node.literals.find(segment);
            Route const* const route =
                found != node.literals.end() ? run(found->second, behind, captures) : nullptr;
            if (route != nullptr) {
                return route;
            }
        }
        return runParameters(node, path, segment, behind, captures);
    }

private:
    Route const* runParameters(const Node& node, std::string_view path, std::string_view segment,
                               std::string_view behind, std::size_t captures) {
        for (const SegmentKind kind : {SegmentKind::unsignedInteger, SegmentKind::signedInteger,
                                       SegmentKind::text, SegmentKind::rest}) {
            const std::size_t child = node.parameters[static_cast<std::size_t>(kind)];
            if (child == 0 || !matches(kind, segment)) {
                continue;
            }
            match_.capture(captures, kind == SegmentKind::rest ? path : segment);
            Route const* const route =
                run(child, kind == SegmentKind::rest ? std::string_view() : behind, captures + 1);
            if (route != nullptr) {
                return route;
            }
        }
        return nullptr;
    }
    Route const* accept(const Node& node, std::size_t captures) {
        if (node.routes.empty()) {
            return nullptr;
        }
        Route const* const route = routeOf(node.routes, command_);
        if (route != nullptr || match_.routes == nullptr) {
            match_.routes = &node.routes;
            match_.count = captures;
        }
        return route;
    }

    const Router& router_;
    const std::string_view command_;
    Match& match_;
};

Route const* Router::find(std::string_view command, std::string_view path, Match& match) const {
    return Search(*this, command, match).run(0, path, 0);
}

}  // namespace kova::kit::detail
