#include "StoreDocument.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <optional>
#include <sstream>
#include <utility>

#include "util/config/Array.h"
#include "util/config/Dictionary.h"
#include "util/config/JSONParser.h"

namespace device {

namespace {

using util::config::Array;
using util::config::Dictionary;
using util::config::Value;
using Result = StoreDocument::Result;

StoreDocument::ValuePtr own(Value* value) {
    return {value, Value::destroy};
}

std::optional<unsigned long> indexOf(const std::string& text) {
    unsigned long index = 0;
    char const* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, index);
    const bool whole = result.ec == std::errc() && result.ptr == end;
    return whole ? std::optional<unsigned long>(index) : std::nullopt;
}

// The child, or null; looks into dictionaries by key and into arrays by index.
Value const* childOf(const Value& parent, const std::string& name) {
    if (parent.isArray()) {
        const auto index = indexOf(name);
        return index && *index < parent.arraySize() ? &parent[*index] : nullptr;
    }
    return parent.hasKey(name) ? &parent[name] : nullptr;
}

Value const* walk(const Value& root, StoreDocument::Path::const_iterator first,
                  StoreDocument::Path::const_iterator last) {
    Value const* node = &root;
    for (; node != nullptr && first != last; ++first) {
        node = childOf(*node, *first);
    }
    return node;
}

/// What a put does with a value that is there: take its place, or leave it alone.
enum class Mode { Replace, Add };

Result putIn(Array& array, const std::string& name, StoreDocument::ValuePtr value, Mode mode) {
    const auto index = name == "-" ? array.arraySize() : indexOf(name);
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

Result putIn(Dictionary& dictionary, const std::string& name, StoreDocument::ValuePtr value,
             Mode mode) {
    const bool present = dictionary.hasKey(name);
    if (present && mode == Mode::Add) {
        return Result::Exists;
    }
    dictionary.set(name, value.release());
    return present ? Result::Done : Result::Created;
}

// The node that holds the last part of the path, for changing; null when there is none.
Value* parentOf(Value& root, const StoreDocument::Path& path) {
    return const_cast<Value*>(walk(root, path.begin(), path.end() - 1));
}

Result put(Value& root, const StoreDocument::Path& path, StoreDocument::ValuePtr value, Mode mode) {
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
        const auto index = indexOf(name);
        return index && !array->remove(*index, true) ? Result::Done : Result::NotFound;
    }
    Dictionary* const dictionary = parent.getEditableDictionary();
    const bool removed = dictionary != nullptr && !dictionary->remove(name, true);
    return removed ? Result::Done : Result::NotFound;
}

// Writes the whole text and makes sure that it has reached the disk. True on success.
bool writeOut(const std::string& file, const std::string& text) {
    const int descriptor = open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (descriptor < 0) {
        return false;
    }
    std::size_t done = 0;
    while (done < text.size()) {
        const ssize_t count = write(descriptor, text.data() + done, text.size() - done);
        if (count > 0) {
            done += static_cast<std::size_t>(count);
        } else if (errno != EINTR) {
            break;
        }
    }
    const bool written = done == text.size() && fsync(descriptor) == 0;
    return close(descriptor) == 0 && written;
}

// Makes a rename in the folder last through a power failure. A folder that cannot be synced (some
// file systems refuse) leaves the file whole all the same.
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

StoreDocument::StoreDocument(std::string file)
    : file_(std::move(file)), root_(own(new Dictionary())) {}

bool StoreDocument::load(std::string& reason) {
    std::ifstream in(file_, std::ios::binary);
    if (!in) {
        const int error = errno;
        reason = "cannot read " + file_ + ": " + std::strerror(error);
        return error != ENOENT;
    }
    std::ostringstream text;
    text << in.rdbuf();
    util::config::JSONParser parser(false);
    auto root = own(parser.parseValue(text.str()));
    if (!root || root->isValue()) {
        reason = file_ + " is no JSON object or array" +
                 (root ? std::string() : std::string(": ") + parser.reason());
        return true;
    }
    root_ = std::move(root);
    return false;
}

Value const* StoreDocument::find(const Path& path) const {
    return walk(*root_, path.begin(), path.end());
}

// Changes a copy, saves it, and only then takes it for the document.
template <typename Change>
Result StoreDocument::change(const Change& apply) {
    auto copy = own(root_->clone());
    if (!copy) {
        return Result::NotSaved;
    }
    const Result result = apply(copy);
    if (result != Result::Done && result != Result::Created) {
        return result;
    }
    if (!save(*copy)) {
        return Result::NotSaved;
    }
    root_ = std::move(copy);
    return result;
}

Result StoreDocument::update(const Path& path, ValuePtr value) {
    return change([&](ValuePtr& root) {
        if (!path.empty()) {
            return put(*root, path, std::move(value), Mode::Replace);
        }
        if (value->isValue()) {
            return Result::Conflict;
        }
        root = std::move(value);
        return Result::Done;
    });
}

Result StoreDocument::insert(const Path& path, ValuePtr value) {
    return change([&](ValuePtr& root) {
        return path.empty() ? Result::Exists : put(*root, path, std::move(value), Mode::Add);
    });
}

Result StoreDocument::remove(const Path& path) {
    return change([&](ValuePtr& root) {
        if (path.empty()) {
            root = own(new Dictionary());
            return Result::Done;
        }
        Value* const parent = parentOf(*root, path);
        return parent != nullptr ? removeFrom(*parent, path.back()) : Result::NotFound;
    });
}

bool StoreDocument::save(const Value& root) const {
    const std::string fresh = file_ + ".new";
    if (!writeOut(fresh, root.toJson(false) + "\n") ||
        std::rename(fresh.c_str(), file_.c_str()) != 0) {
        unlink(fresh.c_str());
        return false;
    }
    syncFolderOf(file_);
    return true;
}

}  // namespace device
