#include "ParanoiaRipStrategy.h"

#include "DiscImageSource.h"
#include "platform/ParanoiaSource.h"

namespace {

std::unique_ptr<SectorSource> paranoiaSource(const QString& source)
{
    if (MusicBrainzDiscLookup::isDiscImage(source))
        return std::make_unique<DiscImageSource>(CueSheet::load(source));
    return std::make_unique<ParanoiaSource>(source);
}

} // namespace

ParanoiaRipStrategy::ParanoiaRipStrategy(std::optional<qint64> readOffset)
    : SectorRipStrategy(paranoiaSource, {.retries = 0}, readOffset, RipStrategyKind::paranoia)
{
}

ParanoiaRipStrategy::ParanoiaRipStrategy(SectorSourceFactory sources, qint64 readOffset)
    : SectorRipStrategy(std::move(sources), {.retries = 0}, readOffset, RipStrategyKind::paranoia)
{
}
