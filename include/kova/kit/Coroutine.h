#pragma once

#include <version>

/// `co_await` on calls and on the values of a stream, for programs in C++20. In C++17 this header
/// declares nothing. In a coroutine of any type that the program defines,
///
/// - `co_await client.retrieve<Volume>("/volume")` returns the value or throws `KovaException`,
/// - `co_await asResult(client.retrieve<Volume>("/volume"))` returns a `Result<Volume>`,
/// - `co_await stream.next()` returns the next value of a `Stream<State>` as a `Result<State>`.
///
/// The coroutine resumes on the executor of the call (`Call::on`, `ClientOptions::executor`). If
/// the call has the inline executor, the coroutine resumes on the thread on which the service sends
/// the end of the call, or on the kit's thread if the call ends without an event of the service.
/// Destroying a suspended coroutine cancels its call. Destroy it on its executor, or when nothing
/// can resume it any more, but not while another thread may resume it.
#if defined(__cpp_impl_coroutine) || defined(__cpp_coroutines)

#include <atomic>
#include <coroutine>
#include <memory>
#include <optional>
#include <utility>

#include "kova/kit/Call.h"
#include "kova/kit/Stream.h"

namespace kova::kit {

namespace detail {

/// Waits for the end of a call, and returns its value as a `Result`.
template <typename T>
class ResultAwaiter {
public:
    explicit ResultAwaiter(Call<T> call) : draft_(std::move(call).release()) {}
    // The subscription is the last member and is destroyed first, so that no callback resumes a
    // destroyed coroutine.
    ResultAwaiter(const ResultAwaiter&) = delete;
    ResultAwaiter& operator=(const ResultAwaiter&) = delete;

    bool await_ready() const noexcept { return false; }
    bool await_suspend(std::coroutine_handle<> coroutine) {
        answer_->coroutine = coroutine;
        draft_.onValue = [answer = answer_](const Response& value) -> Result<void> {
            answer->value = value;
            return {};
        };
        draft_.onEnd = [answer = answer_](const End& end) {
            answer->end = end;
            // Two steps must happen before the coroutine resumes: the call ends (here), and
            // `await_suspend` has started the call. The later step resumes the coroutine.
            if (answer->secondStep.exchange(true)) {
                answer->coroutine.resume();
            }
        };
        const std::shared_ptr<Answer> answer = answer_;
        call_ = draft_.start();
        // If the call has already ended, the coroutine continues on this thread. Otherwise another
        // thread may resume and destroy the coroutine from now on.
        return !answer->secondStep.exchange(true);
    }
    Result<T> await_resume() {
        call_.detach();
        if (!answer_->end->ok()) {
            return answer_->end->error();
        }
        if (!answer_->value && NEEDS_VALUE<T>) {
            return Error{statuscodes::BAD_GATEWAY,
                         "the service completed the request without a value"};
        }
        return ResponseReader<T>::read(answer_->value.value_or(Response(statuscodes::OK)));
    }

private:
    struct Answer {
        std::coroutine_handle<> coroutine;
        std::optional<Response> value;
        std::optional<End> end;
        std::atomic<bool> secondStep{false};
    };

    CallDraft draft_;
    std::shared_ptr<Answer> answer_ = std::make_shared<Answer>();
    Subscription call_;
};

/// Waits for the end of a call. Returns its value or throws `KovaException`.
template <typename T>
class ValueAwaiter : public ResultAwaiter<T> {
public:
    using ResultAwaiter<T>::ResultAwaiter;

    T await_resume() { return ResultAwaiter<T>::await_resume().orThrow(); }
};

}  // namespace detail

/// Enables `co_await` on a call. The expression sends the call and returns the value, or throws
/// `KovaException`.
template <typename T>
detail::ValueAwaiter<T> operator co_await(Call<T>&& call) {
    return detail::ValueAwaiter<T>(std::move(call));
}

/// Enables `co_await` on a call. The expression sends the call and returns a `Result`.
template <typename T>
detail::ResultAwaiter<T> asResult(Call<T> call) {
    return detail::ResultAwaiter<T>(std::move(call));
}

/// Waits for the next value of a stream. Returns the value, or the reason why the stream has ended
/// (`Stream::wait`).
template <typename T>
class Stream<T>::Next {
public:
    explicit Next(Stream& stream) : stream_(stream) {}
    ~Next() { stream_.state_->forget(); }
    Next(const Next&) = delete;
    Next& operator=(const Next&) = delete;

    bool await_ready() const { return stream_.state_->isReady(); }
    bool await_suspend(std::coroutine_handle<> coroutine) {
        // When this call returns, the coroutine may already have been resumed and destroyed.
        return stream_.state_->whenReady([coroutine] { coroutine.resume(); });
    }
    Result<T> await_resume() { return stream_.take(); }

private:
    Stream& stream_;
};

}  // namespace kova::kit

#endif
