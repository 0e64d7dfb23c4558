#pragma once

#include <cstddef>
#include <cstring>
#include <memory>
#include <new>

#include "kova/core/Payload.h"

namespace kova::kit::detail {

/// An allocator that allocates additional bytes behind the object, and stores their address.
template <typename T>
struct TailAllocator {
    using value_type = T;

    TailAllocator(std::size_t size, unsigned char*& begin) noexcept : size(size), begin(&begin) {}
    template <typename U>
    explicit TailAllocator(const TailAllocator<U>& other) noexcept
        : size(other.size), begin(other.begin) {}

    T* allocate(std::size_t count) {
        T* const objects = static_cast<T*>(::operator new(count * sizeof(T) + size));
        *begin = reinterpret_cast<unsigned char*>(objects + count);
        return objects;
    }
    void deallocate(T* objects, std::size_t) noexcept { ::operator delete(objects); }

    friend bool operator==(const TailAllocator&, const TailAllocator&) noexcept { return true; }
    friend bool operator!=(const TailAllocator&, const TailAllocator&) noexcept { return false; }

    std::size_t size;
    unsigned char** begin;  // where `allocate` stores the address of the additional bytes
};

/// Returns a copy of the bytes. The bytes and their reference count share one allocation.
inline Blob shareBytes(unsigned char const* bytes, std::size_t size) {
    struct Holders {};
    unsigned char* copy = nullptr;
    const auto holders = std::allocate_shared<Holders>(TailAllocator<Holders>(size, copy));
    if (size != 0) {
        std::memcpy(copy, bytes, size);
    }
    return {std::shared_ptr<unsigned char[]>(holders, copy), size};
}

}  // namespace kova::kit::detail
