#pragma once

#include <QString>

#include <memory>

#include <taglib/fileref.h>
#include <taglib/tiostream.h>
#include <taglib/tpropertymap.h>

// One audio file opened for its tags, for the length of one call. Two gaps in TagLib 1.13
// are closed here: its MP4 tag forgets property names it does not know (ours and the
// ReplayGain ones), so those live in iTunes free-form atoms; and an Opus stream in a ".ogg" file is opened
// by its content.
class TagFile {
public:
    // Reading opens the file read-only: a file opened for writing reports a change when it
    // is closed, and the folder watcher would read it again, and again.
    enum class Access { read, write };

    TagFile(const QString& path, Access access);

    // Begins as its kind of audio does, opened, understood, with a tag, and holding audio or
    // tags: a text file named ".mp3" is not an audio file even though TagLib opens it.
    bool isValid() const { return m_valid; }

    TagLib::File& file() { return *m_ref.file(); }
    TagLib::Tag& tag() { return *m_ref.tag(); }
    const TagLib::AudioProperties* audioProperties() const { return m_ref.audioProperties(); }

    // Opus carries its gains in R128 tags of its own, not in ReplayGain ones.
    bool isOpus() const;

    TagLib::PropertyMap properties() const;
    void setProperties(const TagLib::PropertyMap& properties);
    // An ID3v2 tag is saved in the version it was read in, 2.3 or 2.4: many players read 2.3
    // alone. (TagLib writes no 2.2; such a tag, or a new one, becomes 2.4.)
    bool save();

private:
    std::unique_ptr<TagLib::IOStream> m_stream; // outlives the file that reads through it
    TagLib::FileRef m_ref;
    bool m_valid = false;
};
