#pragma once

#include <QLockFile>
#include <QString>

#include <optional>

// Held for its lifetime by the one process that may write the stores (the application, or
// a `velmo` command that changes the library), so that two writers never overwrite each
// other's stores. A lock left by a process that has died is taken over.
class LibraryLock {
public:
    LibraryLock();

    // On refusal, the sentence for the user naming who holds the lock.
    std::optional<QString> acquire();

private:
    QLockFile m_lock;
};
