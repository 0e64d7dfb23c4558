#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <vector>

#include "MockDocument.h"
#include "MockItems.h"
#include "kova/core/IKovaApi.h"
#include "kova/kit/Calls.h"
#include "kova/kit/Service.h"

namespace kova::tool {

/// A service that behaves as an OpenAPI document describes.
///
/// - "retrieve" returns what was written, and before that a value that the schema accepts. A stream
///   begins with the current value, and each change follows.
/// - "update" checks the body and stores it. "delete" removes the value; the path is then answered
///   with 404 until a value is written.
/// - "insert" appends the body to an array, and becomes the value of a path without one. In a part
/// of
///   another value it adds a member, or an element in front of the index. Otherwise it changes
///   nothing.
/// - The answer of a change is the body if the schema of the answer accepts it, otherwise the value
///   of the document.
///
/// Errors: 400 for a body that the schema does not accept and for a command that the path does not
/// have, 404 for a path without a value, 409 for a change after which the schema would not accept
/// the whole value, and for an inserted member that exists, 503 beyond a limit.
///
/// The inspection at "/.kova" shows the document. Any thread may call any function.
class MockService : public IKovaApi {
public:
    explicit MockService(MockDocument document);
    ~MockService() override;
    MockService(const MockService&) = delete;
    MockService& operator=(const MockService&) = delete;

    /// Serves a request. Always takes ownership of the response handler.
    void* actionRequest(const Request& request,
                        std::unique_ptr<IResponseHandler<Response>>&& handler) override;
    /// Cancels a pending request.
    void cancelRequest(void* handle) override;

    /// Sends the current value of each stream again, as a service does that reads a sensor.
    void repeat();
    /// Ends the streams and refuses requests, as `kova::kit::Service::stop` does.
    std::vector<kit::CallInfo> stop(std::chrono::milliseconds limit);

private:
    const std::shared_ptr<const MockDocument> document_;
    const std::shared_ptr<MockItems> items_;
    const Payload mounts_;
    const std::unique_ptr<kit::Service> service_;
};

}  // namespace kova::tool
