#include "kova/kit/Document.h"

#include <mutex>
#include <string_view>

#include "documents/StoredTree.h"
#include "kova/core/Errors.h"
#include "kova/core/Path.h"
#include "kova/core/StatusCodes.h"

namespace kova::kit {

using detail::StoredTree;

/// The document and its lock, which the functions of the resource share.
struct Document::State {
    using Change = StoredTree::Result (StoredTree::*)(const StoredTree::Path&, Tree);

    explicit State(std::string file) : tree(std::move(file)) {}

    /// Returns the value at `path`. `shown` is the path that the text of an error contains.
    Result<Tree> find(const std::string& path, const std::string& shown) const {
        const std::lock_guard<std::mutex> guard(mutex);
        util::config::Value const* const value = tree.find(Path::split(path));
        return value != nullptr ? Result<Tree>(Tree(value->clone()))
                                : catalogued(errors::PathNotFound, shown);
    }
    StoredTree::Result put(Change change, const std::string& path, Tree value) {
        const std::lock_guard<std::mutex> guard(mutex);
        return (tree.*change)(Path::split(path), std::move(value));
    }
    StoredTree::Result remove(const std::string& path) {
        const std::lock_guard<std::mutex> guard(mutex);
        return tree.remove(Path::split(path));
    }

    mutable std::mutex mutex;
    StoredTree tree;
};

namespace {

// Returns the answer to a change. `path` is the path that the text of an error contains.
Result<Response> answerTo(StoredTree::Result result, const std::string& path) {
    switch (result) {
        case StoredTree::Result::Done:
            return Response(statuscodes::NO_CONTENT);
        case StoredTree::Result::Created:
            return Response(statuscodes::CREATED);
        case StoredTree::Result::NotFound:
            return catalogued(errors::PathNotFound, path);
        case StoredTree::Result::Exists:
            return Error{statuscodes::CONFLICT, "there is something at '" + path + "' already"};
        case StoredTree::Result::Conflict:
            return Error{statuscodes::CONFLICT, "'" + path + "' cannot hold that"};
        default:
            return Error{statuscodes::INTERNAL_SERVER_ERROR, "the document could not be written"};
    }
}

// Adds a function for the mount path and every path below it.
template <typename Function>
void addForEveryPath(Resource& resource, std::string_view word, Function function) {
    resource.on(word, "", [function](const Ask& ask) { return function(ask); });
    resource.on(word, "{path:rest}",
                [function](const Ask& ask, std::string_view) { return function(ask); });
}

// Adds a function that also receives the value in the body of the request.
template <typename Function>
void addWithValue(Resource& resource, std::string_view word, Function function) {
    resource.on(word, "",
                [function](const Ask& ask, Tree value) { return function(ask, std::move(value)); });
    resource.on(word, "{path:rest}", [function](const Ask& ask, std::string_view, Tree value) {
        return function(ask, std::move(value));
    });
}

}  // namespace

Document::Document(std::string file) : state_(std::make_shared<State>(std::move(file))) {
    addForEveryPath(*this, command::retrieve, [state = state_](const Ask& ask) {
        return state->find(std::string(ask.path()), ask.request().getPath());
    });
    const auto addChange = [this](std::string_view word, State::Change change) {
        addWithValue(*this, word, [state = state_, change](const Ask& ask, Tree value) {
            const std::string path(ask.path());
            return answerTo(state->put(change, path, std::move(value)), ask.request().getPath());
        });
    };
    addChange(command::update, &StoredTree::update);
    addChange(command::insert, &StoredTree::insert);
    addForEveryPath(*this, command::remove, [state = state_](const Ask& ask) {
        return answerTo(state->remove(std::string(ask.path())), ask.request().getPath());
    });
}

Document::~Document() = default;

Result<void> Document::load() {
    const std::lock_guard<std::mutex> guard(state_->mutex);
    return state_->tree.load();
}

Result<Tree> Document::find(const std::string& path) const {
    return state_->find(path, path);
}

Result<void> Document::update(const std::string& path, Tree value) {
    const auto answer = answerTo(state_->put(&StoredTree::update, path, std::move(value)), path);
    return answer ? Result<void>() : answer.error();
}

Result<void> Document::erase(const std::string& path) {
    const auto answer = answerTo(state_->remove(path), path);
    return answer ? Result<void>() : answer.error();
}

}  // namespace kova::kit
