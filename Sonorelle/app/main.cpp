#include "app/VelmoApp.h"
#include "library/LibraryLock.h"
#include "platform/TerminationSignals.h"
#include "widgets/Icons.h"

#include <QApplication>
#include <QMessageBox>

using namespace Qt::StringLiterals;

int main(int argc, char* argv[])
{
    QApplication application(argc, argv);
    QApplication::setOrganizationName(u"Sonorelle"_s);
    QApplication::setApplicationName(u"Sonorelle"_s);
    QApplication::setApplicationVersion(QStringLiteral(SONORELLE_VERSION));
    QApplication::setDesktopFileName(u"sonorelle"_s);
    Icons::chooseTheme();

    LibraryLock lock;
    if (const auto refusal = lock.acquire()) {
        QMessageBox::critical(nullptr, u"Sonorelle"_s, u"Sonorelle cannot open the library.\n"_s + *refusal);
        return 1;
    }
    TerminationSignals::quitApplicationOnSignal();

    VelmoApp app;
    app.openDiscImages(QApplication::arguments().mid(1));
    app.show();
    return application.exec();
}
