#include "SyntheticFingerprints.h"

#include <random>

namespace SyntheticFingerprints {

namespace {

quint32 flipBits(quint32 word, double rate, std::mt19937& random)
{
    std::bernoulli_distribution flip(rate);
    for (int bit = 0; bit < 32; ++bit) {
        if (flip(random))
            word ^= 1u << bit;
    }
    return word;
}

} // namespace

Set make(qsizetype count, qsizetype words, qsizetype planted, double minNoise, double maxNoise, unsigned seed)
{
    std::mt19937 random(seed);
    std::uniform_int_distribution<quint32> anyWord;
    std::uniform_int_distribution<qsizetype> length(words * 9 / 10, words);
    std::uniform_int_distribution<qsizetype> shortLength(20, 127);
    std::uniform_real_distribution<double> noise(minNoise, maxNoise);
    Set set;
    const qsizetype originals = count - planted;
    for (qsizetype i = 0; i < originals; ++i) {
        Fingerprint print(i % 50 == 7 ? shortLength(random) : length(random));
        quint32 word = anyWord(random);
        for (quint32& slot : print) {
            word = flipBits(word, 0.15, random);
            slot = word;
        }
        set.fingerprints.append(print);
    }
    std::uniform_int_distribution<qsizetype> source(0, originals - 1);
    for (qsizetype i = 0; i < planted; ++i) {
        const qsizetype from = source(random);
        Fingerprint copy = *set.fingerprints.at(from);
        if (i % 5 == 0)
            copy.resize(copy.size() * 3 / 4);
        const double rate = noise(random);
        for (quint32& word : copy)
            word = flipBits(word, rate, random);
        set.planted.append({set.fingerprints.size(), from});
        set.fingerprints.append(copy);
    }
    return set;
}

} // namespace SyntheticFingerprints
