#include "app/SidebarView.h"
#include "widgets/VerdictSymbol.h"

#include <QApplication>
#include <QImage>
#include <QListWidget>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using Outcome = AccurateRip::Verdict::Outcome;

namespace {

// The pixels of a mark as drawn, and of the same mark where the sidebar paints it.
QImage drawn(VerdictSymbol symbol)
{
    return VerdictSymbols::icon(symbol).pixmap(32, 32).toImage().convertToFormat(QImage::Format_ARGB32);
}

bool holds(const QImage& image, const QColor& colour)
{
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const QColor pixel = image.pixelColor(x, y);
            if (pixel.alpha() > 230 && std::abs(pixel.red() - colour.red()) < 12
                && std::abs(pixel.green() - colour.green()) < 12 && std::abs(pixel.blue() - colour.blue()) < 12)
                return true;
        }
    }
    return false;
}

// No pixel of a colour: grey and black only, at whatever opacity.
bool neutral(const QImage& image)
{
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const QColor pixel = image.pixelColor(x, y);
            if (pixel.alpha() > 0 && pixel.hsvSaturation() > 40)
                return false;
        }
    }
    return true;
}

const QColor green(0x2e, 0x7d, 0x32);
const QColor amber(0xe0, 0x9b, 0x00);
const QColor red(0xc6, 0x28, 0x28);

// The sidebar's CD Rip row with the mark, as a screen reader hears it and as it is painted.
struct SidebarMark {
    QString spoken;
    QImage painted;
};

SidebarMark onSidebar(VerdictSymbol symbol)
{
    SidebarView sidebar;
    sidebar.resize(220, 300);
    sidebar.show();
    sidebar.setDiscs({DiscInfo{.bsdName = u"sr0"_s}});
    const SidebarItem row = SidebarItem::cdRip(u"sr0"_s);
    sidebar.setMark(row, symbol);
    EXPECT_EQ(sidebar.mark(row), symbol);
    auto* list = sidebar.findChild<QListWidget*>();
    list->doItemsLayout();
    QListWidgetItem* item = list->item(list->count() - 1);
    const QRect rect = list->visualItemRect(item);
    const QImage grabbed = list->viewport()->grab(QRect(rect.right() - 28, rect.top(), 28, rect.height())).toImage();
    SidebarMark mark{item->data(Qt::AccessibleTextRole).toString(), grabbed.convertToFormat(QImage::Format_ARGB32)};
    sidebar.setMark(row, std::nullopt);
    EXPECT_FALSE(sidebar.mark(row));
    EXPECT_FALSE(item->data(Qt::AccessibleTextRole).isValid()) << "the row is read as its text again";
    return mark;
}

} // namespace

TEST(VerdictSymbol, AccuratelyRippedIsAGreenCheck)
{
    const auto accurate = AccurateRip::Verdict{.outcome = Outcome::accurate, .confidence = 3, .version = 2};
    EXPECT_EQ(VerdictSymbols::forVerdict(accurate), VerdictSymbol::confirmed);
    EXPECT_EQ(VerdictSymbols::name(VerdictSymbol::confirmed), u"checkmark.circle.fill"_s);
    EXPECT_EQ(VerdictSymbols::words(VerdictSymbol::confirmed), u"Done"_s);
    EXPECT_TRUE(holds(drawn(VerdictSymbol::confirmed), green));
    const SidebarMark sidebar = onSidebar(VerdictSymbol::confirmed);
    EXPECT_EQ(sidebar.spoken, u"Audio CD (sr0), done"_s);
    EXPECT_TRUE(holds(sidebar.painted, green));
}

TEST(VerdictSymbol, NotInTheDatabaseIsANeutralInformationMark)
{
    EXPECT_EQ(VerdictSymbols::forVerdict(AccurateRip::Verdict{.outcome = Outcome::notInDatabase}),
              VerdictSymbol::unconfirmed);
    EXPECT_EQ(VerdictSymbols::forVerdict(AccurateRip::Verdict{.outcome = Outcome::unchecked}),
              VerdictSymbol::unconfirmed);
    EXPECT_EQ(VerdictSymbols::forVerdict(std::optional<AccurateRip::Verdict>{}), VerdictSymbol::unconfirmed) << "no verdict is no check";
    EXPECT_EQ(VerdictSymbols::name(VerdictSymbol::unconfirmed), u"info.circle"_s);
    EXPECT_EQ(VerdictSymbols::words(VerdictSymbol::unconfirmed), u"Not verified"_s);
    EXPECT_TRUE(neutral(drawn(VerdictSymbol::unconfirmed)));
    EXPECT_FALSE(holds(drawn(VerdictSymbol::unconfirmed), green));
    const SidebarMark sidebar = onSidebar(VerdictSymbol::unconfirmed);
    EXPECT_EQ(sidebar.spoken, u"Audio CD (sr0), not verified"_s);
    EXPECT_FALSE(holds(sidebar.painted, green));
}

