#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "kova/core/IResponseHandler.h"
#include "kova/kit/Chain.h"

namespace kova::kit::detail {

/// The observers of a segment of a chain, and the offset of each observer's state in the memory
/// block of a request.
struct Observers {
    struct Entry {
        std::shared_ptr<Middleware> middleware;
        std::size_t offset;
    };
    std::vector<Entry> entries;
    /// The total size of the states of all observers.
    std::size_t size = 0;

    /// Appends an observer and returns its index.
    std::size_t add(std::shared_ptr<Middleware> middleware);
};

/// One request in a segment of a chain: the response handler that the service receives. It calls
/// the observers of the request. The object and the states of the observers are in one block of
/// memory.
///
/// `Calls` is between this object and the service, so this object receives one event at a time, at
/// most one end, and no event after the end. If it is destroyed without an end, the request was
/// cancelled.
class Passage final : public IResponseHandler<Response> {
public:
    using ResponseHandler = std::unique_ptr<IResponseHandler<Response>>;

    static std::unique_ptr<Passage> create(std::shared_ptr<const Observers> observers,
                                           ResponseHandler&& handler);
    ~Passage() override;
    Passage(const Passage&) = delete;
    Passage& operator=(const Passage&) = delete;

    static void* operator new(std::size_t, void* memory) noexcept { return memory; }
    static void operator delete(void*, void*) noexcept {}
    // NOLINTNEXTLINE(cert-dcl54-cpp,misc-new-delete-overloads): matches placement new
    static void operator delete(void* memory) noexcept;

    /// Calls `beginRequest` of the observer with this index. The observers before it must have
    /// begun already.
    Result<void> begin(std::size_t index, const Ask& ask);

    // The calls in these functions may destroy the object.
    bool onNext(const Response& value) override;
    void onError(const Response& error) override;
    void onCompleted() override;

private:
    Passage(std::shared_ptr<const Observers> observers, ResponseHandler&& handler) noexcept
        : observers_(std::move(observers)), handler_(std::move(handler)) {}

    void end(const Outcome& outcome) noexcept;
    void* stateOf(std::size_t index) noexcept {
        return reinterpret_cast<std::byte*>(this + 1) + observers_->entries[index].offset;
    }

    const std::shared_ptr<const Observers> observers_;
    const ResponseHandler handler_;
    /// The number of observers that wait for the end.
    std::size_t begun_ = 0;
    unsigned short code_ = statuscodes::NO_CONTENT;
};

}  // namespace kova::kit::detail
