#include "FakeServices.h"

#include "TestEnvironment.h"

#include <QFile>
#include <QTcpServer>

using namespace Qt::StringLiterals;

namespace {

QString servicesFile()
{
    return TestEnvironment::configHome() + u"/Sonorelle/services.conf"_s;
}

} // namespace

FakeServices::FakeServices()
{
    configure(musicBrainz.url(QString()), coverArt.url(QString()), iTunes.url(QString()), accurateRip.url(QString()),
              ctdb.url(QString()));
}

void FakeServices::configure(const QUrl& musicBrainz, const QUrl& coverArt, const QUrl& iTunes, const QUrl& accurateRip,
                             const QUrl& ctdb)
{
    // QSettings keeps the files it has read and trusts them while their size and time stay
    // the same, so a rewrite within one millisecond could go unseen: a comment of another
    // length each time makes every version differ in size.
    static int version = 0;
    version = version % 32 + 1;
    writeFile(servicesFile(),
              "; " + QByteArray(version, '#') + "\n[General]\nmusicBrainz=" + musicBrainz.toEncoded()
                  + "\ncoverArtArchive=" + coverArt.toEncoded() + "\niTunes=" + iTunes.toEncoded()
                  + "\naccurateRip=" + (accurateRip.isEmpty() ? vacantAddress() : accurateRip).toEncoded()
                  + "\nctdb=" + (ctdb.isEmpty() ? vacantAddress() : ctdb).toEncoded() + "\ncontact=" + contact + "\n");
}

QUrl FakeServices::vacantAddress()
{
    QTcpServer server;
    if (!server.listen(QHostAddress::LocalHost, 0))
        qFatal("No free port for a vacant address");
    const quint16 port = server.serverPort();
    server.close();
    return QUrl(u"http://127.0.0.1:%1"_s.arg(port));
}

FakeServices::~FakeServices()
{
    QFile::remove(servicesFile());
}
