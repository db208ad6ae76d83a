#pragma once

#include "JsonCoding.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

// Reading and writing one store file. Reading tells missing, sound and corrupt apart (with
// the reason) so that `velmo library check` can say what is wrong; the library itself only
// takes the value, and anything but sound reads as empty.
enum class StoreState { missing, sound, corrupt };

template <typename T>
struct StoreRead {
    StoreState state = StoreState::missing;
    T value{};
    QString problem; // for corrupt: what is wrong, in words, with the JSON error position
    // For sound: ids that more than one record held; `value` keeps the first record of each.
    QStringList repeatedIDs;
};

namespace StoreFile {

StoreRead<JsonDocument> readDocument(const QString& path);

// Decodes with `decode(const JsonDocument&)`, which throws DecodingError on bad content.
template <typename Decode>
auto read(const QString& path, Decode decode) -> StoreRead<std::invoke_result_t<Decode, const JsonDocument&>>
{
    StoreRead<JsonDocument> document = readDocument(path);
    StoreRead<std::invoke_result_t<Decode, const JsonDocument&>> result;
    result.state = document.state;
    result.problem = document.problem;
    if (document.state != StoreState::sound)
        return result;
    try {
        result.value = decode(document.value);
    } catch (const DecodingError& error) {
        result.state = StoreState::corrupt;
        result.problem = error.message();
    }
    return result;
}

// Whole and atomic (AtomicFile): the old file or the new one, never a mixture or a short
// file on a full disk. Creates the folder.
// Returns the reason for a failure, or nothing.
std::optional<QString> writeAtomically(const QString& path, const QByteArray& bytes);

} // namespace StoreFile
