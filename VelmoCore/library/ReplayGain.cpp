#include "ReplayGain.h"

#include <QRegularExpression>

#include <algorithm>
#include <cmath>
#include <limits>

using namespace Qt::StringLiterals;

namespace ReplayGain {

double gain(double loudnessLUFS)
{
    return std::round((referenceLoudness - loudnessLUFS) * 100.0) / 100.0;
}

double Values::trackGain() const
{
    return gain(trackLoudness);
}

std::optional<double> Values::albumGain() const
{
    return albumLoudness ? std::optional<double>(gain(*albumLoudness)) : std::nullopt;
}

QString gainText(double gain)
{
    // -0.00 would read oddly and means nothing else than 0.00.
    const double rounded = std::round(gain * 100.0) / 100.0;
    return QString::number(rounded == 0.0 ? 0.0 : rounded, 'f', 2) + u" dB"_s;
}

QString peakText(double peak)
{
    return QString::number(peak, 'f', 6);
}

std::optional<double> parseGain(const QString& text)
{
    static const QRegularExpression form(u"^\\s*([+-]?(?:\\d+\\.?\\d*|\\.\\d+))\\s*(?:dB)?\\s*$"_s,
                                         QRegularExpression::CaseInsensitiveOption);
    const QRegularExpressionMatch match = form.match(text);
    if (!match.hasMatch())
        return std::nullopt;
    bool ok = false;
    const double value = match.captured(1).toDouble(&ok);
    return ok && std::isfinite(value) ? std::optional<double>(value) : std::nullopt;
}

int opusGain(double loudnessLUFS)
{
    const double steps = std::round((opusReferenceLoudness - loudnessLUFS) * 256.0);
    return int(std::clamp(steps, double(std::numeric_limits<qint16>::min()), double(std::numeric_limits<qint16>::max())));
}

std::optional<double> fromOpusGain(const QString& text)
{
    bool ok = false;
    const int steps = text.trimmed().toInt(&ok);
    if (!ok || steps < std::numeric_limits<qint16>::min() || steps > std::numeric_limits<qint16>::max())
        return std::nullopt;
    return std::round((double(steps) / 256.0 + referenceLoudness - opusReferenceLoudness) * 100.0) / 100.0;
}

} // namespace ReplayGain
