#include "UpdateCheck.h"

#include "library/Date.h"
#include "library/Settings.h"
#include "updates/UpdateChecker.h"

#include <QDesktopServices>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>

using namespace Qt::StringLiterals;

UpdateCheck::UpdateCheck(QString currentVersion, Presenter presenter, QObject* parent, MetadataHTTPClient& client)
    : QObject(parent)
    , m_currentVersion(std::move(currentVersion))
    , m_presenter(std::move(presenter))
    , m_client(client)
{
}

UpdateCheck::Presenter UpdateCheck::dialogOver(QWidget* window)
{
    return [window = QPointer<QWidget>(window)](const QString& message, const std::optional<QUrl>& link) {
        QMessageBox box(QMessageBox::Information, u"Check for Updates"_s, message, QMessageBox::Close, window);
        QPushButton* open = link ? box.addButton(u"Open Release Page"_s, QMessageBox::AcceptRole) : nullptr;
        box.exec();
        if (open && box.clickedButton() == open)
            QDesktopServices::openUrl(*link);
    };
}

QCoro::Task<> UpdateCheck::checkNow()
{
    co_await run(false);
}

QCoro::Task<> UpdateCheck::checkAtStart()
{
    constexpr qint64 day = 24 * 60 * 60;
    const qint64 now = qint64(Date::now().secondsSinceReferenceDate);
    if (!Settings::value(Settings::automaticallyCheckForUpdates) || now - Settings::value(Settings::lastUpdateCheck) < day)
        co_return;
    co_await run(true);
}

QCoro::Task<> UpdateCheck::run(bool quietUnlessNewer)
{
    if (m_checking)
        co_return;
    m_checking = true;
    QPointer<UpdateCheck> self(this);
    std::optional<QString> message;
    std::optional<QUrl> link;
    try {
        const UpdateChecker::Answer answer = co_await UpdateChecker::check(m_currentVersion, m_client);
        if (answer.isNewer) {
            message = answer.message();
            link = answer.newest.link;
        } else if (!quietUnlessNewer) {
            message = answer.message();
        }
    } catch (const UpdateChecker::CheckError& error) {
        if (!quietUnlessNewer)
            message = error.message();
    }
    if (!self)
        co_return;
    Settings::setValue(Settings::lastUpdateCheck, qint64(Date::now().secondsSinceReferenceDate));
    m_checking = false;
    if (message)
        m_presenter(*message, link && link->isValid() && !link->isEmpty() ? link : std::nullopt);
    emit finished();
}
