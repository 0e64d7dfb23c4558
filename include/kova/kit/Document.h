#pragma once

#include <memory>
#include <string>
#include <utility>

#include "kova/kit/Export.h"
#include "kova/kit/Resource.h"
#include "kova/kit/Result.h"
#include "kova/kit/Tree.h"
#include "kova/kit/Values.h"

namespace kova::kit {

/// A JSON document in a file, such as the settings of a device. Clients read and change every value
/// in it by path.
///
/// The root is an object or an array. A path consists of keys and indexes: "stations/0/name". For
/// clients,
/// - "retrieve" returns the value at the path;
/// - "update" replaces the value (204), or adds it if the path has no value (201); "-" is the index
///   behind the end of an array;
/// - "insert" adds a value at a path that has no value (201); in an array, the element at the index
///   and the elements after it move by one;
/// - "delete" removes the value (204); at the mount path, "delete" makes the document an empty
///   object.
///
/// Errors: 404 if the path or, for a new value, its parent does not exist; 409 if "insert" finds a
/// value at the path, if the parent is neither an object nor an array, or if the result would not
/// be a valid document; 500 if the file cannot be written. In all these cases the document is
/// unchanged.
///
/// Every change is written to a new file, whose name ends in ".new", and synced to the disk. The
/// new file then replaces the old one. If the process is killed or the power fails, the file
/// contains either the old or the new document. A document has at most 4 MiB of text. A change
/// takes time in proportion to the size of the document.
///
/// Any thread may call any function. Only one object of one process may use a file. Functions for
/// other commands can be added with `on`, as for any `Resource`.
///
///     const auto volumeOf = [](const kova::kit::Document& settings) {
///         return settings.get<int>("audio/volume").valueOr(30);
///     };
class KOVA_KIT_API Document : public Resource {
public:
    /// Creates a document that contains an empty object. Each change writes the document to `file`.
    explicit Document(std::string file);
    ~Document();

    /// Reads the file into the document. If the file does not exist, the document becomes an empty
    /// object. Fails with 500 if the file cannot be read, and with 409 if it is not a valid
    /// document; the document and the file are then unchanged.
    Result<void> load();

    /// Returns the value at the path. Fails with 404 if there is no value, and with 400 if the
    /// value is not a `T`. `T` is a type that `Values.h` lists.
    template <typename T>
    Result<T> get(const std::string& path = {}) const {
        Result<Tree> tree = find(path);
        if (!tree) {
            return tree.error();
        }
        return fromTree<T>(**tree);
    }
    /// Sets or adds the value at the path. Fails as "update" does.
    template <typename T>
    Result<void> set(const std::string& path, const T& value) {
        Result<Tree> tree = toTree(value);
        if (!tree) {
            return tree.error();
        }
        return update(path, *std::move(tree));
    }
    /// Removes the value at the path. Fails as "delete" does.
    Result<void> erase(const std::string& path);

    /// @{
    /// The untyped parts of `get` and `set`. Used only by the kit.
    Result<Tree> find(const std::string& path) const;
    Result<void> update(const std::string& path, Tree value);
    /// @}

private:
    struct State;

    const std::shared_ptr<State> state_;
};

}  // namespace kova::kit
