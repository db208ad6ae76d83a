#include "library/DuplicateFinder.h"
#include "support/SyntheticFingerprints.h"

#include <benchmark/benchmark.h>

#include <QSet>

namespace {

// 20,000 fingerprints of 120 seconds with a few hundred planted near-copies (3 to 8 per cent
// of the bits changed, as a re-encode does): the indexed pairing must find every one.
void BM_PairTwentyThousandFingerprints(benchmark::State& state)
{
    const SyntheticFingerprints::Set set = SyntheticFingerprints::make(20000, 950, 300, 0.03, 0.08, 2026);
    const float threshold = float(state.range(0)) / 100.0f;
    for (auto _ : state) {
        const QList<QList<qsizetype>> sets =
            DuplicateFinder::pair(set.fingerprints, threshold, DuplicateFinder::Pairing::indexed);
        QHash<qsizetype, qsizetype> setOf;
        for (qsizetype s = 0; s < sets.size(); ++s)
            for (qsizetype index : sets.at(s))
                setOf.insert(index, s);
        qsizetype found = 0;
        for (const auto& [copy, original] : set.planted)
            found += setOf.contains(copy) && setOf.value(copy) == setOf.value(original, -1);
        state.counters["planted"] = double(set.planted.size());
        state.counters["found"] = double(found);
        state.counters["groups"] = double(sets.size());
    }
}
BENCHMARK(BM_PairTwentyThousandFingerprints)->Arg(80)->Arg(90)->Unit(benchmark::kSecond)->Iterations(1);

} // namespace
