#pragma once

#include <QList>
#include <QString>
#include <QUrl>

#include <stdexcept>

// The raw Chromaprint form of a file's sound.
using Fingerprint = QList<quint32>;

// Decodes a file and fingerprints what it hears. Blocking.
namespace FingerprintReader {

class FingerprintError : public std::runtime_error {
public:
    enum class Kind { decodingFailed, fingerprintFailed };

    FingerprintError(Kind kind, const QString& message);

    Kind kind() const { return m_kind; }
    QString message() const { return m_message; }

private:
    Kind m_kind;
    QString m_message;
};

// The first `maxDuration` seconds, in at most two channels. Throws FingerprintError.
Fingerprint fingerprint(const QUrl& url, double maxDuration);

} // namespace FingerprintReader
