#include "TagFile.h"

#include "AudioContent.h"

#include <QFile>

#include <taglib/aifffile.h>
#include <taglib/id3v2tag.h>
#include <taglib/mp4file.h>
#include <taglib/mp4tag.h>
#include <taglib/mpegfile.h>
#include <taglib/opusfile.h>
#include <taglib/tfilestream.h>
#include <taglib/wavfile.h>

#include <algorithm>
#include <cctype>

namespace {

const TagLib::String freeFormPrefix = "----:com.apple.iTunes:";

// The names TagLib's MP4 mapping does not know: ours, and the ReplayGain ones.
bool isOurs(const TagLib::String& name)
{
    const TagLib::String upper = name.upper();
    return upper.startsWith("VELMO_") || upper.startsWith("REPLAYGAIN_");
}

// Other programs write and look for the ReplayGain atoms in lower case
// ("----:com.apple.iTunes:replaygain_track_gain"); ours are upper case.
TagLib::String atomName(const TagLib::String& name)
{
    std::string text = name.upper().to8Bit(true);
    if (text.starts_with("REPLAYGAIN_"))
        std::transform(text.begin(), text.end(), text.begin(), [](char c) { return char(std::tolower(static_cast<unsigned char>(c))); });
    return freeFormPrefix + TagLib::String(text, TagLib::String::UTF8);
}

TagLib::ID3v2::Version versionOf(const TagLib::ID3v2::Tag* tag)
{
    return tag && tag->header()->majorVersion() == 3 ? TagLib::ID3v2::v3 : TagLib::ID3v2::v4;
}

TagLib::MP4::Tag* mp4Tag(const TagLib::FileRef& ref)
{
    auto* mp4 = dynamic_cast<TagLib::MP4::File*>(ref.file());
    return mp4 ? mp4->tag() : nullptr;
}

} // namespace

TagFile::TagFile(const QString& path, Access access)
{
    if (!AudioContent::startsLikeAudio(path))
        return;
    m_stream = std::make_unique<TagLib::FileStream>(QFile::encodeName(path).constData(), access == Access::read);
    if (!m_stream->isOpen())
        return;
    m_ref = TagLib::FileRef(m_stream.get(), true, TagLib::AudioProperties::Average);
    const auto opened = [this] { return !m_ref.isNull() && m_ref.file()->isValid() && m_ref.tag(); };
    if (!opened() && path.endsWith(QStringLiteral(".ogg"), Qt::CaseInsensitive)) {
        m_stream->seek(0);
        m_ref = TagLib::FileRef(new TagLib::Ogg::Opus::File(m_stream.get(), true));
    }
    if (!opened())
        return;
    const TagLib::AudioProperties* audio = m_ref.audioProperties();
    const bool hasAudio = audio && (audio->sampleRate() > 0 || audio->lengthInMilliseconds() > 0);
    m_valid = hasAudio || !m_ref.tag()->isEmpty() || !properties().isEmpty();
}

TagLib::PropertyMap TagFile::properties() const
{
    TagLib::PropertyMap properties = m_ref.file()->properties();
    if (const TagLib::MP4::Tag* mp4 = mp4Tag(m_ref)) {
        for (const auto& [atom, item] : mp4->itemMap()) {
            if (atom.startsWith(freeFormPrefix) && isOurs(atom.substr(freeFormPrefix.size())))
                properties.replace(atom.substr(freeFormPrefix.size()).upper(), item.toStringList());
        }
    }
    return properties;
}

void TagFile::setProperties(const TagLib::PropertyMap& properties)
{
    TagLib::MP4::Tag* mp4 = mp4Tag(m_ref);
    if (!mp4) {
        m_ref.file()->setProperties(properties);
        return;
    }
    TagLib::PropertyMap known;
    for (const auto& [name, values] : properties) {
        if (!isOurs(name))
            known.insert(name, values);
    }
    m_ref.file()->setProperties(known);

    TagLib::StringList stale;
    for (const auto& [atom, item] : mp4->itemMap()) {
        if (atom.startsWith(freeFormPrefix) && isOurs(atom.substr(freeFormPrefix.size()))
            && (!properties.contains(atom.substr(freeFormPrefix.size())) || atom != atomName(atom.substr(freeFormPrefix.size()))))
            stale.append(atom);
    }
    for (const TagLib::String& atom : stale)
        mp4->removeItem(atom);
    for (const auto& [name, values] : properties) {
        if (isOurs(name))
            mp4->setItem(atomName(name), values);
    }
}

bool TagFile::isOpus() const
{
    return dynamic_cast<const TagLib::Ogg::Opus::File*>(m_ref.file()) != nullptr;
}

bool TagFile::save()
{
    // The same calls as a plain save(), but for the version.
    if (auto* mpeg = dynamic_cast<TagLib::MPEG::File*>(m_ref.file())) {
        return mpeg->save(TagLib::MPEG::File::AllTags, TagLib::File::StripOthers, versionOf(mpeg->ID3v2Tag()),
                          TagLib::File::Duplicate);
    }
    if (auto* wav = dynamic_cast<TagLib::RIFF::WAV::File*>(m_ref.file()))
        return wav->save(TagLib::RIFF::WAV::File::AllTags, TagLib::File::StripOthers, versionOf(wav->ID3v2Tag()));
    if (auto* aiff = dynamic_cast<TagLib::RIFF::AIFF::File*>(m_ref.file()))
        return aiff->save(versionOf(aiff->hasID3v2Tag() ? aiff->tag() : nullptr));
    return m_ref.save();
}
