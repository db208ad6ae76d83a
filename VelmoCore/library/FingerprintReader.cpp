#include "FingerprintReader.h"

#include "platform/AudioDecoder.h"

#include <chromaprint.h>

#include <algorithm>
#include <limits>
#include <memory>

using namespace Qt::StringLiterals;

namespace FingerprintReader {

FingerprintError::FingerprintError(Kind kind, const QString& message)
    : std::runtime_error(message.toStdString()), m_kind(kind), m_message(message)
{
}

namespace {

struct ContextFreer {
    void operator()(ChromaprintContext* context) const { chromaprint_free(context); }
};

[[noreturn]] void fingerprintFailed(const QString& path)
{
    throw FingerprintError(FingerprintError::Kind::fingerprintFailed,
                           u"The sound of “"_s + path + u"” could not be fingerprinted."_s);
}

} // namespace

Fingerprint fingerprint(const QUrl& url, double maxDuration)
{
    const QString path = url.toLocalFile();
    AudioDecoder::Samples decoded;
    try {
        decoded = AudioDecoder::decode(path, maxDuration, 2);
    } catch (const AudioDecoder::DecodeError& error) {
        throw FingerprintError(FingerprintError::Kind::decodingFailed, QString::fromStdString(error.what()));
    }

    std::vector<int16_t> pcm(decoded.samples.size());
    std::transform(decoded.samples.cbegin(), decoded.samples.cend(), pcm.begin(),
                   [](float sample) { return int16_t(std::clamp(sample, -1.0f, 1.0f) * 32767.0f); });

    std::unique_ptr<ChromaprintContext, ContextFreer> context(chromaprint_new(CHROMAPRINT_ALGORITHM_TEST2));
    if (!context)
        fingerprintFailed(path);
    if (!chromaprint_start(context.get(), decoded.sampleRate, decoded.channels))
        fingerprintFailed(path);
    // chromaprint_feed takes an int count, so a long file goes in slices.
    constexpr size_t slice = size_t(std::numeric_limits<int>::max() / 2);
    for (size_t offset = 0; offset < pcm.size(); offset += slice) {
        const auto count = int(std::min(slice, pcm.size() - offset));
        if (!chromaprint_feed(context.get(), pcm.data() + offset, count))
            fingerprintFailed(path);
    }
    if (!chromaprint_finish(context.get()))
        fingerprintFailed(path);
    uint32_t* raw = nullptr;
    int size = 0;
    if (!chromaprint_get_raw_fingerprint(context.get(), &raw, &size) || !raw)
        fingerprintFailed(path);
    Fingerprint result(raw, raw + size);
    chromaprint_dealloc(raw);
    return result;
}

} // namespace FingerprintReader
