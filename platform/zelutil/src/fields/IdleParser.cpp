#include "fields/IdleParser.h"

#include <algorithm>
#include <new>

#include "json/JsonDetection.h"

namespace util::json {

namespace {

const ProcessorDetection DETECTION;

// The idle parser of a thread. It is a plain pointer, so it can be used while other objects of the
// thread are destroyed. After the thread's `Owner` is destroyed, the thread keeps no parser.
thread_local TextParser* t_idle = nullptr;
thread_local bool t_isClosed = false;

struct Owner {
    Owner() noexcept = default;
    Owner(const Owner&) = delete;
    Owner& operator=(const Owner&) = delete;
    ~Owner() {
        t_isClosed = true;
        delete t_idle;
        t_idle = nullptr;
    }
    // Does nothing. The first call in a thread constructs this object, so that its destructor runs
    // at the end of the thread.
    void touch() const noexcept {}
};

thread_local const Owner t_owner;

}  // namespace

bool TextParser::parse(std::string_view payload) noexcept {
    if (text == nullptr || capacity < payload.size()) {
        text.reset(new (std::nothrow) char[payload.size() + simdjson::SIMDJSON_PADDING]);
        capacity = text == nullptr ? 0 : payload.size();
    }
    if (text == nullptr) {
        return false;
    }
    std::copy(payload.begin(), payload.end(), text.get());
    std::fill_n(text.get() + payload.size(), simdjson::SIMDJSON_PADDING, '\0');
    const auto error = parser.parse(text.get(), payload.size(), false).error();
    if (error == simdjson::MEMALLOC) {
        // After MEMALLOC the parser wrongly assumes that its buffers have full size, so start over
        // with a new one.
        parser = simdjson::dom::parser();
    }
    return error == simdjson::SUCCESS;
}

ParserLoan::~ParserLoan() {
    if (parser_ != nullptr && parser_->capacity <= MAX_KEPT && t_idle == nullptr && !t_isClosed) {
        t_owner.touch();
        t_idle = parser_.release();
    }
}

simdjson::dom::document const* ParserLoan::parse(std::string_view payload) noexcept {
    parser_.reset(t_idle);
    t_idle = nullptr;
    if (parser_ == nullptr) {
        parser_.reset(new (std::nothrow) TextParser);
    }
    return parser_ != nullptr && parser_->parse(payload) ? &parser_->parser.doc : nullptr;
}

}  // namespace util::json
