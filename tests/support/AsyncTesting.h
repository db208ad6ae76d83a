#pragma once

#include <QCoro/QCoroTask>

#include <gtest/gtest.h>

#include <exception>
#include <optional>
#include <stdexcept>

// Running coroutines to their end from a test. QCoro::waitFor alone would wait forever for a
// task that throws; these hand the exception back to the test instead.
namespace AsyncTesting {

template <typename T>
QCoro::Task<std::optional<T>> capture(QCoro::Task<T> task, std::exception_ptr& error)
{
    try {
        co_return co_await task;
    } catch (...) {
        error = std::current_exception();
        co_return std::nullopt;
    }
}

} // namespace AsyncTesting

// The task's result, or its exception rethrown.
template <typename T>
T awaitTask(QCoro::Task<T> task)
{
    std::exception_ptr error;
    std::optional<T> result = QCoro::waitFor(AsyncTesting::capture(std::move(task), error));
    if (error)
        std::rethrow_exception(error);
    return std::move(*result);
}

// The error the task ends with; a task that succeeds fails the test.
template <typename Error, typename T>
Error awaitFailure(QCoro::Task<T> task)
{
    try {
        awaitTask(std::move(task));
    } catch (const Error& error) {
        return error;
    }
    ADD_FAILURE() << "the task succeeded, but an error was expected";
    throw std::logic_error("no error");
}
