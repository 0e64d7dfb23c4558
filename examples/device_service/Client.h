#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>

#include "Address.h"
#include "Display.h"
#include "ExitStatus.h"
#include "kova/kit/Calls.h"
#include "kova/kit/Service.h"

namespace device {

/// Sends requests to a service and prints every event that it receives.
///
/// One thread sends; events may arrive on any thread. The events of a cancelled request are not
/// printed. Requests carry the trace client id of the process and, if one is set, its agent token.
class Client {
public:
    /// `servicePath` names the service, which must outlive the client, in locators and in requests.
    /// `interrupted` returns whether to stop waiting.
    Client(kova::kit::Service& service, const std::string& servicePath,
           std::function<bool()> interrupted, Display display);

    const Address& address() const { return address_; }

    /// Selects the version of the service's interface that is most compatible with a client built
    /// for `version`, and prints the outcome. Returns false if no version fits; then do not send
    /// requests.
    bool connect(const std::string& version);
    /// Sends a request, after adding the client id and the token to its header.
    void send(kova::Request request);
    /// Requests the list of resources in the mime type and prints their locators.
    void list(const std::string& mimeType);
    /// Cancels the request with the number; without one, the latest pending request.
    void cancel(const std::optional<unsigned long>& number);
    /// Waits until there were `count` events since the latest request was sent or the latest wait
    /// ended, at most ten seconds.
    void wait(unsigned long count);
    /// Returns whether any request has neither terminated nor been cancelled.
    bool hasPending();
    /// Cancels all pending requests and stops the service.
    void shutdown();
    /// Prints a line that is not an event.
    void say(const std::string& text);
    /// Prints the reason why a line of input is invalid. Counts as misuse for the exit status.
    void refuse(const std::string& reason);
    /// Returns the exit status for the worst outcome of the requests and lines so far.
    int exitStatus();

private:
    class Printer;

    void sign(kova::Request& request) const;
    void start(const kova::Request& request, const std::string& title, bool list);
    void complain(const std::string& line, const std::string& reason, int status);
    kova::kit::Result<void> show(unsigned long number, const kova::Response& value, bool list);
    void end(unsigned long number, const kova::kit::End& end);
    void happened(int status, const std::function<void()>& print);

    const Address address_;
    const std::function<bool()> interrupted_;
    kova::kit::Service& service_;
    unsigned long lastNumber_ = 0;
    /// Guards the members below, except the calls.
    std::mutex mutex_;
    Display display_;
    int exitStatus_ = exitstatus::ANSWERED;
    std::condition_variable changed_;
    /// The number of events since the latest request was sent or the latest wait ended.
    unsigned long events_ = 0;
    std::map<unsigned long, kova::kit::Subscription> pending_;
    /// Last, so that it is destroyed first: events may arrive as long as it exists.
    kova::kit::Calls calls_;
};

}  // namespace device
