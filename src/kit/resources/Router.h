#pragma once

#include <array>
#include <cstddef>
#include <deque>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "kova/kit/resources/Route.h"
#include "resources/PathTemplate.h"

namespace kova::kit::detail {

/// Finds the route for a path. Implemented as a trie of segments: a node has one child for each
/// literal text and one child for each kind of parameter.
///
/// Each node has a fixed depth, so a look-up visits each node at most once. The recursion is at
/// most as deep as the longest template. Not synchronized. After all routes are added, any number
/// of threads may search without a lock.
class Router {
public:
    /// The result of a look-up: the routes of the template that matches (one for each command), and
    /// the parts of the path that its parameters match.
    class Match {
    public:
        // Not defaulted, so that the storage for 32 texts stays uninitialized.
        Match() noexcept {}  // NOLINT(modernize-use-equals-default,*-member-init)

        /// Returns the parts of the path that the parameters match. Their number is `count`.
        std::string_view const* captures() const noexcept {
            return reinterpret_cast<std::string_view const*>(storage_);
        }
        void capture(std::size_t index, std::string_view text) noexcept {
            new (storage_ + index * sizeof(std::string_view)) std::string_view(text);
        }

        std::vector<const Route*> const* routes = nullptr;
        std::size_t count = 0;

    private:
        alignas(std::string_view) unsigned char storage_[PathTemplate::LONGEST *
                                                         sizeof(std::string_view)];
    };

    Router() { nodes_.emplace_back(); }
    Router(const Router&) = delete;
    Router& operator=(const Router&) = delete;

    /// Adds a route. Throws `std::invalid_argument`, as `Resource::on` does.
    void add(Route&& route);
    /// Throws `std::invalid_argument` if `route` would be ambiguous: another route serves the same
    /// command, and its template matches the same paths with the same rank. `pattern` is the
    /// template of `route`.
    void checkUnambiguous(const Route& route, const PathTemplate& pattern) const;
    /// Finds the preferred template that matches the path and has a route for the command. If no
    /// such template exists, finds the preferred template that matches the path. Returns the route
    /// for the command, or null. `match.routes` is null if no template matches.
    Route const* find(std::string_view command, std::string_view path, Match& match) const;

    /// Returns all routes in the order in which they were added.
    const std::deque<Route>& routes() const noexcept { return routes_; }

private:
    struct Node {
        std::unordered_map<std::string_view, std::size_t> literals;
        /// The indexes of the children for parameters, by `SegmentKind`. 0 means that there is no
        /// child.
        std::array<std::size_t, 5> parameters{};
        std::vector<const Route*> routes;
    };
    class Search;

    std::size_t childFor(std::size_t node, const TemplateSegment& segment);

    std::deque<Node> nodes_;
    std::deque<Route> routes_;
    std::deque<PathTemplate> templates_;
};

}  // namespace kova::kit::detail
