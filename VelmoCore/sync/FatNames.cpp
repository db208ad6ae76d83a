#include "FatNames.h"

#include "library/FilePaths.h"

#include <QTextBoundaryFinder>

using namespace Qt::StringLiterals;

namespace FatNames {

namespace {

bool isForbidden(QChar c)
{
    return c.unicode() < 0x20 || c.unicode() == 0x7f || u"\"*/:<>?\\|"_s.contains(c);
}

QString withoutTrailingDotsAndBlanks(QString text)
{
    qsizetype end = text.size();
    while (end > 0 && (text.at(end - 1) == u'.' || text.at(end - 1) == u' '))
        --end;
    text.truncate(end);
    return text;
}

// At most `length` units, cut at the end of a whole character.
QString truncated(const QString& text, qsizetype length)
{
    if (text.size() <= length)
        return text;
    QTextBoundaryFinder graphemes(QTextBoundaryFinder::Grapheme, text);
    graphemes.setPosition(length);
    if (!graphemes.isAtBoundary())
        graphemes.toPreviousBoundary();
    return text.left(std::max<qsizetype>(graphemes.position(), 0));
}

// The stem shortened so that stem + tail fits the limit.
QString fitted(const QString& stem, const QString& tail)
{
    QString shortened = withoutTrailingDotsAndBlanks(truncated(stem, std::max<qsizetype>(maximumLength - tail.size(), 1)));
    if (shortened.isEmpty())
        shortened = u"-"_s;
    return shortened + tail;
}

std::pair<QString, QString> stemAndTail(const QString& fileName)
{
    const QString extension = FilePaths::pathExtension(fileName);
    if (extension.isEmpty())
        return {fileName, QString()};
    return {fileName.left(fileName.size() - extension.size() - 1), u'.' + extension};
}

} // namespace

QString safeComponent(const QString& name, bool isFileName)
{
    QString cleaned = name;
    for (QChar& c : cleaned) {
        if (isForbidden(c))
            c = u'-';
    }
    cleaned = withoutTrailingDotsAndBlanks(cleaned);
    if (cleaned.isEmpty())
        return u"-"_s;
    if (cleaned.size() <= maximumLength)
        return cleaned;
    if (!isFileName)
        return fitted(cleaned, QString());
    const auto [stem, tail] = stemAndTail(cleaned);
    // An extension that alone fills the name is no extension worth keeping.
    if (tail.size() >= maximumLength / 2)
        return fitted(cleaned, QString());
    return fitted(stem, tail);
}

QString numbered(const QString& fileName, int n)
{
    const auto [stem, tail] = stemAndTail(fileName);
    return fitted(stem, u" (%1)"_s.arg(n) + tail);
}

} // namespace FatNames
