#pragma once

#include <QString>
#include <QUrl>

// Where the web services are and who we are to them: compiled-in defaults, which an
// installation may override in an INI file "Sonorelle/services.conf" in the XDG
// configuration folders (the user's first, then the system's). Tests point them at local
// fake servers the same way.
struct ServiceSettings {
    QUrl musicBrainz;
    QUrl coverArtArchive;
    QUrl iTunes;
    // The folder of the AccurateRip database's dBAR files.
    QUrl accurateRip;
    // The CUETools database, whose lookup2.php is asked.
    QUrl ctdb;
    // The contact address that the MusicBrainz policy asks to find in the User-Agent.
    QString contact;
    // The release feed asked by "Check for Updates…"; empty unless an installation names one.
    QUrl updates;

    // Read afresh on each call, so a changed file takes effect for the next request.
    static ServiceSettings load();

    // "Velmo/1.0 (" + contact + ")".
    QString userAgent() const;
};
