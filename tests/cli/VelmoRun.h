#pragma once

#include "VelmoCommands.h"

#include <QString>
#include <QStringList>
#include <QTextStream>

// velmo run in this process, with its two streams caught.
struct VelmoResult {
    int status;
    QString out;
    QString err;
};

inline VelmoResult runVelmo(const QStringList& arguments)
{
    QString out;
    QString err;
    QTextStream outStream(&out);
    QTextStream errStream(&err);
    const int status = velmoCommands().run(arguments, outStream, errStream);
    return {status, out, err};
}
