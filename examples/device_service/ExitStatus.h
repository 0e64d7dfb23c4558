#pragma once

/// Exit statuses of the program. If several requests fail, the highest status is returned.
namespace device::exitstatus {

constexpr int ANSWERED = 0;
/// No request was sent: the store cannot be read, or no version of the interface is compatible.
/// Also returned for a line of input that is too long.
constexpr int NOT_STARTED = 1;
/// The command line or a line of input is invalid.
constexpr int MISUSED = 2;
/// A response had a code from 400 to 499.
constexpr int REFUSED = 4;
/// A response had a code of 500 or more, there was no response, or the service was shut down.
constexpr int FAILED = 5;

/// Returns the exit status for a response with this code.
constexpr int of(unsigned short code) {
    return code < 400 ? ANSWERED : code < 500 ? REFUSED : FAILED;
}

}  // namespace device::exitstatus
