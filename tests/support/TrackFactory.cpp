#include "TrackFactory.h"

using namespace Qt::StringLiterals;

Track makeTrack(const QString& title, const QString& artist, const QString& album, double duration)
{
    Track track;
    track.id = QUuid::createUuid();
    track.url = QUrl::fromLocalFile(u"/music/"_s + artist + u'/' + album + u'/' + title + u".flac"_s);
    track.title = title;
    track.artist = artist;
    track.albumArtist = artist;
    track.album = album;
    track.duration = duration;
    track.format = AudioFormat::flac;
    track.dateAdded = Date{700000000.25};
    return track;
}

Track makeFullTrack()
{
    Track track = makeTrack(u"Blue in Green"_s, u"Miles Davis"_s, u"Kind of Blue"_s, 337.5);
    track.url = QUrl::fromLocalFile(u"/music/Miles Davis/Kind of Blue/03 Blue in Green #2 100%.flac"_s);
    track.albumArtist = u"Miles Davis Quintet"_s;
    track.genre = u"Jazz"_s;
    track.year = 1959;
    track.trackNumber = 3;
    track.discNumber = 1;
    track.format = AudioFormat::alac;
    track.bitrate = 1411;
    track.sampleRate = 44100;
    track.dateAdded = Date{752112345.123456};
    track.externalID = u"0ac22a2a-8c4d-4d6e-9b3b-8a1e6e7c2f10"_s;
    track.releaseMBID = u"release-mbid"_s;
    track.releaseGroupMBID = u"release-group-mbid"_s;
    track.bpm = 62;
    track.customTags = {{u"MOOD"_s, u"late night"_s}, {u"Überschrift"_s, u"ja"_s}};
    return track;
}
