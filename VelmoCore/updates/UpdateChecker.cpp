#include "UpdateChecker.h"

#include "metadata/ServiceSettings.h"

using namespace Qt::StringLiterals;

namespace UpdateChecker {

QString Answer::message() const
{
    if (isNewer)
        return u"Sonorelle %1 is available (you have %2)."_s.arg(newest.version, currentVersion);
    return u"Sonorelle %1 is the newest version."_s.arg(currentVersion);
}

CheckError::CheckError(Kind kind, const QString& sentence)
    : std::runtime_error(sentence.toStdString())
    , m_kind(kind)
    , m_message(sentence)
{
}

QUrl feedAddress()
{
    return ServiceSettings::load().updates;
}

QCoro::Task<Answer> check(QString currentVersion, MetadataHTTPClient& client)
{
    const QUrl address = feedAddress();
    if (address.isEmpty())
        throw CheckError(CheckError::Kind::notConfigured, u"No update address is configured."_s);
    QByteArray body;
    try {
        body = co_await client.get(address);
    } catch (const MetadataHTTPClient::HTTPError& error) {
        throw CheckError(CheckError::Kind::networkError,
                         u"The update address could not be read: %1"_s.arg(error.message()));
    }
    try {
        const ReleaseFeed::Release newest = ReleaseFeed::newest(ReleaseFeed::parse(body));
        co_return Answer{currentVersion, newest, ReleaseFeed::compareVersions(newest.version, currentVersion) > 0};
    } catch (const ReleaseFeed::FeedError& error) {
        throw CheckError(CheckError::Kind::invalidFeed, error.message());
    }
}

} // namespace UpdateChecker
