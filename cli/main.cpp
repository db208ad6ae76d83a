#include "VelmoCommands.h"

#include <QCoreApplication>

using namespace Qt::StringLiterals;

int main(int argc, char* argv[])
{
    QCoreApplication application(argc, argv);
    QCoreApplication::setOrganizationName(u"Sonorelle"_s);
    QCoreApplication::setApplicationName(u"velmo"_s);

    QTextStream out(stdout);
    QTextStream err(stderr);
    return velmoCommands().run(QCoreApplication::arguments().mid(1), out, err);
}
