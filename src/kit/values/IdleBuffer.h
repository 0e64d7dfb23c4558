#pragma once

#include <cstddef>

#include "kova/kit/Export.h"
#include "util/ByteBufferWriter.h"

namespace kova::kit::detail {

/// A guard that borrows an empty buffer. Each thread keeps one idle buffer, so that writing a
/// payload needs no allocation for its buffer. A buffer of more than `MAX_KEPT` bytes is not kept.
class KOVA_KIT_LOCAL BufferLoan {
public:
    /// The maximum capacity of a buffer that a thread keeps.
    static constexpr std::size_t MAX_KEPT = std::size_t{1} << 16;
    /// The capacity of a new buffer.
    static constexpr unsigned long FIRST_CAPACITY = 512;

    /// Borrows a buffer. Throws `std::bad_alloc` if memory is exhausted.
    BufferLoan();
    ~BufferLoan();
    BufferLoan(const BufferLoan&) = delete;
    BufferLoan& operator=(const BufferLoan&) = delete;

    util::ByteBufferWriter& bytes() noexcept { return *buffer_; }

private:
    util::ByteBufferWriter* buffer_;
};

}  // namespace kova::kit::detail
