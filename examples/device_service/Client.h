#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <iosfwd>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "Address.h"
#include "kova/core/StaticComposedKovaService.h"

namespace device {

/// Owns a service, sends it requests and prints every event that comes back.
///
/// One thread sends; events may arrive on any. Nothing is printed for a request that was cancelled.
/// Requests say who asks: the trace client id of the process and, if one was set, its agent token.
class Client {
public:
    /// `servicePath` names the service in locators and in requests. `interrupted` tells whether to
    /// give up waiting. `out` must outlive the client.
    Client(std::unique_ptr<kova::StaticComposedKovaService> service, const std::string& servicePath,
           std::function<bool()> interrupted, std::ostream& out);

    const Address& address() const { return address_; }

    /// Agrees with the service on a version of its interface, for a client built for `version`, and
    /// prints the outcome. False when none suits: then nothing else should be asked.
    bool connect(const std::string& version);
    /// Sends a request, with the entries that say who asks.
    void send(kova::Request request);
    /// Asks for what the service has, in a mime type, and prints the locators.
    void list(const std::string& mimeType);
    /// Cancels the request of a number, or the latest that is pending.
    void cancel(const std::optional<unsigned long>& number);
    /// Waits for so many events, ten seconds at most.
    void wait(unsigned long count);
    /// Whether some request has neither terminated nor been cancelled.
    bool hasPending();
    /// Shuts the service down, which cancels what is pending.
    void shutdown();
    /// Prints a line of the client's own.
    void say(const std::string& text);

private:
    class Printer;
    class ListPrinter;

    void sign(kova::Request& request) const;
    unsigned long begin(const std::string& text);
    bool follow(unsigned long number, void* handle);
    void print(unsigned long number, const std::string& event, bool last);

    static constexpr std::chrono::milliseconds SLICE{100};
    static constexpr int SLICES = 100;

    const Address address_;
    const std::function<bool()> interrupted_;
    std::ostream& out_;
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
