#pragma once

#include "ReleaseMetadata.h"

#include <QByteArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QList>
#include <QString>
#include <QStringView>

#include <optional>

// Reading the pieces of MusicBrainz ws/2 answers that the lookups share. A key that is
// missing or of the wrong type gives the stated default; nothing here throws.
namespace MusicBrainzJson {

// The top level of an answer, when it is a JSON object.
std::optional<QJsonObject> parseObject(const QByteArray& body);

// A JSON number that is a whole number within 64 bits; strings don't count.
std::optional<qint64> integer(const QJsonValue& value);
// Signed decimal text and nothing else: no blanks, no fraction.
std::optional<qint64> parseInteger(QStringView text);
std::optional<QString> string(const QJsonValue& value);
// IDs and comments: an empty string counts as absent.
std::optional<QString> nonEmptyString(const QJsonValue& value);
// The objects of a list; anything else in it is passed over.
QList<QJsonObject> objects(const QJsonValue& value);

// "artist-credit", first element, "artist", "name": join phrases and further artists are
// dropped, and the name as credited isn't used.
QString firstCreditedArtist(const QJsonValue& artistCredit);
// The first four characters of "date" as a number.
std::optional<qint64> yearFromDate(const QJsonValue& date);
// The genre with the highest "count", the earlier on a tie, with a capital first letter.
std::optional<QString> chooseGenre(const QJsonValue& genres);

// Media by "position", ascending; media without one follow, in their own order.
QList<QJsonObject> mediaInPositionOrder(const QJsonValue& media);
// The tracks of one medium. A track whose "number" isn't a number takes its place in the list.
QList<TrackMetadataStub> tracksOfMedium(const QJsonObject& medium, const QString& releaseArtist,
                                        std::optional<qint64> discNumber = std::nullopt);

} // namespace MusicBrainzJson
