#pragma once

#include "metadata/MetadataHTTPClient.h"

#include <QCoro/QCoroTask>
#include <QObject>
#include <QUrl>

#include <functional>
#include <optional>

class QWidget;

// "Check for Updates…": asks the release feed and tells the answer, with the release's page
// when a newer version exists. At start it asks by itself when the user wants that, at most
// once a day, and then speaks only of a newer version.
class UpdateCheck : public QObject {
    Q_OBJECT

public:
    // Shows the sentence, with a way to open the link when there is one.
    using Presenter = std::function<void(const QString& message, const std::optional<QUrl>& link)>;

    UpdateCheck(QString currentVersion, Presenter presenter, QObject* parent = nullptr,
                MetadataHTTPClient& client = MetadataHTTPClient::shared());

    // A message box over the window, with "Open Release Page" for a newer version.
    static Presenter dialogOver(QWidget* window);

    bool isChecking() const { return m_checking; }

    QCoro::Task<> checkNow();
    // Runs the check when automatic checks are on and the last was a day or more ago.
    QCoro::Task<> checkAtStart();

signals:
    void finished();

private:
    QCoro::Task<> run(bool quietUnlessNewer);

    QString m_currentVersion;
    Presenter m_presenter;
    MetadataHTTPClient& m_client;
    bool m_checking = false;
};
