#include "TerminationSignals.h"

#include <QCoreApplication>
#include <QSocketNotifier>

#include <csignal>
#include <sys/socket.h>
#include <unistd.h>

namespace TerminationSignals {

namespace {

int signalPipe[2] = {-1, -1};

void onSignal(int)
{
    // Only async-signal-safe work here: the event loop reads the byte and quits.
    const char byte = 1;
    [[maybe_unused]] const ssize_t written = ::write(signalPipe[0], &byte, 1);
}

} // namespace

void quitApplicationOnSignal()
{
    if (signalPipe[0] != -1 || ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, signalPipe) != 0)
        return;
    auto* notifier = new QSocketNotifier(signalPipe[1], QSocketNotifier::Read, QCoreApplication::instance());
    QObject::connect(notifier, &QSocketNotifier::activated, notifier, [notifier] {
        char byte = 0;
        [[maybe_unused]] const ssize_t read = ::read(signalPipe[1], &byte, 1);
        notifier->setEnabled(false);
        QCoreApplication::quit();
    });
    struct sigaction action = {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    for (int signal : {SIGINT, SIGTERM, SIGHUP})
        ::sigaction(signal, &action, nullptr);
}

} // namespace TerminationSignals
