#include "MusicBrainzJson.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QTextBoundaryFinder>

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

namespace MusicBrainzJson {

namespace {

// Whole milliseconds fit a double exactly up to here; anything longer is no real recording.
constexpr double longestLengthMilliseconds = 9007199254740992.0;

QString capitalizeFirst(const QString& text)
{
    QTextBoundaryFinder graphemes(QTextBoundaryFinder::Grapheme, text);
    const qsizetype firstEnd = graphemes.toNextBoundary();
    if (firstEnd <= 0)
        return text;
    return text.left(firstEnd).toUpper() + text.mid(firstEnd);
}

} // namespace

std::optional<QJsonObject> parseObject(const QByteArray& body)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(body, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject())
        return std::nullopt;
    return document.object();
}

std::optional<qint64> integer(const QJsonValue& value)
{
    if (!value.isDouble())
        return std::nullopt;
    const double number = value.toDouble();
    // 2^63 itself is out of range; every double below it converts exactly.
    if (!std::isfinite(number) || std::trunc(number) != number || number < -9223372036854775808.0
        || number >= 9223372036854775808.0)
        return std::nullopt;
    return value.toInteger(static_cast<qint64>(number));
}

std::optional<qint64> parseInteger(QStringView text)
{
    QStringView digits = text;
    if (digits.startsWith(u'+') || digits.startsWith(u'-'))
        digits = digits.mid(1);
    if (digits.isEmpty() || !std::all_of(digits.begin(), digits.end(), [](QChar c) { return c >= u'0' && c <= u'9'; }))
        return std::nullopt;
    bool ok = false;
    const qint64 number = text.toLongLong(&ok);
    return ok ? std::optional(number) : std::nullopt;
}

std::optional<QString> string(const QJsonValue& value)
{
    return value.isString() ? std::optional(value.toString()) : std::nullopt;
}

std::optional<QString> nonEmptyString(const QJsonValue& value)
{
    const QString text = value.toString();
    return text.isEmpty() ? std::nullopt : std::optional(text);
}

QList<QJsonObject> objects(const QJsonValue& value)
{
    QList<QJsonObject> result;
    for (const QJsonValue& element : value.toArray()) {
        if (element.isObject())
            result.append(element.toObject());
    }
    return result;
}

QString firstCreditedArtist(const QJsonValue& artistCredit)
{
    return artistCredit.toArray().at(0).toObject().value("artist"_L1).toObject().value("name"_L1).toString();
}

std::optional<qint64> yearFromDate(const QJsonValue& date)
{
    return parseInteger(QStringView(date.toString()).left(4));
}

std::optional<QString> chooseGenre(const QJsonValue& genres)
{
    const QJsonArray list = genres.toArray();
    if (list.isEmpty())
        return std::nullopt;
    const auto countOf = [](const QJsonValue& genre) { return integer(genre.toObject().value("count"_L1)).value_or(0); };
    QJsonValue winner = list.first();
    for (qsizetype i = 1; i < list.size(); ++i) {
        if (countOf(list.at(i)) > countOf(winner))
            winner = list.at(i);
    }
    // No fall-back to the runner-up: a nameless winner means no genre.
    const std::optional<QString> name = nonEmptyString(winner.toObject().value("name"_L1));
    return name ? std::optional(capitalizeFirst(*name)) : std::nullopt;
}

QList<QJsonObject> mediaInPositionOrder(const QJsonValue& media)
{
    QList<QJsonObject> result = objects(media);
    std::stable_sort(result.begin(), result.end(), [](const QJsonObject& a, const QJsonObject& b) {
        const std::optional<qint64> left = integer(a.value("position"_L1));
        const std::optional<qint64> right = integer(b.value("position"_L1));
        if (!left || !right)
            return left.has_value() && !right.has_value();
        return *left < *right;
    });
    return result;
}

QList<TrackMetadataStub> tracksOfMedium(const QJsonObject& medium, const QString& releaseArtist,
                                        std::optional<qint64> discNumber)
{
    QList<TrackMetadataStub> tracks;
    for (const QJsonValue& element : medium.value("tracks"_L1).toArray()) {
        const QJsonObject track = element.toObject();
        const QJsonObject recording = track.value("recording"_L1).toObject();
        const QJsonValue numberValue = track.value("number"_L1);
        std::optional<qint64> number = numberValue.isString() ? parseInteger(numberValue.toString()) : integer(numberValue);

        TrackMetadataStub stub;
        stub.number = number.value_or(tracks.size() + 1);
        stub.title = nonEmptyString(recording.value("title"_L1)).value_or(track.value("title"_L1).toString());
        const QJsonValue recordingCredit = recording.value("artist-credit"_L1);
        stub.artist = recordingCredit.isArray() && !firstCreditedArtist(recordingCredit).isEmpty()
                          ? firstCreditedArtist(recordingCredit)
                          : releaseArtist;
        const QJsonValue length = recording.value("length"_L1);
        const double milliseconds = length.toDouble();
        if (length.isDouble() && std::isfinite(milliseconds) && milliseconds >= 0
            && milliseconds <= longestLengthMilliseconds)
            stub.duration = milliseconds / 1000.0;
        stub.recordingMBID = nonEmptyString(recording.value("id"_L1));
        stub.discNumber = discNumber;
        tracks.append(stub);
    }
    return tracks;
}

} // namespace MusicBrainzJson
