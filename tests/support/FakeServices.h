#pragma once

#include "FakeHttpServer.h"

// MusicBrainz, the Cover Art Archive and the iTunes Search API, each on its own local server,
// with a services.conf that points the program at them for the life of the object.
class FakeServices {
public:
    FakeServices();
    ~FakeServices();

    FakeServices(const FakeServices&) = delete;
    FakeServices& operator=(const FakeServices&) = delete;

    // Points the program at other addresses, such as a vacant one, until the object goes.
    static void configure(const QUrl& musicBrainz, const QUrl& coverArt, const QUrl& iTunes);
    // An address on which nothing listens: a service that can't be reached.
    static QUrl vacantAddress();

    FakeHttpServer musicBrainz;
    FakeHttpServer coverArt;
    FakeHttpServer iTunes;

    static constexpr const char* contact = "tests@sonorelle.invalid";
};
