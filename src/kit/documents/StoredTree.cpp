#include "documents/StoredTree.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <optional>
#include <system_error>
#include <utility>

#include "kova/core/StatusCodes.h"
#include "kova/kit/Values.h"
#include "util/config/Array.h"
#include "util/config/Dictionary.h"

namespace kova::kit::detail {

namespace {

using util::config::Array;
using util::config::Dictionary;
using util::config::Value;
using Result = StoredTree::Result;

// Parses a document.
kit::Result<Tree> parse(const std::string& text) {
    if (text.size() > StoredTree::MAX_SIZE) {
        return Error{statuscodes::CONFLICT, "it is too large"};
    }
    kit::Result<Tree> root = fromPayload<Tree>(Payload::createFromJSON(text));
    if (root && (*root)->isValue()) {
        return Error{statuscodes::CONFLICT, "it is not a JSON object or array"};
    }
    return root;
}

// Parses a text that consists only of decimal digits. Returns nullopt for any other text.
std::optional<std::size_t> numberOf(const std::string& text) {
    std::size_t number = 0;
    char const* const end = text.data() + text.size();
    const auto read = std::from_chars(text.data(), end, number);
    const bool isWhole = read.ec == std::errc() && read.ptr == end;
    return isWhole ? std::optional<std::size_t>(number) : std::nullopt;
}

// Returns the child of a dictionary with the key, or of an array at the index, or null.
Value const* childOf(const Value& parent, const std::string& name) {
    if (parent.isArray()) {
        const auto index = numberOf(name);
        return index && *index < parent.arraySize() ? &parent[*index] : nullptr;
    }
    return parent.hasKey(name) ? &parent[name] : nullptr;
}

Value const* walk(const Value& root, StoredTree::Path::const_iterator first,
                  StoredTree::Path::const_iterator last) {
    Value const* node = &root;
    for (; node != nullptr && first != last; ++first) {
        node = childOf(*node, *first);
    }
    return node;
}

/// Whether `put` replaces an existing value or leaves it unchanged.
enum class Mode { Replace, Add };

Result putIn(Array& array, const std::string& name, Tree value, Mode mode) {
    const auto index = name == "-" ? array.arraySize() : numberOf(name);
    if (!index || *index > array.arraySize()) {
        return Result::NotFound;
    }
    if (mode == Mode::Add || *index == array.arraySize()) {
        array.insert(*index, value.release());
        return Result::Created;
    }
    array.set(*index, value.release());
    return Result::Done;
}

Result putIn(Dictionary& dictionary, const std::string& name, Tree value, Mode mode) {
    const bool present = dictionary.hasKey(name);
    if (present && mode == Mode::Add) {
        return Result::Exists;
    }
    dictionary.set(name, value.release());
    return present ? Result::Done : Result::Created;
}

// Returns the parent of the node at the path as a node that can be changed, or null if the parent
// does not exist.
Value* parentOf(Value& root, const StoredTree::Path& path) {
    return const_cast<Value*>(walk(root, path.begin(), path.end() - 1));
}

Result put(Value& root, const StoredTree::Path& path, Tree value, Mode mode) {
    Value* const parent = parentOf(root, path);
    if (parent == nullptr) {
        return Result::NotFound;
    }
    if (Array* const array = parent->getEditableArray()) {
        return putIn(*array, path.back(), std::move(value), mode);
    }
    Dictionary* const dictionary = parent->getEditableDictionary();
    return dictionary != nullptr ? putIn(*dictionary, path.back(), std::move(value), mode)
                                 : Result::Conflict;
}

Result removeFrom(Value& parent, const std::string& name) {
    if (Array* const array = parent.getEditableArray()) {
        const auto index = numberOf(name);
        return index && !array->remove(*index, true) ? Result::Done : Result::NotFound;
    }
    Dictionary* const dictionary = parent.getEditableDictionary();
    const bool removed = dictionary != nullptr && !dictionary->remove(name, true);
    return removed ? Result::Done : Result::NotFound;
}

// Returns the permissions of the file. The new file that replaces it gets the same permissions.
mode_t permissionsOf(const std::string& file) {
    struct stat status {};
    return stat(file.c_str(), &status) == 0 ? status.st_mode & 0777 : 0644;
}

// Writes the text into a new file and syncs it to disk. Returns true on success.
bool writeOut(const std::string& file, const std::string& text, mode_t permissions) {
    const int descriptor = open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, permissions);
    if (descriptor < 0) {
        return false;
    }
    std::size_t done = 0;
    while (done < text.size()) {
        const ssize_t count = write(descriptor, text.data() + done, text.size() - done);
        if (count < 0 && errno != EINTR) {
            break;
        }
        done += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
    const bool written = done == text.size() && fsync(descriptor) == 0;
    return close(descriptor) == 0 && written;
}

// Syncs the folder of the file, so that a rename in it survives a power failure. If the folder
// cannot be synced, which some file systems do not support, the file is still complete.
void syncFolderOf(const std::string& file) {
    const std::size_t slash = file.rfind('/');
    const std::string folder = slash == std::string::npos ? "." : file.substr(0, slash + 1);
    const int descriptor = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor >= 0) {
        fsync(descriptor);
        close(descriptor);
    }
}

}  // namespace

