#include "CDTOCDiagnostics.h"

#include "DiscTOC.h"
#include "metadata/MusicBrainzDiscLookup.h"

#include <QStringList>

using namespace Qt::StringLiterals;

namespace CDTOCDiagnostics {

namespace {

QString hexByte(int value)
{
    return u"0x%1"_s.arg(value, 2, 16, '0'_L1).toUpper().replace("0X"_L1, "0x"_L1);
}

QString pointColumn(const FullTOC::Descriptor& descriptor)
{
    switch (descriptor.point) {
    case 0xA0:
        return u"0xA0 first-trk"_s;
    case 0xA1:
        return u"0xA1 last-trk"_s;
    case FullTOC::leadOutPoint:
        return u"0xA2 LEAD-OUT"_s;
    default:
        if (descriptor.isTrack())
            return u"%1  track"_s.arg(descriptor.point, -2);
        return hexByte(descriptor.point);
    }
}

QString notesColumn(const FullTOC::Descriptor& descriptor)
{
    if (descriptor.point == FullTOC::leadOutPoint)
        return u"lead-out of session %1"_s.arg(descriptor.session);
    if (descriptor.isTrack() && descriptor.isData())
        return u"⚠️ DATA track read as audio?"_s;
    return {};
}

QString joined(const QList<qint64>& numbers)
{
    QStringList texts;
    for (qint64 number : numbers)
        texts.append(QString::number(number));
    return u"["_s + texts.join(", "_L1) + u"]"_s;
}

} // namespace

QString analyze(const QByteArray& data)
{
    if (data.size() < 4)
        return u"TOC too short (%1 bytes)"_s.arg(data.size());
    const int length = FullTOC::headerLength(data);
    QString report;
    report += u"Raw TOC: %1 bytes, header length=%2, sessions %3–%4\n\n"_s.arg(data.size())
                  .arg(length)
                  .arg(quint8(data.at(2)))
                  .arg(quint8(data.at(3)));
    report += u"  idx  sess  ctrl       point            MSF        LBA      notes\n"_s;
    report += u"  ---  ----  ---------  ---------------  ---------  -------  -----------------\n"_s;

    QList<qint64> leadOuts;
    QList<qint64> dataPoints;
    if (length > 12) {
        const QList<FullTOC::Descriptor> descriptors = FullTOC::descriptors(data);
        for (qsizetype i = 0; i < descriptors.size(); ++i) {
            const FullTOC::Descriptor& d = descriptors[i];
            const QString control = hexByte(d.control) + (d.isData() ? u" DATA "_s : u" audio"_s);
            const QString msf = u"%1:%2:%3"_s.arg(d.minute, 2, 10, '0'_L1)
                                    .arg(d.second, 2, 10, '0'_L1)
                                    .arg(d.frame, 2, 10, '0'_L1);
            report += u"  %1  %2  %3  %4  %5  %6  %7\n"_s.arg(i, 3)
                          .arg(d.session, 4)
                          .arg(control, -9)
                          .arg(pointColumn(d), -15)
                          .arg(msf)
                          .arg(d.address(), 7)
                          .arg(notesColumn(d));
            if (d.point == FullTOC::leadOutPoint)
                leadOuts.append(d.address());
            else if (d.isTrack() && d.isData())
                dataPoints.append(d.point);
        }
    }

    report += u"\nParser output (what will be ripped):\n"_s;
    try {
        const DiscTOC toc = MusicBrainzDiscLookup::parseDiscTOC(data);
        report += u"  trackCount   = %1\n"_s.arg(toc.trackCount);
        report += u"  trackOffsets = %1\n"_s.arg(joined(toc.trackOffsets));
        report += u"  leadOut      = %1\n"_s.arg(toc.leadOutOffset);
        report += u"  discID       = %1\n"_s.arg(toc.discID);
    } catch (const MusicBrainzDiscLookup::LookupError&) {
        report += u"  (parser rejected this TOC)\n"_s;
    }

    report += u"\nDiagnosis:\n"_s;
    if (leadOuts.size() >= 2) {
        const qint64 first = leadOuts.constFirst();
        const qint64 last = leadOuts.constLast();
        report += u"  • Multi-session disc (%1 lead-outs). Last audio track is bounded by\n"_s.arg(leadOuts.size());
        report += u"    session-1 lead-out (%1), not session-2's (%2) — the\n"_s.arg(first).arg(last);
        report += u"    %1-sector inter-session gap is excluded. ✅\n"_s.arg(last - first);
    }
    if (!dataPoints.isEmpty()) {
        report += u"  • %1 data track(s) detected (point %2) and excluded from audio ripping. ✅\n"_s
                      .arg(dataPoints.size())
                      .arg(joined(dataPoints));
    }
    if (leadOuts.size() < 2 && dataPoints.isEmpty())
        report += u"  • Single session, no data tracks — standard audio CD.\n"_s;
    return report;
}

QString dump(const QString& source)
{
    return analyze(MusicBrainzDiscLookup::rawTOCData(source));
}

} // namespace CDTOCDiagnostics
