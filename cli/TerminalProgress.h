#pragma once

#include <QString>
#include <QTextStream>

// A bar redrawn in place when the stream is a terminal; nothing in a log or a pipe.
class TerminalProgress {
public:
    explicit TerminalProgress(QTextStream& stream);

    void show(qint64 completed, qint64 total, const QString& label = {});
    // Clears the bar, so that what follows starts on a clean line.
    void finish();

private:
    QTextStream& m_stream;
    bool m_terminal;
    bool m_drawn = false;
};
