#include "osal/SecureRandom.h"

#include <sys/random.h>
#include <sys/types.h>

#include <cerrno>

namespace osal {

namespace {

// Fills `count` bytes. Returns true on failure. Calls getrandom(2) repeatedly: a signal may
// interrupt the call while it waits for the pool, and a call for more than 256 bytes may return
// fewer bytes than requested.
bool fill(unsigned char* bytes, std::size_t count, unsigned int flags) {
    std::size_t done = 0;
    while (done < count) {
        const ssize_t got = getrandom(bytes + done, count - done, flags);
        if (got > 0) {
            done += static_cast<std::size_t>(got);
        } else if (got == 0 || errno != EINTR) {
            return true;
        }
    }
    return false;
}

}  // namespace

SecureRandom::SecureRandom(bool nonBlocking) : flags_(nonBlocking ? GRND_NONBLOCK : 0) {
    unsigned char probe = 0;
    valid_ = !fill(&probe, 1, flags_);
}

bool SecureRandom::read(unsigned char* bytes, std::size_t count) const {
    return !valid_ || fill(bytes, count, flags_);
}

}  // namespace osal
