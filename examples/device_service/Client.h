#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "Address.h"
#include "Display.h"
#include "ExitStatus.h"
#include "kova/core/StaticComposedKovaService.h"

namespace device {

/// Owns a service, sends it requests and prints every event that it receives.
///
/// One thread sends; events may arrive on any thread. The events of a cancelled request are not
/// printed. Requests carry the trace client id of the process and, if one is set, its agent token.
class Client {
public:
    /// `servicePath` names the service in locators and in requests. `interrupted` returns whether
    /// to stop waiting.
    Client(std::unique_ptr<kova::StaticComposedKovaService> service, const std::string& servicePath,
           std::function<bool()> interrupted, Display display);

    const Address& address() const { return address_; }

    /// Negotiates a version of the service's interface, for a client built for `version`, and
    /// prints the outcome. Returns false if no version is compatible; then do not send requests.
    bool connect(const std::string& version);
    /// Sends a request, after adding the client id and the token to its header.
    void send(kova::Request request);
    /// Requests the list of resources in the mime type and prints their locators.
    void list(const std::string& mimeType);
    /// Cancels the request with the number; without one, the latest pending request.
    void cancel(const std::optional<unsigned long>& number);
    /// Waits for `count` events, at most ten seconds.
    void wait(unsigned long count);
    /// Returns whether any request has neither terminated nor been cancelled.
    bool hasPending();
    /// Shuts the service down, which cancels all pending requests.
    void shutdown();
    /// Prints a line that is not an event.
    void say(const std::string& text);
    /// Prints the reason why a line of input is invalid. Counts as misuse for the exit status.
    void refuse(const std::string& reason);
    /// Returns the exit status for the worst outcome of the requests and lines so far.
    int exitStatus();

private:
    class Printer;
    class ListPrinter;

    void sign(kova::Request& request) const;
    unsigned long begin(const std::string& text);
    bool follow(unsigned long number, void* handle);
    void complain(const std::string& text);
    void giveUp(unsigned long number, const std::string& reason);
    void note(int status);
    void print(unsigned long number, const std::string& event,
               const std::optional<std::string>& payload, int status);
    void end(unsigned long number);
    void fail(unsigned long number, const kova::Response& error);
    void tell(unsigned long number, bool last, const std::function<void()>& show);

    static constexpr std::chrono::milliseconds SLICE{100};
    static constexpr int SLICES = 100;

    const Address address_;
    const std::function<bool()> interrupted_;
    unsigned long lastNumber_ = 0;
    /// Guards the members below, except the service.
    std::mutex mutex_;
    Display display_;
    int exitStatus_ = exitstatus::ANSWERED;
    std::condition_variable changed_;
    unsigned long events_ = 0;
    /// Maps a request's number to its handle, which is null until `actionRequest` has returned.
    std::map<unsigned long, void*> pending_;
    /// Last, so that it is destroyed first: events may arrive as long as it exists.
    std::unique_ptr<kova::StaticComposedKovaService> service_;
};

}  // namespace device
