#include "CTDBDatabase.h"

#include "metadata/ServiceSettings.h"

#include <QLocale>
#include <QXmlStreamReader>

using namespace Qt::StringLiterals;

namespace CTDB {

namespace {

const QString xmlNamespace = u"http://db.cuetools.net/ns/mmd-1.0#"_s;

quint32 hexCRC(QStringView text, bool* ok)
{
    const qulonglong value = text.toULongLong(ok, 16);
    if (*ok && value > 0xFFFFFFFFull)
        *ok = false;
    return quint32(value);
}

qint64 number(const QXmlStreamAttributes& attributes, const QString& name, bool required)
{
    if (!attributes.hasAttribute(name)) {
        if (required)
            throw Error::malformed(u"an entry has no %1"_s.arg(name));
        return 0;
    }
    bool ok = false;
    const qint64 value = attributes.value(name).toLongLong(&ok);
    if (!ok || value < 0)
        throw Error::malformed(u"an entry's %1 is not a number"_s.arg(name));
    return value;
}

Entry readEntry(const QXmlStreamAttributes& attributes)
{
    Entry entry{.id = number(attributes, u"id"_s, false),
                .confidence = number(attributes, u"confidence"_s, true),
                .toc = attributes.value(u"toc"_s).toString(),
                .stride = number(attributes, u"stride"_s, false),
                .npar = number(attributes, u"npar"_s, false)};
    bool ok = false;
    entry.crc32 = hexCRC(attributes.value(u"crc32"_s), &ok);
    if (!ok)
        throw Error::malformed(u"an entry's crc32 is not a hexadecimal CRC"_s);
    const QString tracks = attributes.value(u"trackcrcs"_s).toString();
    for (const QString& item : tracks.split(u' ', Qt::SkipEmptyParts)) {
        entry.trackCRCs.append(hexCRC(item, &ok));
        if (!ok)
            throw Error::malformed(u"an entry's trackcrcs are not hexadecimal CRCs"_s);
    }
    return entry;
}

} // namespace

Error Error::malformed(const QString& detail)
{
    return Error(Kind::malformed, u"The CTDB answer could not be read: %1."_s.arg(detail));
}

Error Error::tooLarge()
{
    return Error(Kind::tooLarge,
                 u"The CTDB answer is larger than %1, more than any disc has; it was not read."_s.arg(
                     QLocale::c().formattedDataSize(largestAnswer)));
}

Error Error::networkError(const MetadataHTTPClient::HTTPError& error)
{
    return Error(Kind::networkError, u"CTDB could not be asked: %1"_s.arg(error.message()), error);
}

QList<Entry> parse(const QByteArray& xml)
{
    if (xml.size() > largestAnswer)
        throw Error::tooLarge();
    QXmlStreamReader reader(xml);
    if (!reader.readNextStartElement())
        throw Error::malformed(reader.hasError() ? reader.errorString() : u"it is empty"_s);
    if (reader.name() != u"ctdb"_s || reader.namespaceUri() != xmlNamespace)
        throw Error::malformed(u"it is not a CTDB answer"_s);
    QList<Entry> entries;
    while (reader.readNextStartElement()) {
        // An entry without its disc is one the database's own client passes over too.
        if (reader.name() == u"entry"_s && reader.namespaceUri() == xmlNamespace
            && !reader.attributes().value(u"toc"_s).isEmpty()) {
            Entry entry = readEntry(reader.attributes());
            if (!CTDBTOC::fromText(entry.toc))
                throw Error::malformed(u"an entry's toc is not a table of contents"_s);
            entries.append(std::move(entry));
        }
        reader.skipCurrentElement();
    }
    if (reader.hasError())
        throw Error::malformed(reader.errorString());
    return entries;
}

QUrl lookupURL(const CTDBTOC& toc, const QUrl& service)
{
    QUrl url = service;
    QString base = url.path();
    if (!base.endsWith(u'/'))
        base += u'/';
    url.setPath(base + u"lookup2.php"_s);
    // The database reads the table of contents as it is, its ':' and '-' not encoded.
    url.setQuery(u"version=3&ctdb=1&fuzzy=1&metadata=none&toc="_s + toc.text(), QUrl::StrictMode);
    return url;
}

QCoro::Task<QList<Entry>> fetch(CTDBTOC toc, MetadataHTTPClient& client)
{
    const QUrl url = lookupURL(toc, ServiceSettings::load().ctdb);
    QByteArray body;
    try {
        body = co_await client.get(url);
    } catch (const MetadataHTTPClient::HTTPError& error) {
        if (error.kind() == MetadataHTTPClient::HTTPError::Kind::notFound)
            co_return QList<Entry>();
        if (error.kind() == MetadataHTTPClient::HTTPError::Kind::tooLarge)
            throw Error::tooLarge();
        throw Error::networkError(error);
    }
    co_return parse(body);
}

} // namespace CTDB
