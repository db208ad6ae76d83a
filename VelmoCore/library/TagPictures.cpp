#include "TagPictures.h"

#include "TagProperties.h"

#include <taglib/aifffile.h>
#include <taglib/attachedpictureframe.h>
#include <taglib/flacfile.h>
#include <taglib/flacpicture.h>
#include <taglib/id3v2tag.h>
#include <taglib/mp4file.h>
#include <taglib/mp4tag.h>
#include <taglib/mpegfile.h>
#include <taglib/oggflacfile.h>
#include <taglib/opusfile.h>
#include <taglib/vorbisfile.h>
#include <taglib/wavfile.h>
#include <taglib/xiphcomment.h>

#include <algorithm>

namespace TagPictures {

namespace {

using TagProperties::toQByteArray;
using TagProperties::toTagLib;

std::optional<QByteArray> nonEmpty(const QByteArray& data)
{
    return data.isEmpty() ? std::nullopt : std::optional<QByteArray>(data);
}

// FLAC picture blocks and Xiph comments share the FLAC::Picture type.
std::optional<QByteArray> frontOf(const TagLib::List<TagLib::FLAC::Picture*>& pictures)
{
    if (pictures.isEmpty())
        return std::nullopt;
    const auto front = std::find_if(pictures.begin(), pictures.end(), [](const TagLib::FLAC::Picture* p) {
        return p->type() == TagLib::FLAC::Picture::FrontCover;
    });
    return nonEmpty(toQByteArray((front != pictures.end() ? *front : pictures.front())->data()));
}

TagLib::FLAC::Picture* flacPicture(const QByteArray& data, const QString& mimeType)
{
    auto* picture = new TagLib::FLAC::Picture;
    picture->setType(TagLib::FLAC::Picture::FrontCover);
    picture->setMimeType(toTagLib(mimeType));
    picture->setDescription(TagLib::String());
    picture->setData(toTagLib(data));
    return picture;
}

std::optional<QByteArray> frontOf(TagLib::ID3v2::Tag* tag)
{
    if (!tag)
        return std::nullopt;
    const TagLib::ID3v2::FrameList frames = tag->frameList("APIC");
    const TagLib::ID3v2::AttachedPictureFrame* first = nullptr;
    for (const TagLib::ID3v2::Frame* frame : frames) {
        const auto* picture = dynamic_cast<const TagLib::ID3v2::AttachedPictureFrame*>(frame);
        if (!picture)
            continue;
        if (picture->type() == TagLib::ID3v2::AttachedPictureFrame::FrontCover)
            return nonEmpty(toQByteArray(picture->picture()));
        if (!first)
            first = picture;
    }
    return first ? nonEmpty(toQByteArray(first->picture())) : std::nullopt;
}

void replaceAll(TagLib::ID3v2::Tag* tag, const QByteArray& data, const QString& mimeType)
{
    tag->removeFrames("APIC");
    auto* frame = new TagLib::ID3v2::AttachedPictureFrame;
    frame->setType(TagLib::ID3v2::AttachedPictureFrame::FrontCover);
    frame->setMimeType(toTagLib(mimeType));
    frame->setPicture(toTagLib(data));
    tag->addFrame(frame);
}

TagLib::Ogg::XiphComment* xiphComment(TagLib::File& file)
{
    if (auto* vorbis = dynamic_cast<TagLib::Ogg::Vorbis::File*>(&file))
        return vorbis->tag();
    if (auto* opus = dynamic_cast<TagLib::Ogg::Opus::File*>(&file))
        return opus->tag();
    if (auto* oggFlac = dynamic_cast<TagLib::Ogg::FLAC::File*>(&file))
        return oggFlac->tag();
    return nullptr;
}

} // namespace

std::optional<QByteArray> front(TagLib::File& file)
{
    if (auto* flac = dynamic_cast<TagLib::FLAC::File*>(&file))
        return frontOf(flac->pictureList());
    if (auto* mpeg = dynamic_cast<TagLib::MPEG::File*>(&file))
        return mpeg->hasID3v2Tag() ? frontOf(mpeg->ID3v2Tag()) : std::nullopt;
    if (auto* wav = dynamic_cast<TagLib::RIFF::WAV::File*>(&file))
        return wav->hasID3v2Tag() ? frontOf(wav->ID3v2Tag()) : std::nullopt;
    if (auto* aiff = dynamic_cast<TagLib::RIFF::AIFF::File*>(&file))
        return aiff->hasID3v2Tag() ? frontOf(aiff->tag()) : std::nullopt;
    if (auto* mp4 = dynamic_cast<TagLib::MP4::File*>(&file)) {
        if (!mp4->tag() || !mp4->tag()->contains("covr"))
            return std::nullopt;
        const TagLib::MP4::CoverArtList covers = mp4->tag()->item("covr").toCoverArtList();
        return covers.isEmpty() ? std::nullopt : nonEmpty(toQByteArray(covers.front().data()));
    }
    if (TagLib::Ogg::XiphComment* comment = xiphComment(file))
        return frontOf(comment->pictureList());
    return std::nullopt;
}

bool replaceAll(TagLib::File& file, const QByteArray& data, const QString& mimeType)
{
    if (auto* flac = dynamic_cast<TagLib::FLAC::File*>(&file)) {
        flac->removePictures();
        flac->addPicture(flacPicture(data, mimeType));
        return true;
    }
    if (auto* mpeg = dynamic_cast<TagLib::MPEG::File*>(&file)) {
        replaceAll(mpeg->ID3v2Tag(true), data, mimeType);
        return true;
    }
    if (auto* wav = dynamic_cast<TagLib::RIFF::WAV::File*>(&file)) {
        replaceAll(wav->ID3v2Tag(), data, mimeType);
        return true;
    }
    if (auto* aiff = dynamic_cast<TagLib::RIFF::AIFF::File*>(&file)) {
        replaceAll(aiff->tag(), data, mimeType);
        return true;
    }
    if (auto* mp4 = dynamic_cast<TagLib::MP4::File*>(&file)) {
        if (!mp4->tag())
            return false;
        // MP4 knows only JPEG, PNG, GIF and BMP covers.
        const auto format = mimeType == u"image/png"  ? TagLib::MP4::CoverArt::PNG
                            : mimeType == u"image/gif" ? TagLib::MP4::CoverArt::GIF
                            : mimeType == u"image/bmp" ? TagLib::MP4::CoverArt::BMP
                                                       : TagLib::MP4::CoverArt::JPEG;
        TagLib::MP4::CoverArtList covers;
        covers.append(TagLib::MP4::CoverArt(format, toTagLib(data)));
        mp4->tag()->setItem("covr", covers);
        return true;
    }
    if (TagLib::Ogg::XiphComment* comment = xiphComment(file)) {
        comment->removeAllPictures();
        comment->addPicture(flacPicture(data, mimeType));
        return true;
    }
    return false;
}

bool removeAll(TagLib::File& file)
{
    if (auto* flac = dynamic_cast<TagLib::FLAC::File*>(&file)) {
        flac->removePictures();
        return true;
    }
    if (auto* mpeg = dynamic_cast<TagLib::MPEG::File*>(&file)) {
        if (mpeg->hasID3v2Tag())
            mpeg->ID3v2Tag()->removeFrames("APIC");
        return true;
    }
    if (auto* wav = dynamic_cast<TagLib::RIFF::WAV::File*>(&file)) {
        if (wav->hasID3v2Tag())
            wav->ID3v2Tag()->removeFrames("APIC");
        return true;
    }
    if (auto* aiff = dynamic_cast<TagLib::RIFF::AIFF::File*>(&file)) {
        aiff->tag()->removeFrames("APIC");
        return true;
    }
    if (auto* mp4 = dynamic_cast<TagLib::MP4::File*>(&file)) {
        if (!mp4->tag())
            return false;
        mp4->tag()->removeItem("covr");
        return true;
    }
    if (TagLib::Ogg::XiphComment* comment = xiphComment(file)) {
        comment->removeAllPictures();
        return true;
    }
    return false;
}

} // namespace TagPictures
