#pragma once

#include "MetadataHTTPClient.h"

#include <QString>

#include <optional>
#include <stdexcept>

// A failure of a lookup on the metadata services: a kind its owner defines, the sentence the
// user reads, and the HTTP failure behind it where there was one.
template <typename Kind>
class MetadataServiceError : public std::runtime_error {
public:
    Kind kind() const { return m_kind; }
    QString message() const { return m_message; }
    const std::optional<MetadataHTTPClient::HTTPError>& httpError() const { return m_httpError; }

protected:
    MetadataServiceError(Kind kind, const QString& message,
                         std::optional<MetadataHTTPClient::HTTPError> httpError = std::nullopt)
        : std::runtime_error(message.toStdString())
        , m_kind(kind)
        , m_message(message)
        , m_httpError(std::move(httpError))
    {
    }

private:
    Kind m_kind;
    QString m_message;
    std::optional<MetadataHTTPClient::HTTPError> m_httpError;
};
