#pragma once

#include "ReleaseFeed.h"
#include "metadata/MetadataHTTPClient.h"

#include <QCoro/QCoroTask>
#include <QString>
#include <QUrl>

#include <stdexcept>

// Asks the configured release feed whether a newer version than the running one exists.
namespace UpdateChecker {

struct Answer {
    QString currentVersion;
    ReleaseFeed::Release newest;
    bool isNewer = false;

    // "Sonorelle X is available (you have Y)." or "Sonorelle Y is the newest version."
    QString message() const;
};

class CheckError : public std::runtime_error {
public:
    enum class Kind { notConfigured, networkError, invalidFeed };

    CheckError(Kind kind, const QString& sentence);
    Kind kind() const { return m_kind; }
    const QString& message() const { return m_message; }

private:
    Kind m_kind;
    QString m_message;
};

// The feed address from services.conf (`updates=`); none is compiled in.
QUrl feedAddress();

// Throws CheckError.
QCoro::Task<Answer> check(QString currentVersion, MetadataHTTPClient& client = MetadataHTTPClient::shared());

} // namespace UpdateChecker
