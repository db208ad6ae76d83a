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

DirectRipStrategy::DirectRipStrategy()
    : DirectRipStrategy(directSource, 200ms)
{
}

DirectRipStrategy::DirectRipStrategy(SectorSourceFactory sources, std::chrono::milliseconds pause)
    : SectorRipStrategy(std::move(sources), {.retries = 4, .pause = pause})
{
}
