#include "CDText.h"

#include "DrivePath.h"

#include <QFile>

#include <cdio/cdio.h>
#include <cdio/cdtext.h>
#include <cdio/track.h>

#include <algorithm>
#include <memory>

namespace {

QString field(const cdtext_t* text, cdtext_field_t key, track_t track)
{
    const char* value = cdtext_get_const(text, key, track);
    return value ? QString::fromUtf8(value).trimmed() : QString();
}

struct CdioClose {
    void operator()(CdIo_t* device) const { cdio_destroy(device); }
};

} // namespace

bool CDText::isEmpty() const
{
    const auto blank = [](const QStringList& list) {
        return std::ranges::all_of(list, [](const QString& text) { return text.isEmpty(); });
    };
    return albumTitle.isEmpty() && albumPerformer.isEmpty() && genre.isEmpty() && blank(trackTitles)
        && blank(trackPerformers);
}

CDText CDText::readDrive(const QString& drive)
{
    const std::unique_ptr<CdIo_t, CdioClose> device(
        cdio_open(QFile::encodeName(drivePath(drive)).constData(), DRIVER_DEVICE));
    if (!device)
        return {};
    // libcdio gives the text in UTF-8 whatever the disc's own encoding.
    const cdtext_t* text = cdio_get_cdtext(device.get());
    if (!text)
        return {};
    CDText result{.albumTitle = field(text, CDTEXT_FIELD_TITLE, 0),
                  .albumPerformer = field(text, CDTEXT_FIELD_PERFORMER, 0),
                  .genre = field(text, CDTEXT_FIELD_GENRE, 0)};
    const track_t first = cdio_get_first_track_num(device.get());
    const track_t last = cdio_get_last_track_num(device.get());
    if (first == CDIO_INVALID_TRACK || last == CDIO_INVALID_TRACK)
        return result;
    for (track_t track = first; track <= last; ++track) {
        if (cdio_get_track_format(device.get(), track) != TRACK_FORMAT_AUDIO)
            continue;
        result.trackTitles.append(field(text, CDTEXT_FIELD_TITLE, track));
        result.trackPerformers.append(field(text, CDTEXT_FIELD_PERFORMER, track));
    }
    return result;
}
