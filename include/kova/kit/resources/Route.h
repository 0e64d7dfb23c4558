#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "kova/kit/Executor.h"
#include "kova/kit/Mountable.h"
#include "kova/kit/Schema.h"
#include "kova/kit/resources/Dispatch.h"

namespace kova::kit::detail {

/// A route: a command, a template of paths, and the function (type-erased) or the stream that
/// serves their requests.
struct Route {
    /// The command, the template of the path, and the schemas.
    Operation operation;
    /// For each parameter of the function after the first one, the kind of text that it accepts
    /// from a path. The last parameter may be the body.
    std::vector<ArgumentKind> arguments;
    /// Whether the last parameter can be read from a body.
    bool acceptsBody = false;
    /// The schema of the last parameter, if it is the body.
    Payload (*lastSchema)() = nullptr;
    /// Calls the function and answers the request, unless the function answers later.
    std::function<void(Dispatch&)> invoke;
    /// The executor of the function. By default the function runs on the thread of the request.
    Executor executor;
    /// The stream that serves all commands of the template; null for a function.
    std::shared_ptr<Served> stream;
    /// The number of characters in the path of a request before the path of an element of the
    /// stream.
    std::size_t prefix = 0;
};

/// @{
/// The type of the value in the answer, for a function with this result type; `void` if the answer
/// has no value.
template <typename T>
struct AnswerOf {
    using Type = T;
};
template <typename T>
struct AnswerOf<Result<T>> : AnswerOf<T> {};
template <typename T>
struct AnswerOf<Answered<T>> : AnswerOf<T> {};
template <typename T>
struct AnswerOf<Reply<T>> : AnswerOf<T> {};
template <>
struct AnswerOf<Error> : AnswerOf<void> {};
template <>
struct AnswerOf<char const*> : AnswerOf<std::string> {};
/// @}

template <typename T>
inline constexpr bool IS_REPLY = false;
template <typename T>
inline constexpr bool IS_REPLY<Reply<T>> = true;

template <typename T>
constexpr auto schemaFunction() noexcept -> Payload (*)() {
    if constexpr (std::is_void_v<T> || std::is_same_v<T, Response> ||
                  std::is_same_v<T, std::string_view>) {
        return nullptr;
    } else {
        return &schemaOf<T>;
    }
}

/// The parameters of a function between its first parameter and a `Reply`.
template <typename Reply, typename... Between>
struct Parameters {
    using Values = std::tuple<Between...>;
    using ReplyType = Reply;
};
/// Splits a list of types into a `Reply` at its end, if there is one, and the types before it.
template <typename Done, typename... Rest>
struct SplitReply;
template <typename... Done>
struct SplitReply<std::tuple<Done...>> : Parameters<void, Done...> {};
template <typename... Done, typename Last>
struct SplitReply<std::tuple<Done...>, Last>
    : std::conditional_t<IS_REPLY<Last>, Parameters<Last, Done...>,
                         Parameters<void, Done..., Last>> {};
template <typename... Done, typename Next, typename After, typename... Rest>
struct SplitReply<std::tuple<Done...>, Next, After, Rest...>
    : SplitReply<std::tuple<Done..., Next>, After, Rest...> {
    static_assert(!IS_REPLY<Next>, "a Reply is the last parameter");
};

/// @{
/// The types of the parameters and of the result of a function pointer.
template <typename Pointer>
struct PointerSignature;
template <typename R, typename First, typename... Rest>
struct PointerSignature<R (*)(First, Rest...)> : SplitReply<std::tuple<>, std::decay_t<Rest>...> {
    using Result = R;
    using FirstType = std::decay_t<First>;
};
/// @}

/// @{
/// The type of a function pointer with the same parameters and result as a member function.
template <typename Pointer>
struct WithoutClass {
    using Type = Pointer;
};
template <typename R, typename... A>
struct WithoutClass<R (*)(A...) noexcept> {
    using Type = R (*)(A...);
};
template <typename C, typename R, typename... A>
struct WithoutClass<R (C::*)(A...)> {
    using Type = R (*)(A...);
};
template <typename C, typename R, typename... A>
struct WithoutClass<R (C::*)(A...) const> {
    using Type = R (*)(A...);
};
template <typename C, typename R, typename... A>
struct WithoutClass<R (C::*)(A...) noexcept> {
    using Type = R (*)(A...);
};
template <typename C, typename R, typename... A>
struct WithoutClass<R (C::*)(A...) const noexcept> {
    using Type = R (*)(A...);
};
/// @}

/// @{
/// The type of a function pointer with the parameters and the result of `F`. For a function object
/// these are those of its call operator.
template <typename F, typename = void>
struct CalledFunction {
    using Type = F;
};
template <typename F>
struct CalledFunction<F, std::void_t<decltype(&F::operator())>> {
    using Type = decltype(&F::operator());
};
/// @}

/// The types of the parameters and of the result of a function or function object.
template <typename F>
using Signature = PointerSignature<typename WithoutClass<typename CalledFunction<F>::Type>::Type>;

/// Calls a function with the arguments of one request.
template <typename F, typename Sig>
class Invocation {
    using Values = typename Sig::Values;
    using ReplyType = typename Sig::ReplyType;
    using Indices = std::make_index_sequence<std::tuple_size_v<Values>>;

public:
    static void run(F& function, Dispatch& dispatch) { run(function, dispatch, Indices()); }

private:
    template <std::size_t... I>
    static void run(F& function, Dispatch& dispatch, std::index_sequence<I...>) {
        Values values;
        if (!(readArgument(dispatch, I, std::get<I>(values)) && ...)) {
            return;
        }
        if constexpr (!std::is_void_v<ReplyType>) {
            auto reply = dispatch.defer<ReplyType>();  // first, as it copies the request
            function(first(dispatch), std::move(std::get<I>(values))..., std::move(reply));
        } else if constexpr (std::is_void_v<typename Sig::Result>) {
            function(first(dispatch), std::move(std::get<I>(values))...);
            dispatch.done();
        } else {
            respondWith(dispatch, function(first(dispatch), std::move(std::get<I>(values))...));
        }
    }
    static decltype(auto) first(Dispatch& dispatch) noexcept {
        if constexpr (std::is_same_v<typename Sig::FirstType, Job>) {
            return dispatch.job();
        } else {
            return dispatch.ask();
        }
    }
};

template <typename... T>
std::vector<ArgumentKind> argumentKinds(std::tuple<T...> const* /*types*/) {
    return {argumentKind<T>()...};
}

/// Returns the route of a function.
template <typename First, typename F>
Route makeRoute(std::string_view command, std::string_view path, F function) {
    using Sig = Signature<F>;
    static_assert(std::is_same_v<typename Sig::FirstType, First>,
                  "the first parameter is const Ask&, with a worker Job&");
    using Values = typename Sig::Values;
    using Answer = std::conditional_t<std::is_void_v<typename Sig::ReplyType>, typename Sig::Result,
                                      typename Sig::ReplyType>;
    Route route;
    route.operation.command = command;
    route.operation.path = path;
    route.operation.valueSchema = schemaFunction<typename AnswerOf<Answer>::Type>();
    route.arguments = argumentKinds(static_cast<Values const*>(nullptr));
    if constexpr (std::tuple_size_v < Values >> 0) {
        using Last = std::tuple_element_t<std::tuple_size_v<Values> - 1, Values>;
        route.acceptsBody = !std::is_same_v<Last, std::string_view>;
        route.lastSchema = schemaFunction<Last>();
    }
    // Held by a shared pointer, because the content of a `std::function` must be copyable, and
    // `function` may be movable only.
    route.invoke = [function = std::make_shared<F>(std::move(function))](Dispatch& dispatch) {
        Invocation<F, Sig>::run(*function, dispatch);
    };
    return route;
}

}  // namespace kova::kit::detail
