#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <iosfwd>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "kova/core/IKovaApi.h"

namespace device {

/// Turns lines of text into requests to a service and prints every event that comes back.
///
/// Lines may come from one thread only; events may arrive on any.
class Client {
public:
    /// `service` and `out` must outlive the client, and the service must have let go of every
    /// response handler before the client goes.
    Client(kova::IKovaApi& service, std::function<void()> shutdown, std::ostream& out);

    /// The words that `execute` understands, for a user.
    static char const* help();

    /// Carries one line out. False when it asks to quit.
    bool execute(const std::string& line);
    /// Whether some request has neither terminated nor been cancelled.
    bool hasPending();
    /// Prints a line of the client's own.
    void say(const std::string& text);

private:
    class Printer;

    void ask(const std::string& command, const std::string& rest);
    void send(const kova::Request& request);
    void cancel(const std::string& which);
    void wait(const std::string& count);
    void accept(const std::string& type);
    void finished(unsigned long number);
    void print(unsigned long number, const std::string& event);

    static constexpr std::chrono::seconds PATIENCE{10};

    kova::IKovaApi& service_;
    std::function<void()> shutdown_;
    std::ostream& out_;
    std::string mimeType_;
    unsigned long lastNumber_ = 0;
    std::mutex mutex_;
    std::condition_variable changed_;
    unsigned long events_ = 0;
    /// Handle by number; null until `actionRequest` has returned it.
    std::map<unsigned long, void*> pending_;
};

}  // namespace device
