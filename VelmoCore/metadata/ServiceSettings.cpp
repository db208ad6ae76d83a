#include "ServiceSettings.h"

#include <QSettings>
#include <QStandardPaths>

using namespace Qt::StringLiterals;

ServiceSettings ServiceSettings::load()
{
    ServiceSettings settings{
        .musicBrainz = QUrl(u"https://musicbrainz.org"_s),
        .coverArtArchive = QUrl(u"https://coverartarchive.org"_s),
        .iTunes = QUrl(u"https://itunes.apple.com"_s),
        .accurateRip = QUrl(u"http://www.accuraterip.com/accuraterip"_s),
        .ctdb = QUrl(u"http://db.cuetools.net"_s),
        .contact = u"sonorelle@localhost"_s,
    };
    // Most important first: the first file that names a key decides it.
    const QStringList files =
        QStandardPaths::locateAll(QStandardPaths::GenericConfigLocation, u"Sonorelle/services.conf"_s);
    const auto lookup = [&files](const QString& key) -> QString {
        for (const QString& file : files) {
            const QSettings ini(file, QSettings::IniFormat);
            const QString value = ini.value(key).toString().trimmed();
            if (!value.isEmpty())
                return value;
        }
        return {};
    };
    const auto url = [&lookup](const QString& key, QUrl& target) {
        const QUrl configured(lookup(key));
        if (configured.isValid() && !configured.scheme().isEmpty())
            target = configured;
    };
    url(u"musicBrainz"_s, settings.musicBrainz);
    url(u"coverArtArchive"_s, settings.coverArtArchive);
    url(u"iTunes"_s, settings.iTunes);
    url(u"accurateRip"_s, settings.accurateRip);
    url(u"ctdb"_s, settings.ctdb);
    url(u"updates"_s, settings.updates);
    if (const QString contact = lookup(u"contact"_s); !contact.isEmpty())
        settings.contact = contact;
    return settings;
}

QString ServiceSettings::userAgent() const
{
    return u"Velmo/1.0 ("_s + contact + u')';
}
