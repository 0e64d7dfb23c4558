#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "kova/kit/Result.h"
#include "kova/kit/Tree.h"

namespace kova::kit::detail {

/// A JSON document in a file: an object or an array whose values are addressed by paths of keys and
/// indexes.
///
/// Every change is written to a new file (the file name plus ".new"), which then replaces the old
/// file. A process killed at any moment leaves either the complete old or the complete new
/// document. A change is rejected if its result could not be read back: a document has at most
/// `MAX_SIZE` bytes of text, the parser limits its nesting, and its keys are UTF-8.
///
/// Not synchronized. Only one object in one process may use a file.
class StoredTree {
public:
    /// The result of a change or a look-up: success, or the kind of failure.
    enum class Result {
        Done,     ///< the value was found, or changed in place
        Created,  ///< a new value was added
        NotFound,
        Exists,    ///< the path already has a value
        Conflict,  ///< the parent or the new root is a scalar, or the result is not readable
        NotSaved   ///< the file could not be written; nothing was changed
    };
    using Path = std::vector<std::string>;

    static constexpr std::size_t MAX_SIZE = std::size_t{4} * 1024 * 1024;

    explicit StoredTree(std::string file);

    /// Reads the file. If the file is missing, the document becomes an empty object. Fails if the
    /// file cannot be read or is not a JSON object or array; the document and the file are then
    /// unchanged.
    kit::Result<void> load();

    /// Returns the node at the path, or null.
    util::config::Value const* find(const Path& path) const;
    /// Sets the value at the path, or adds it if the path has no value. The key "-" appends to an
    /// array.
    Result update(const Path& path, Tree value);
    /// Adds a value at a path that has no value. In an array, inserts it before the element at the
    /// index.
    Result insert(const Path& path, Tree value);
    /// Removes the value at the path. The empty path clears the document.
    Result remove(const Path& path);

private:
    template <typename Change>
    Result change(const Change& apply);
    bool save(const std::string& text) const;

    std::string file_;
    Tree root_;
};

}  // namespace kova::kit::detail
