#pragma once

#include <memory>
#include <new>

#include "kova/core/Errors.h"
#include "util/config/Dictionary.h"
#include "zel/ErrorOutput.h"

namespace kova::wire {

/// Reports what was given up for lack of memory, with a text such as "a connection is closed".
inline void reportOutOfMemory(char const* what) noexcept {
    zel::ErrorOutput("src/wire/OutOfMemory", __LINE__, true)(errors::Error,
                                                             errors::InternalServerError, what);
}

/// Returns a copy of a dictionary. Throws `std::bad_alloc` where the functions of trees return
/// null.
inline std::shared_ptr<util::config::Dictionary> copyOf(const util::config::Value& header) {
    std::unique_ptr<util::config::Value> copy(header.clone());
    util::config::Dictionary* const dictionary =
        copy != nullptr ? copy->getEditableDictionary() : nullptr;
    if (dictionary == nullptr) {
        throw std::bad_alloc();
    }
    static_cast<void>(copy.release());
    return std::shared_ptr<util::config::Dictionary>(dictionary);
}

/// Writes an entry. Takes ownership of the value. Throws `std::bad_alloc`.
inline void put(util::config::Dictionary& header, char const* key, util::config::Value* value) {
    if (header.set(key, value)) {
        throw std::bad_alloc();
    }
}

}  // namespace kova::wire
