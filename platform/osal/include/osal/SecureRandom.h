#pragma once

#include <cstddef>

#include "osal/Export.h"

namespace osal {

/// Random bytes from the kernel's generator (getrandom(2)), fit for keys and identifiers.
///
/// It keeps no state between calls and needs no file descriptor. Any thread may use any object.
class OSAL_API SecureRandom {
public:
    /// Opens the source. Early after boot the kernel's pool may not be seeded yet: with
    /// `nonBlocking` false (the usual choice) reads wait for it; with true the object is not valid
    /// and reads fail until the pool is ready.
    explicit SecureRandom(bool nonBlocking);

    /// Whether the source can deliver; false where the kernel has no such source, or, with
    /// `nonBlocking`, while its pool is not seeded.
    [[nodiscard]] bool isValid() const { return valid_; }

    /// Fills `count` bytes at `bytes`. False on success, true on failure; after a failure the bytes
    /// must not be used. Interruptions by signals and short reads are carried on from.
    [[nodiscard]] bool read(unsigned char* bytes, std::size_t count) const;

private:
    unsigned int flags_;
    bool valid_;
};

}  // namespace osal
