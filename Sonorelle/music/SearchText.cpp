#include "SearchText.h"

#include <algorithm>

namespace SearchText {

namespace {

bool isAscii(const QString& text)
{
    return std::all_of(text.cbegin(), text.cend(), [](QChar c) { return c.unicode() < 0x80; });
}

// Letters that no decomposition takes apart, in their case-folded form.
void appendPlain(QString& out, QChar c)
{
    switch (c.unicode()) {
    case u'ß': out += u"ss"; return;
    case u'æ': out += u"ae"; return;
    case u'œ': out += u"oe"; return;
    case u'þ': out += u"th"; return;
    case u'ø': out += u'o'; return;
    case u'ł': out += u'l'; return;
    case u'đ':
    case u'ð': out += u'd'; return;
    case u'ı': out += u'i'; return;
    default: out += c;
    }
}

} // namespace

QString fold(const QString& text)
{
    if (isAscii(text))
        return text.toLower();
    const QString folded = text.normalized(QString::NormalizationForm_KD).toCaseFolded();
    QString plain;
    plain.reserve(folded.size());
    for (const QChar c : folded) {
        if (c.category() != QChar::Mark_NonSpacing)
            appendPlain(plain, c);
    }
    return plain;
}

} // namespace SearchText