StoredTree::StoredTree(std::string file) : file_(std::move(file)), root_(Tree(new Dictionary())) {}

kit::Result<void> StoredTree::load() {
    namespace fs = std::filesystem;
    std::error_code error;
    const fs::file_type type = fs::status(file_, error).type();
    if (type == fs::file_type::not_found) {
        return {};
    }
    std::ifstream in;
    if (type == fs::file_type::regular) {  // reading another type might block or never end
        in.open(file_, std::ios::binary);
    }
    if (!in.is_open()) {
        return Error{statuscodes::INTERNAL_SERVER_ERROR, "cannot read " + file_};
    }
    // Reads one byte more than the limit, so that `parse` detects a file that is too large.
    std::string text(std::min<std::size_t>(fs::file_size(file_, error), MAX_SIZE + 1), '\0');
    in.read(text.data(), static_cast<std::streamsize>(text.size()));
    auto root = in ? parse(text) : Error{statuscodes::CONFLICT, "it ends too early"};
    if (!root) {
        return Error{statuscodes::CONFLICT,
                     "cannot use " + file_ + " as a document: " + root.error().message};
    }
    root_ = *std::move(root);
    return {};
}

Value const* StoredTree::find(const Path& path) const {
    return walk(*root_, path.begin(), path.end());
}

// Applies the change to a copy of the document and saves the copy. Replaces the document by the
// copy only if both succeed.
template <typename Change>
Result StoredTree::change(const Change& apply) {
    auto copy = Tree(root_->clone());
    const Result result = copy ? apply(copy) : Result::NotSaved;
    if (result != Result::Done && result != Result::Created) {
        return result;
    }
    const std::string text = copy->toJson(false) + "\n";
    const auto readAgain = parse(text);
    if (!readAgain || **readAgain != *copy) {
        return Result::Conflict;
    }
    if (!save(text)) {
        return Result::NotSaved;
    }
    root_ = std::move(copy);
    return result;
}

Result StoredTree::update(const Path& path, Tree value) {
    return change([&](Tree& root) {
        if (!path.empty()) {
            return put(*root, path, std::move(value), Mode::Replace);
        }
        root = std::move(value);
        return Result::Done;
    });
}

Result StoredTree::insert(const Path& path, Tree value) {
    return change([&](Tree& root) {
        return path.empty() ? Result::Exists : put(*root, path, std::move(value), Mode::Add);
    });
}

Result StoredTree::remove(const Path& path) {
    return change([&](Tree& root) {
        if (path.empty()) {
            root = Tree(new Dictionary());
            return Result::Done;
        }
        Value* const parent = parentOf(*root, path);
        return parent != nullptr ? removeFrom(*parent, path.back()) : Result::NotFound;
    });
}

bool StoredTree::save(const std::string& text) const {
    const std::string fresh = file_ + ".new";
    unlink(fresh.c_str());  // a killed process may have left this file behind
    if (!writeOut(fresh, text, permissionsOf(file_)) ||
        std::rename(fresh.c_str(), file_.c_str()) != 0) {
        unlink(fresh.c_str());
        return false;
    }
    syncFolderOf(file_);
    return true;
}

}  // namespace kova::kit::detail
