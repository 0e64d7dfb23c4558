#pragma once

#include <nghttp2/nghttp2.h>

#include <cstdint>
#include <fstream>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "support/Payloads.h"
#include "upgrade/Samples.h"
#include "wire/Records.h"

namespace kova::test {

/// Bytes that one side of a connection has sent before the other side sent again.
struct Turn {
    bool isOfClient = false;
    std::string bytes;
};

/// Writes and reads the turns of a connection. A line has up to 48 bytes in hexadecimal digits,
/// after ">" if the client has sent them, and after "<" if the server has.
/// @{
inline void write(std::ostream& out, const std::vector<Turn>& turns) {
    constexpr std::size_t BYTES_OF_LINE = 48;
    for (const Turn& turn : turns) {
        for (std::size_t at = 0; at < turn.bytes.size(); at += BYTES_OF_LINE) {
            out << (turn.isOfClient ? "> " : "< ")
                << payloads::toHex(std::string_view(turn.bytes).substr(at, BYTES_OF_LINE)) << '\n';
        }
    }
}

inline std::vector<Turn> readTurns(const std::string& file) {
    std::ifstream in(file);
    std::vector<Turn> turns;
    for (std::string line; std::getline(in, line);) {
        if (line.empty() || line.front() == '#') {
            continue;
        }
        const bool isOfClient = line.front() == '>';
        if (turns.empty() || turns.back().isOfClient != isOfClient) {
            turns.push_back({isOfClient, {}});
        }
        turns.back().bytes += payloads::fromHex(std::string_view(line).substr(2));
    }
    return turns;
}
/// @}

/// Decodes what one side of an HTTP/2 connection has sent: the messages of its streams, which are
/// requests or answers, as texts.
class Decoder {
public:
    /// Decodes the requests of a client, or the answers of a server to the first `requests`
    /// streams.
    explicit Decoder(bool ofClient, int requests = 0) : isOfClient_(ofClient) {
        nghttp2_session_callbacks* callbacks = nullptr;
        nghttp2_session_callbacks_new(&callbacks);
        nghttp2_session_callbacks_set_on_header_callback(callbacks, onHeader);
        nghttp2_session_callbacks_set_on_data_chunk_recv_callback(callbacks, onData);
        nghttp2_session_callbacks_set_on_frame_recv_callback(callbacks, onFrame);
        if (ofClient) {
            nghttp2_session_server_new(&session_, callbacks, this);
        } else {
            nghttp2_session_client_new(&session_, callbacks, this);
        }
        nghttp2_session_callbacks_del(callbacks);
        // The other side acknowledges settings, and answers streams that are open.
        nghttp2_submit_settings(session_, NGHTTP2_FLAG_NONE, nullptr, 0);
        for (int i = 0; i < requests; ++i) {
            nghttp2_submit_request(session_, nullptr, nullptr, 0, nullptr, nullptr);
        }
        discardOutput();
    }
    ~Decoder() { nghttp2_session_del(session_); }
    Decoder(const Decoder&) = delete;
    Decoder& operator=(const Decoder&) = delete;

    /// Throws `std::runtime_error` if the bytes are not HTTP/2.
    void add(const std::string& bytes) {
        const auto result = nghttp2_session_mem_recv(
            session_, reinterpret_cast<std::uint8_t const*>(bytes.data()), bytes.size());
        if (result != static_cast<ssize_t>(bytes.size())) {
            throw std::runtime_error("not HTTP/2: " + payloads::toHex(bytes));
        }
        discardOutput();
    }

    /// Returns the number of messages that are complete.
    int complete() const { return complete_; }
    /// Returns the number of frames SETTINGS, those that acknowledge others included.
    int settings() const { return settings_; }
    /// Returns the messages in the order of their streams: their header fields that matter to the
    /// records, and each record.
    std::vector<std::vector<std::string>> messages() const {
        std::vector<std::vector<std::string>> messages;
        for (const auto& [number, message] : messages_) {
            messages.push_back(textsOf(message));
        }
        return messages;
    }

private:
    struct Message {
        std::map<std::string, std::string> fields;
        std::string body;
    };

    void discardOutput() {
        std::uint8_t const* bytes = nullptr;
        while (nghttp2_session_mem_send(session_, &bytes) > 0) {
        }
    }

    static std::vector<std::string> textsOf(const Message& message) {
        std::vector<std::string> texts;
        for (char const* const name : {":method", ":path", ":status", "content-type"}) {
            const auto field = message.fields.find(name);
            if (field != message.fields.end()) {
                texts.push_back(field->first + ": " + field->second);
            }
        }
        wire::RecordReader reader(1U << 20U);
        reader.add(message.body);
        for (auto record = reader.next().orThrow(); record; record = reader.next().orThrow()) {
            texts.push_back(textOfRecord(*record));
        }
        if (reader.isInside()) {
            texts.push_back("an incomplete record");
        }
        return texts;
    }

    static std::string textOfRecord(const wire::Record& record) {
        using wire::RecordKind;
        switch (record.kind) {
            case RecordKind::request:
                return record.toRequest().orThrow().toString();
            case RecordKind::next:
                return "next " + textOf(record.toResponse().orThrow());
            case RecordKind::error:
                return "error " + textOf(record.toResponse().orThrow());
            case RecordKind::completed:
                return "completed";
        }
        return "unknown";
    }

    static Decoder& self(void* user) { return *static_cast<Decoder*>(user); }
    static int onHeader(nghttp2_session*, nghttp2_frame const* frame, std::uint8_t const* name,
                        size_t nameSize, std::uint8_t const* value, size_t valueSize, std::uint8_t,
                        void* user) {
        const std::string key(reinterpret_cast<char const*>(name), nameSize);
        self(user).messages_[frame->hd.stream_id].fields[key].assign(
            reinterpret_cast<char const*>(value), valueSize);
        return 0;
    }
    static int onData(nghttp2_session*, std::uint8_t, std::int32_t number,
                      std::uint8_t const* bytes, size_t size, void* user) {
        self(user).messages_[number].body.append(reinterpret_cast<char const*>(bytes), size);
        return 0;
    }
    static int onFrame(nghttp2_session* session, nghttp2_frame const* frame, void* user) {
        if (frame->hd.type == NGHTTP2_SETTINGS) {
            ++self(user).settings_;
        }
        const bool hasBytes = frame->hd.type == NGHTTP2_HEADERS || frame->hd.type == NGHTTP2_DATA;
        if (hasBytes && (frame->hd.flags & NGHTTP2_FLAG_END_STREAM) != 0) {
            ++self(user).complete_;
            if (self(user).isOfClient_) {
                // Nothing answers the request here: forget it, so that its stream is not counted.
                nghttp2_submit_rst_stream(session, NGHTTP2_FLAG_NONE, frame->hd.stream_id,
                                          NGHTTP2_NO_ERROR);
            }
        }
        return 0;
    }

    bool isOfClient_;
    nghttp2_session* session_ = nullptr;
    std::map<std::int32_t, Message> messages_;
    int complete_ = 0;
    int settings_ = 0;
};

}  // namespace kova::test
