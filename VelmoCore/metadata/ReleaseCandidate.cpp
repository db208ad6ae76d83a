#include "ReleaseCandidate.h"

#include <QStringList>

using namespace Qt::StringLiterals;

QString ReleaseCandidate::detailText() const
{
    QStringList details;
    if (year)
        details.append(QString::number(*year));
    if (disambiguation)
        details.append(*disambiguation);
    if (discCount() > 1) {
        QStringList counts;
        for (qint64 count : discTrackCounts)
            counts.append(QString::number(count));
        details.append(QString::number(discCount()) + u" discs ("_s + counts.join(u", "_s) + u')');
    } else {
        details.append(QString::number(totalTrackCount()) + u" tracks"_s);
    }
    return details.join(u" · "_s);
}
