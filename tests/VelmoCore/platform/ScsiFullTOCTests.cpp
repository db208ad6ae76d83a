#include "disc/DiscTOC.h"
#include "platform/ScsiFullTOC.h"
#include "support/DiscImages.h"

#include <gtest/gtest.h>

// The SG_IO call itself needs a drive; what goes into it and what is taken from its answer
// are checked here with bytes as a drive sends them.
TEST(ScsiFullTOC, TheCommandAsksForTheFullTOCInMSFFromSessionOne)
{
    const std::array<unsigned char, 10> block = ScsiFullTOC::command(ScsiFullTOC::largestAnswer);
    EXPECT_EQ(block, (std::array<unsigned char, 10>{0x43, 0x02, 0x02, 0, 0, 0, 1, 0x11, 0x08, 0}));
    EXPECT_EQ(ScsiFullTOC::largestAnswer, 4 + 11 * 396) << "99 tracks, three points for each of 99 sessions";
}

TEST(ScsiFullTOC, TheAnswerIsCutToWhatItsHeaderAnnounces)
{
    // A drive fills the buffer it was given; only the announced bytes are the TOC.
    const QByteArray toc = DiscImages::audioTOC({150, 15000, 30000}, 45000);
    QByteArray buffer = toc + QByteArray(200, '\x7f');
    const auto* bytes = reinterpret_cast<const unsigned char*>(buffer.constData());
    const std::optional<QByteArray> answer = ScsiFullTOC::answer(bytes, int(buffer.size()));
    ASSERT_TRUE(answer);
    EXPECT_EQ(*answer, toc);
    EXPECT_EQ(MusicBrainzDiscLookup::parseDiscTOC(*answer).trackOffsets, (QList<qint64>{150, 15000, 30000}));

    // A drive that sent less than it announced: what it sent, for the parser to judge.
    const std::optional<QByteArray> short_ = ScsiFullTOC::answer(bytes, int(toc.size()) - 11);
    ASSERT_TRUE(short_);
    EXPECT_EQ(*short_, toc.first(toc.size() - 11));
    EXPECT_FALSE(ScsiFullTOC::answer(bytes, 3)) << "not even a header";
}
