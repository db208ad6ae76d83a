#pragma once

#include <QCoro/QCoroTask>

#include <exception>
#include <optional>
#include <type_traits>

// Runs a task to its end in a nested event loop and hands back its value or rethrows its
// exception. QCoro::waitFor alone never returns when the task throws.
template <typename T>
T awaitTask(QCoro::Task<T>&& task)
{
    std::exception_ptr failure;
    if constexpr (std::is_void_v<T>) {
        const auto run = [&]() -> QCoro::Task<> {
            try {
                co_await std::move(task);
            } catch (...) {
                failure = std::current_exception();
            }
        };
        QCoro::waitFor(run());
        if (failure)
            std::rethrow_exception(failure);
    } else {
        std::optional<T> result;
        const auto run = [&]() -> QCoro::Task<> {
            try {
                result = co_await std::move(task);
            } catch (...) {
                failure = std::current_exception();
            }
        };
        QCoro::waitFor(run());
        if (failure)
            std::rethrow_exception(failure);
        return std::move(*result);
    }
}
