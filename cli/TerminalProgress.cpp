#include "TerminalProgress.h"

#include <unistd.h>

using namespace Qt::StringLiterals;

TerminalProgress::TerminalProgress(QTextStream& stream)
    : m_stream(stream)
    , m_terminal(::isatty(STDERR_FILENO) == 1)
{
}

void TerminalProgress::show(qint64 completed, qint64 total, const QString& label)
{
    if (!m_terminal)
        return;
    constexpr int width = 30;
    const int filled = total > 0 ? int(std::min(completed, total) * width / total) : width;
    QString name = label;
    if (name.size() > 40)
        name = name.left(39) + u'…';
    m_stream << u"\r\x1b[K["_s << QString(filled, u'#') << QString(width - filled, u'.') << u"] "_s << completed
             << u'/' << total << u' ' << name << Qt::flush;
    m_drawn = true;
}

void TerminalProgress::finish()
{
    if (m_drawn)
        m_stream << u"\r\x1b[K"_s << Qt::flush;
    m_drawn = false;
}
