#include "MarkupStripper.h"

#include "library/Background.h"

#include <QRegularExpression>
#include <QTextBlock>
#include <QTextDocument>

using namespace Qt::StringLiterals;

namespace {

// Below this a note is read at once: a worker would cost more than it saves.
constexpr qsizetype backgroundThreshold = 4096;

// Qt marks paragraph and line breaks with Unicode separators; a label wants newlines.
QString asLines(QString plain)
{
    return plain.replace(QChar::ParagraphSeparator, u'\n').replace(QChar::LineSeparator, u'\n');
}

// Qt's reader takes any "<" for the start of a tag and drops the prose after it; one that
// cannot open a tag is written as the entity it stands for.
QString withLoneBracketsEscaped(const QString& text)
{
    static const QRegularExpression lone(u"<(?![A-Za-z/!?])"_s);
    return QString(text).replace(lone, u"&lt;"_s);
}

QString anchor(const QString& href, const QString& text)
{
    return u"<a href=\""_s + href.toHtmlEscaped() + u"\">"_s + text.toHtmlEscaped() + u"</a>"_s;
}

// Plain text with its bare web addresses made links.
QString linkedPlain(const QString& text)
{
    static const QRegularExpression address(u"https?://[^\\s<>\"]+[^\\s<>\".,;:!?)\\]]"_s);
    QString linked;
    qsizetype done = 0;
    for (const QRegularExpressionMatch& match : address.globalMatch(text)) {
        linked += text.mid(done, match.capturedStart() - done).toHtmlEscaped();
        linked += anchor(match.captured(), match.captured());
        done = match.capturedEnd();
    }
    linked += text.mid(done).toHtmlEscaped();
    return linked;
}

} // namespace

namespace MarkupStripper {

QString strip(const QString& text)
{
    if (!text.contains(u'<'))
        return text;
    QTextDocument document;
    document.setHtml(withLoneBracketsEscaped(text));
    return asLines(document.toPlainText()).trimmed();
}

QString linkedText(const QString& text)
{
    QString html;
    if (!text.contains(u'<')) {
        html = linkedPlain(text);
    } else {
        QTextDocument document;
        document.setHtml(withLoneBracketsEscaped(text));
        QStringList lines;
        for (QTextBlock block = document.begin(); block.isValid(); block = block.next()) {
            QString line;
            for (auto fragment = block.begin(); !fragment.atEnd(); ++fragment) {
                const QTextCharFormat format = fragment.fragment().charFormat();
                const QString words = asLines(fragment.fragment().text());
                line += format.isAnchor() && !format.anchorHref().isEmpty() ? anchor(format.anchorHref(), words)
                                                                             : linkedPlain(words);
            }
            lines.append(line);
        }
        html = lines.join(u'\n').trimmed();
    }
    return html.replace(u'\n', u"<br>"_s);
}

QCoro::Task<QString> linkedTextInBackground(QString text)
{
    if (text.size() < backgroundThreshold || !text.contains(u'<'))
        co_return linkedText(text);
    const auto job = [text] { return linkedText(text); };
    co_return co_await Background::run(job);
}

} // namespace MarkupStripper
