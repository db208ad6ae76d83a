#include "library/ImageType.h"
#include "platform/ImageScaling.h"
#include "support/TestImages.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

TEST(ImageScalingTest, ALargePictureComesOutAsAJpegWithinTheSizeAndItsProportions)
{
    const std::optional<QByteArray> fitted = ImageScaling::fittedJpeg(TestImages::png(3000, 2000), 500);
    ASSERT_TRUE(fitted);
    EXPECT_EQ(ImageType::mimeType(*fitted), u"image/jpeg"_s);
    EXPECT_EQ(ImageScaling::dimensions(*fitted), (std::pair{500, 333}));
    const std::optional<QByteArray> tall = ImageScaling::fittedJpeg(TestImages::png(600, 1200), 300);
    ASSERT_TRUE(tall);
    EXPECT_EQ(ImageScaling::dimensions(*tall), (std::pair{150, 300}));
}

TEST(ImageScalingTest, ASmallPictureIsNeverEnlargedAndASmallJpegIsKeptAsItIs)
{
    const std::optional<QByteArray> small = ImageScaling::fittedJpeg(TestImages::png(200, 120), 500);
    ASSERT_TRUE(small);
    EXPECT_EQ(ImageType::mimeType(*small), u"image/jpeg"_s);
    EXPECT_EQ(ImageScaling::dimensions(*small), (std::pair{200, 120}));
    EXPECT_EQ(ImageScaling::fittedJpeg(*small, 500), small);
    EXPECT_EQ(ImageScaling::fittedJpeg(*small, 200), small);
    EXPECT_EQ(ImageScaling::dimensions(*ImageScaling::fittedJpeg(*small, 100)), (std::pair{100, 60}));
}

TEST(ImageScalingTest, BytesThatAreNoPictureGiveNothing)
{
    EXPECT_EQ(ImageScaling::fittedJpeg(QByteArray("not a picture"), 500), std::nullopt);
    QByteArray cut = TestImages::png(800, 800);
    cut.truncate(40);
    EXPECT_EQ(ImageScaling::fittedJpeg(cut, 500), std::nullopt);
    EXPECT_EQ(ImageScaling::dimensions(QByteArray()), std::nullopt);
}
