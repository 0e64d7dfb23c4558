#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <iosfwd>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "kova/core/StaticComposedKovaService.h"

namespace device {

/// Owns a service, turns lines of text into requests to it and prints every event that comes back.
///
/// Lines may come from one thread only; events may arrive on any. Nothing is printed for a request
/// that was cancelled.
class Client {
public:
    /// `interrupted` tells whether to give up waiting. `out` must outlive the client.
    Client(std::unique_ptr<kova::StaticComposedKovaService> service,
           std::function<bool()> interrupted, std::ostream& out);

    /// The words that `execute` understands, for a user.
    static char const* help();

    /// Carries one line out. False when it asks to quit.
    bool execute(const std::string& line);
    /// Whether some request has neither terminated nor been cancelled.
    bool hasPending();
    /// Shuts the service down, which cancels what is pending.
    void shutdown();
    /// Prints a line of the client's own.
    void say(const std::string& text);

private:
    class Printer;

    void ask(const std::string& command, const std::string& rest);
    void send(const kova::Request& request);
    void cancel(const std::string& which);
    void wait(const std::string& count);
    void accept(const std::string& type);
    void print(unsigned long number, const std::string& event, bool last);

    static constexpr std::chrono::milliseconds SLICE{100};
    static constexpr int SLICES = 100;

    std::function<bool()> interrupted_;
    std::ostream& out_;
    std::string mimeType_;
    unsigned long lastNumber_ = 0;
    std::mutex mutex_;
    std::condition_variable changed_;
    unsigned long events_ = 0;
    /// Handle by number; null until `actionRequest` has returned it.
    std::map<unsigned long, void*> pending_;
    /// Goes first, for events may arrive as long as it is there.
    std::unique_ptr<kova::StaticComposedKovaService> service_;
};

}  // namespace device
