#pragma once

#include <QHashFunctions>
#include <QString>

struct Track;
struct TrackMetadataStub;

// The normalised text of a track, by which every "is this the same song?" question in the
// program is answered. Normalising trims white space at both ends and lower-cases, nothing
// more: accents, leading articles and inner blanks all count.
struct TrackSignature {
    struct Key {
        QString artist;
        QString album;
        QString title;

        bool operator==(const Key&) const = default;
    };

    // Every caller compares durations with this tolerance.
    static constexpr double standardTolerance = 2.0;

    QString artist;
    QString album;
    QString title;
    double duration = 0;

    explicit TrackSignature(const Track& track);
    TrackSignature(const QString& artist, const QString& album, const QString& title, double duration);
    // A release's track, under the album it is on: how the disc screens ask whether a disc's
    // tracks are in the library already.
    TrackSignature(const QString& album, const TrackMetadataStub& stub);

    static QString normalize(const QString& text);

    Key key() const { return {artist, album, title}; }

    // Same text, and the durations within the tolerance, or either unknown (0).
    bool matches(const TrackSignature& other, double toleranceSeconds = standardTolerance) const;
    // Same text but another length: one song, by its text, of another recording.
    bool conflicts(const TrackSignature& other, double toleranceSeconds = standardTolerance) const;

    static bool durationsMatch(double a, double b, double toleranceSeconds = standardTolerance);
};

size_t qHash(const TrackSignature::Key& key, size_t seed = 0) noexcept;
