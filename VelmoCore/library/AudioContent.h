#pragma once

#include <QString>

// Whether a file begins as audio of the kind its extension names. Where its first frame or its
// stream marker is not where it belongs, TagLib searches the file for it byte by byte, which
// takes minutes on a large file of zeros; real files show it within their first bytes, so the
// tag code refuses anything else before TagLib sees it.
namespace AudioContent {

// How far into the file, past any ID3v2 tag, the stream must show itself.
inline constexpr qint64 searchWindow = 64 * 1024;

// By the extension, as TagLib opens the file. mp3: a valid MPEG audio frame header within the
// window, or the end of the file there (a file of tags alone). flac: "fLaC" within the window.
// ogg and opus: an Ogg page at the start. wav: a RIFF WAVE header. aiff and aif: an IFF FORM of
// AIFF or AIFC. m4a: an MP4 box at the start. aac:
// either of the last two kinds. ID3v2 tags before the stream are skipped for mp3, flac and aac.
// False for a file that cannot be read and for any other extension.
bool startsLikeAudio(const QString& path);

} // namespace AudioContent
