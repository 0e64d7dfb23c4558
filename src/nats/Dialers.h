#pragma once

#include <atomic>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <thread>

namespace kova::nats::detail {

/// The threads that connect to brokers.
///
/// An attempt to connect cannot be interrupted, so its thread may outlive the object that started
/// it. The end of the process waits for these threads, because libnats and OpenSSL then free what
/// the threads use. Any thread may call any function.
class Dialers {
public:
    /// Returns the only object of the process, which is never destroyed.
    static Dialers& shared();

    Dialers(const Dialers&) = delete;
    Dialers& operator=(const Dialers&) = delete;

    /// Calls a function on a thread of its own. Does nothing once the process ends. Throws
    /// `std::system_error`.
    void run(std::function<void()> task);
    /// Makes the end of the process wait for the threads before it calls the functions that other
    /// libraries have registered so far (`std::atexit`). The first call with each value counts.
    /// Call it with true when OpenSSL has been initialized.
    static void waitAtExit(bool usesTls);

private:
    struct Dialer {
        std::thread thread;
        std::atomic<bool> isOver{false};
    };

    Dialers() = default;
    void close() noexcept;

    std::mutex mutex_;
    std::list<Dialer> dialers_;
    bool isClosed_ = false;
};

}  // namespace kova::nats::detail
