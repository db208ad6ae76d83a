#pragma once

#include <QString>

#include <taglib/fileref.h>
#include <taglib/tpropertymap.h>

// One audio file opened for its tags, for the length of one call. Two gaps in TagLib 1.13
// are closed here: its MP4 tag forgets property names it does not know (ours among them),
// so those live in iTunes free-form atoms; and an Opus stream in a ".ogg" file is opened
// by its content.
class TagFile {
public:
    TagFile(const QString& path, bool readAudioProperties);

    // Opened, understood, with a tag, and holding audio or tags: a text file named ".mp3"
    // is not an audio file even though TagLib opens it.
    bool isValid() const { return m_valid; }

    TagLib::File& file() { return *m_ref.file(); }
    TagLib::Tag& tag() { return *m_ref.tag(); }
    const TagLib::AudioProperties* audioProperties() const { return m_ref.audioProperties(); }

    TagLib::PropertyMap properties() const;
    void setProperties(const TagLib::PropertyMap& properties);
    bool save() { return m_ref.save(); }

private:
    TagLib::FileRef m_ref;
    bool m_valid = false;
};