TEST(VerdictSymbol, AMismatchOrDamageIsATriangleInTheWarningColour)
{
    EXPECT_EQ(VerdictSymbols::forVerdict(AccurateRip::Verdict{.outcome = Outcome::mismatch, .pressings = 1}),
              VerdictSymbol::warning);
    EXPECT_EQ(VerdictSymbols::forVerdict(AccurateRip::Verdict{.outcome = Outcome::damaged}), VerdictSymbol::warning);
    EXPECT_EQ(VerdictSymbols::name(VerdictSymbol::warning), u"exclamationmark.triangle.fill"_s);
    EXPECT_EQ(VerdictSymbols::words(VerdictSymbol::warning), u"Warning"_s);
    EXPECT_TRUE(holds(drawn(VerdictSymbol::warning), amber));
    EXPECT_FALSE(holds(drawn(VerdictSymbol::warning), green));
    const SidebarMark sidebar = onSidebar(VerdictSymbol::warning);
    EXPECT_EQ(sidebar.spoken, u"Audio CD (sr0), warning"_s);
    EXPECT_TRUE(holds(sidebar.painted, amber));
}

TEST(VerdictSymbol, WaitingIsAHollowNeutralCircle)
{
    const QImage image = drawn(VerdictSymbol::waiting);
    EXPECT_EQ(VerdictSymbols::name(VerdictSymbol::waiting), u"circle"_s);
    EXPECT_EQ(VerdictSymbols::words(VerdictSymbol::waiting), u"Waiting"_s);
    EXPECT_TRUE(neutral(image)) << "not a red stop dot";
    EXPECT_EQ(image.pixelColor(16, 16).alpha(), 0) << "hollow";
    EXPECT_GT(image.pixelColor(16, 5).alpha(), 0) << "its ring";
    EXPECT_EQ(onSidebar(VerdictSymbol::waiting).spoken, u"Audio CD (sr0), waiting"_s);
}

TEST(VerdictSymbol, FailedIsTheErrorMark)
{
    EXPECT_EQ(VerdictSymbols::name(VerdictSymbol::failed), u"exclamationmark.circle.fill"_s);
    EXPECT_EQ(VerdictSymbols::words(VerdictSymbol::failed), u"Failed"_s);
    EXPECT_TRUE(holds(drawn(VerdictSymbol::failed), red));
    const SidebarMark sidebar = onSidebar(VerdictSymbol::failed);
    EXPECT_EQ(sidebar.spoken, u"Audio CD (sr0), failed"_s);
    EXPECT_TRUE(holds(sidebar.painted, red));
}

TEST(VerdictSymbol, ASummaryTakesTheWorstOfItsItems)
{
    using enum VerdictSymbol;
    EXPECT_EQ(VerdictSymbols::worse(confirmed, unconfirmed), unconfirmed);
    EXPECT_EQ(VerdictSymbols::worse(warning, unconfirmed), warning);
    EXPECT_EQ(VerdictSymbols::worse(warning, failed), failed);
    EXPECT_EQ(VerdictSymbols::worse(confirmed, waiting), waiting);
    EXPECT_EQ(VerdictSymbols::worse(confirmed, confirmed), confirmed);
}

TEST(VerdictSymbol, ATrackEarnsACheckWhenOneDatabaseConfirmsItAndNoneContradicts)
{
    using Status = CTDB::Verdict::Status;
    const AccurateRip::Verdict accurate{.outcome = Outcome::accurate, .confidence = 4};
    const AccurateRip::Verdict unknown{.outcome = Outcome::notInDatabase};
    const AccurateRip::Verdict mismatch{.outcome = Outcome::mismatch, .pressings = 1};
    const CTDB::Verdict ctdbAccurate{.status = Status::accurate, .confidence = 5, .total = 7};
    const CTDB::Verdict ctdbUnknown{.status = Status::notInDatabase};
    const CTDB::Verdict ctdbDiffers{.status = Status::differs, .total = 7};
    const CTDB::Verdict ctdbDamaged{.status = Status::damaged};

    EXPECT_EQ(VerdictSymbols::forTrack(unknown, ctdbAccurate), VerdictSymbol::confirmed);
    EXPECT_EQ(VerdictSymbols::forTrack(accurate, ctdbUnknown), VerdictSymbol::confirmed);
    EXPECT_EQ(VerdictSymbols::forTrack(accurate, std::nullopt), VerdictSymbol::confirmed);
    EXPECT_EQ(VerdictSymbols::forTrack(accurate, ctdbDiffers), VerdictSymbol::warning) << "one contradicts";
    EXPECT_EQ(VerdictSymbols::forTrack(mismatch, ctdbAccurate), VerdictSymbol::warning) << "one contradicts";
    EXPECT_EQ(VerdictSymbols::forTrack(accurate, ctdbDamaged), VerdictSymbol::warning);
    EXPECT_EQ(VerdictSymbols::forTrack(unknown, ctdbUnknown), VerdictSymbol::unconfirmed);
    EXPECT_EQ(VerdictSymbols::forTrack(std::nullopt, std::nullopt), VerdictSymbol::unconfirmed);
}
