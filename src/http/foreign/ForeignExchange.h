#pragma once

#include <microhttpd.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "foreign/ForeignAnswer.h"
#include "foreign/ForeignDaemon.h"
#include "foreign/Mapping.h"

namespace kova::http::detail {

/// One request of HTTP and its answer. libmicrohttpd calls its functions, and owns it between the
/// request line and the end of the request.
///
/// A connection whose answer is not there yet is suspended. libmicrohttpd does not watch it then,
/// so the loop watches whether the client leaves.
class ForeignExchange {
public:
    ForeignExchange(ForeignDaemon& daemon, MHD_Connection* connection, char const* target);
    ~ForeignExchange();
    ForeignExchange(const ForeignExchange&) = delete;
    ForeignExchange& operator=(const ForeignExchange&) = delete;

    /// Called when the fields, bytes of the body or the whole body (`*size` is 0) have arrived, and
    /// when the connection was resumed. Returns `MHD_NO` to close the connection.
    MHD_Result onInput(char const* method, char const* version, char const* bytes,
                       std::size_t* size) noexcept;
    /// Ends the exchange without an answer.
    void abandon();
    bool isPending() const noexcept { return !sent_.empty(); }

private:
    struct Sent {
        IKovaApi* service;
        void* handle;
        bool isCancelled = false;
    };

    MHD_Result accept(char const* method, char const* version, char const* bytes,
                      std::size_t* size);
    MHD_Result begin(std::string_view version);
    std::optional<HttpReply> checkHead(std::string_view version) const;
    void addBody(char const* bytes, std::size_t size);
    MHD_Result dispatch(char const* method);
    MHD_Result send(const ForeignCall& call);
    std::optional<HttpReply> resolve(const ForeignCall& call, std::vector<IKovaApi*>& services);
    std::optional<HttpReply> findService(const ForeignCall::Part& part, IKovaApi*& service) const;
    MHD_Result answer();
    MHD_Result queue(const HttpReply& reply, bool closes);
    MHD_Result queue(MHD_Response* response, unsigned short status, bool isWhole);
    MHD_Result queueStream();
    static ssize_t readStream(void* self, std::uint64_t position, char* buffer,
                              std::size_t size) noexcept;
    ssize_t fill(char* buffer, std::size_t size);

    void suspend();
    void resume();
    void onReady();
    void onComment();
    void cancelEnough();
    void cancelAll() noexcept;

    ForeignDaemon& daemon_;
    MHD_Connection* const connection_;
    ForeignConnection& client_;
    const std::string target_;
    Fields fields_;
    std::optional<std::string> authority_;
    std::shared_ptr<std::string> body_;
    bool hasBegun_ = false;
    bool isTooLarge_ = false;
    bool isAbandoned_ = false;
    bool isSuspended_ = false;
    bool isCounted_ = false;

    std::shared_ptr<ForeignAnswer> answer_;
    std::vector<Sent> sent_;
    bool isStream_ = false;
    std::string text_;       ///< the events that the socket has not accepted
    std::size_t taken_ = 0;  ///< the bytes of `text_` that it has accepted
    std::optional<wire::EventLoop::TimerId> comment_;
};

}  // namespace kova::http::detail
