#pragma once

#include "library/BlockingWait.h"

#include <gtest/gtest.h>

#include <stdexcept>

// The error the task ends with; a task that succeeds fails the test.
template <typename Error, typename T>
Error awaitFailure(QCoro::Task<T> task)
{
    try {
        BlockingWait::wait(std::move(task));
    } catch (const Error& error) {
        return error;
    }
    ADD_FAILURE() << "the task succeeded, but an error was expected";
    throw std::logic_error("no error");
}
