#include "ServiceURL.h"

using namespace Qt::StringLiterals;

namespace ServiceURL {

QUrl make(const QUrl& base, const QString& path, const QList<QueryItem>& query)
{
    QUrl url = base;
    QString basePath = base.path(QUrl::FullyEncoded);
    while (basePath.endsWith(u'/'))
        basePath.chop(1);
    url.setPath(basePath + path, QUrl::StrictMode);
    QStringList pairs;
    for (const QueryItem& item : query) {
        const QByteArray value = QUrl::toPercentEncoding(item.value, item.literalPlus ? "+" : "");
        pairs.append(QString::fromLatin1(QUrl::toPercentEncoding(item.name)) + u'=' + QString::fromLatin1(value));
    }
    if (pairs.isEmpty())
        url.setQuery(QString());
    else
        url.setQuery(pairs.join(u'&'), QUrl::StrictMode);
    url.setFragment(QString());
    return url;
}

QString pathSegment(const QString& text)
{
    return QString::fromLatin1(QUrl::toPercentEncoding(text));
}

} // namespace ServiceURL
