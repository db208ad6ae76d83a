#pragma once

#include "FakeHttpServer.h"

// MusicBrainz, the Cover Art Archive, the iTunes Search API, AccurateRip and the CUETools database, each on
// its own local server,
// with a services.conf that points the program at them for the life of the object.
class FakeServices {
public:
    FakeServices();
    ~FakeServices();

    FakeServices(const FakeServices&) = delete;
    FakeServices& operator=(const FakeServices&) = delete;

    // Points the program at other addresses, such as a vacant one, until the object goes.
    // AccurateRip and CTDB, unless given, are vacant addresses: a rip is never checked far away.
    static void configure(const QUrl& musicBrainz, const QUrl& coverArt, const QUrl& iTunes,
                          const QUrl& accurateRip = {}, const QUrl& ctdb = {});
    // An address on which nothing listens: a service that can't be reached.
    static QUrl vacantAddress();

    FakeHttpServer musicBrainz;
    FakeHttpServer coverArt;
    FakeHttpServer iTunes;
    FakeHttpServer accurateRip;
    FakeHttpServer ctdb; // answers at "/lookup2.php"

    static constexpr const char* contact = "tests@sonorelle.invalid";
};
