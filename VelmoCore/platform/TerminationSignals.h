#pragma once

// Turns SIGINT, SIGTERM and SIGHUP into an orderly QCoreApplication::quit(), so that pending
// store writes are flushed when the session ends or the user presses Ctrl+C.
namespace TerminationSignals {

void quitApplicationOnSignal();

} // namespace TerminationSignals
