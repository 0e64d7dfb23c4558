#pragma once

/// How the program ends. When several requests go wrong, the highest number counts.
namespace device::exitstatus {

constexpr int ANSWERED = 0;
/// No request was sent: the store cannot be read, or no version of the interface suits the client.
/// Also a line of input that is too long.
constexpr int NOT_STARTED = 1;
/// The command line, or a line of input, is not what the program understands.
constexpr int MISUSED = 2;
/// An answer with a code from 400 to 499.
constexpr int REFUSED = 4;
/// An answer with a code from 500 on, no answer at all, or a service that is shut down.
constexpr int FAILED = 5;

/// Returns the exit status for an answer with this code.
constexpr int of(unsigned short code) {
    return code < 400 ? ANSWERED : code < 500 ? REFUSED : FAILED;
}

}  // namespace device::exitstatus
