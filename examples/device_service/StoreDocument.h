#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "util/config/Value.h"

namespace device {

/// A JSON document in a file: an object or an array, reached by paths of keys and indexes.
///
/// Every change is written to a new file (the name with ".new" behind it) that then takes the place
/// of the old one, so a process killed at any moment leaves the old or the new document, whole.
/// What could not be read again is not written: a document has at most `MAX_SIZE` bytes of text,
/// the nesting that the parser takes, and keys that are UTF-8.
///
/// Not locked: one object, in one process, for a file.
class StoreDocument {
public:
    /// What became of a change or a look-up.
    enum class Result {
        Done,     ///< found, or changed in place
        Created,  ///< something new was put in
        NotFound,
        Exists,    ///< there is something already
        Conflict,  ///< below a scalar, a root that is no container, or not to be read again
        NotSaved   ///< the file could not be written; nothing was changed
    };
    using Path = std::vector<std::string>;
    using ValuePtr = std::unique_ptr<util::config::Value, void (*)(util::config::Value*)>;

    static constexpr std::size_t MAX_SIZE = 4 * 1024 * 1024;

    explicit StoreDocument(std::string file);

    /// Reads the file; one that is not there stands for the empty object. False on success; true,
    /// with the reason, when it cannot be read or is no JSON object or array: the document and the
    /// file stay as they are.
    [[nodiscard]] bool load(std::string& reason);

    /// The node at the path, or null.
    util::config::Value const* find(const Path& path) const;
    /// Puts a value in place of what is there, or where nothing is ("-" appends to an array).
    Result update(const Path& path, ValuePtr value);
    /// Puts a value where nothing is yet; in an array, before the element at the index.
    Result insert(const Path& path, ValuePtr value);
    /// Takes a value out; the empty path empties the document.
    Result remove(const Path& path);

private:
    template <typename Change>
    Result change(const Change& apply);
    bool save(const std::string& text) const;

    std::string file_;
    ValuePtr root_;
};

}  // namespace device
