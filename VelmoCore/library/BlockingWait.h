#pragma once

#include <QCoro/QCoroTask>
#include <QEventLoop>

#include <exception>
#include <optional>
#include <type_traits>

// Runs a coroutine to its end in a nested event loop, for the command line and for tests.
// Unlike QCoro::waitFor, an exception thrown by the task is rethrown here instead of leaving
// the loop running for ever.
namespace BlockingWait {

namespace Detail {

template <typename T>
struct Outcome {
    std::conditional_t<std::is_void_v<T>, bool, std::optional<T>> value{};
    std::exception_ptr error;
    bool finished = false;
};

template <typename T>
QCoro::Task<> drive(QCoro::Task<T>& task, Outcome<T>& outcome, QEventLoop& loop)
{
    try {
        if constexpr (std::is_void_v<T>)
            co_await task;
        else
            outcome.value = co_await task;
    } catch (...) {
        outcome.error = std::current_exception();
    }
    outcome.finished = true;
    loop.quit();
}

} // namespace Detail

template <typename T>
T wait(QCoro::Task<T>&& task)
{
    QEventLoop loop;
    Detail::Outcome<T> outcome;
    QCoro::Task<> driver = Detail::drive(task, outcome, loop);
    if (!outcome.finished)
        loop.exec();
    if (outcome.error)
        std::rethrow_exception(outcome.error);
    if constexpr (!std::is_void_v<T>)
        return std::move(*outcome.value);
}

} // namespace BlockingWait
