#include "DirectRipStrategy.h"

#include "DiscImageSource.h"
#include "platform/CdromAudioSource.h"

using namespace std::chrono_literals;

namespace {

std::unique_ptr<SectorSource> directSource(const QString& source)
{
    if (MusicBrainzDiscLookup::isDiscImage(source))
        return std::make_unique<DiscImageSource>(CueSheet::load(source));
    return std::make_unique<CdromAudioSource>(source);
}

} // namespace

DirectRipStrategy::DirectRipStrategy(std::optional<qint64> readOffset)
    : SectorRipStrategy(directSource, {.retries = 4, .pause = 200ms}, readOffset, RipStrategyKind::direct)
{
}

DirectRipStrategy::DirectRipStrategy(SectorSourceFactory sources, std::chrono::milliseconds pause, qint64 readOffset)
    : SectorRipStrategy(std::move(sources), {.retries = 4, .pause = pause}, readOffset, RipStrategyKind::direct)
{
}
