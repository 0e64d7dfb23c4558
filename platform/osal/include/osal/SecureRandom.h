#pragma once

#include <cstddef>

#include "osal/Export.h"

namespace osal {

/// A source of random bytes from the kernel's generator (getrandom(2)), suitable for keys and
/// identifiers.
///
/// It keeps no state between calls and needs no file descriptor. Any thread may use any object.
///
///     unsigned char key[16];
///     const bool failed = osal::SecureRandom(false).read(key, sizeof key);
class OSAL_API SecureRandom {
public:
    /// Constructs the source and checks that it can be read. Soon after boot, the kernel's entropy
    /// pool may not be seeded yet. In this case, the constructor waits for the pool if
    /// `nonBlocking` is false (the usual choice). If `nonBlocking` is true, the constructor does
    /// not wait; the object is then not valid, and all its reads fail.
    explicit SecureRandom(bool nonBlocking);

    /// Returns whether the source can be read. The source cannot be read if the kernel does not
    /// have getrandom(2). With `nonBlocking`, the source also cannot be read if the pool was not
    /// seeded when the object was constructed.
    [[nodiscard]] bool isValid() const { return valid_; }

    /// Fills `bytes` with `count` random bytes. Returns false on success. Returns true on failure;
    /// the bytes must then not be used. Continues after short reads and interruptions by signals.
    [[nodiscard]] bool read(unsigned char* bytes, std::size_t count) const;

private:
    unsigned int flags_;
    bool valid_;
};

}  // namespace osal
