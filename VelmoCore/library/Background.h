#pragma once

#include <QCoro/QCoroFuture>
#include <QCoro/QCoroTask>
#include <QtConcurrent/QtConcurrentRun>

#include <exception>
#include <optional>
#include <type_traits>
#include <utility>

// Runs blocking work (files, tags, decoding) on the global thread pool and resumes the
// awaiting coroutine on its own thread with the result. An exception thrown by the work is
// rethrown to the awaiter as itself: QFuture alone would wrap it in QUnhandledException and
// lose its type.
//
// Name the function before awaiting: g++ 12 destroys a lambda or aggregate temporary that
// is created inside a co_await expression twice, so write
//     const auto write = [track] { TagWriter::write(track); };
//     co_await Background::run(write);
// and never `co_await Background::run([track] { ... })`. The same holds for a co_await inside
// ?:. A test scans the sources for both.
namespace Background {

template <typename Function>
auto run(Function&& function) -> QCoro::Task<std::invoke_result_t<std::decay_t<Function>&>>
{
    using Result = std::invoke_result_t<std::decay_t<Function>&>;
    if constexpr (std::is_void_v<Result>) {
        auto job = [function = std::decay_t<Function>(std::forward<Function>(function))]() mutable {
            try {
                function();
                return std::exception_ptr();
            } catch (...) {
                return std::current_exception();
            }
        };
        std::exception_ptr error = co_await QtConcurrent::run(std::move(job));
        if (error)
            std::rethrow_exception(error);
    } else {
        struct Outcome {
            std::optional<Result> value;
            std::exception_ptr error;
        };
        auto job = [function = std::decay_t<Function>(std::forward<Function>(function))]() mutable {
            try {
                return Outcome{function(), nullptr};
            } catch (...) {
                return Outcome{std::nullopt, std::current_exception()};
            }
        };
        Outcome outcome = co_await QtConcurrent::run(std::move(job));
        if (outcome.error)
            std::rethrow_exception(outcome.error);
        co_return std::move(*outcome.value);
    }
}

} // namespace Background
