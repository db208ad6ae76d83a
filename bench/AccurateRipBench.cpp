#include "disc/TrackChecksums.h"

#include <QByteArray>
#include <QtEndian>

#include <benchmark/benchmark.h>

namespace {

// What the rip adds to each frame: the AccurateRip sums and both CRC32s of a three-minute track,
// fed a frame at a time as the strategies feed it.
void BM_TrackChecksums(benchmark::State& state)
{
    constexpr qint64 frames = 3 * 60 * 75;
    QByteArray pcm(frames * 2352, Qt::Uninitialized);
    quint32 noise = 2463534242u;
    for (qint64 i = 0; i < frames * 588; ++i) {
        noise ^= noise << 13;
        noise ^= noise >> 17;
        noise ^= noise << 5;
        qToLittleEndian(noise, pcm.data() + i * 4);
    }
    for (auto _ : state) {
        TrackChecksummer checksummer(frames * 588, true, true);
        for (qint64 frame = 0; frame < frames; ++frame)
            checksummer.add(pcm.constData() + frame * 2352, 588);
        benchmark::DoNotOptimize(checksummer.result());
    }
    state.SetBytesProcessed(state.iterations() * pcm.size());
}
BENCHMARK(BM_TrackChecksums)->Unit(benchmark::kMillisecond);

} // namespace
