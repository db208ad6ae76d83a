#include "app/ContentView.h"
#include "app/SidebarView.h"
#include "disc/AccurateRipID.h"
#include "disc/CTDBTOC.h"
#include "disc/CDRipView.h"
#include "disc/DiscMonitor.h"
#include "disc/DiscNamesForm.h"
#include "disc/TrackChecksums.h"
#include "facade/Library.h"
#include "library/BlockingWait.h"
#include "metadata/MusicBrainzDiscLookup.h"
#include "support/CTDBImages.h"
#include "support/DiscImages.h"
#include "support/FakeClock.h"
#include "support/FakeServices.h"
#include "support/RipSetup.h"
#include "support/TestEnvironment.h"
#include "support/TrackFactory.h"
#include "widgets/ArtworkView.h"
#include "widgets/Icons.h"
#include "widgets/PlaceholderView.h"

#include <QBuffer>
#include <QCheckBox>
#include <QComboBox>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QLabel>
#include <QLineEdit>
#include <QLinearGradient>
#include <QPainter>
#include <QProgressBar>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QTreeWidget>

#include <gtest/gtest.h>

#include <cerrno>

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 framesPerTrack = 30;

class CDRipViewTest : public ::testing::Test, protected RipSetup {
protected:
    void TearDown() override { EXPECT_TRUE(coverSearchEnded()); }

    void SetUp() override
    {
        TestEnvironment::clearSettings();
        if (!qEnvironmentVariableIsEmpty("SONORELLE_SCREENSHOTS"))
            Icons::chooseTheme();
        image = DiscImages::writeImage(folder.path(), 3, framesPerTrack);
        toc = MusicBrainzDiscLookup::readDiscTOC(image.sheet);
    }

    void knownAs(const QList<QJsonObject>& releases)
    {
        QJsonArray list;
        for (const QJsonObject& release : releases)
            list.append(release);
        services.musicBrainz.route(u"/ws/2/discid/"_s + toc.discID,
                                   FakeResponse::ok(QJsonDocument(QJsonObject{{"releases"_L1, list}}).toJson(),
                                                    "application/json"));
    }

    QJsonObject release(const QString& id, const QString& status = u"Official"_s)
    {
        return DiscImages::musicBrainzRelease(id, u"Album "_s + id, toc.discID, 3, status);
    }

    std::unique_ptr<CDRipView> show()
    {
        auto view = std::make_unique<CDRipView>(controller, library, image.sheet);
        view->resize(720, 520);
        view->show();
        return view;
    }

    template <typename State>
    bool waitFor()
    {
        return QTest::qWaitFor([this] { return std::holds_alternative<State>(controller.state()); }, 10000);
    }

    static QStringList column(const QTreeWidget* tracks, int column)
    {
        QStringList texts;
        for (int i = 0; i < tracks->topLevelItemCount(); ++i)
            texts.append(tracks->topLevelItem(i)->text(column));
        return texts;
    }

    // Where each row stands, by the name of its symbol; "ring" for a running track.
    static QStringList statuses(const QTreeWidget* tracks)
    {
        QStringList symbols;
        for (int i = 0; i < tracks->topLevelItemCount(); ++i) {
            QTreeWidgetItem* row = tracks->topLevelItem(i);
            symbols.append(tracks->itemWidget(row, 3) ? u"ring"_s : row->data(3, CDRipView::symbolRole).toString());
        }
        return symbols;
    }

    // What a screen reader says of each row's status.
    static QStringList spokenStatuses(const QTreeWidget* tracks)
    {
        QStringList words;
        for (int i = 0; i < tracks->topLevelItemCount(); ++i)
            words.append(tracks->topLevelItem(i)->data(3, Qt::AccessibleTextRole).toString());
        return words;
    }

    static QByteArray coverImage()
    {
        QImage image(240, 240, QImage::Format_RGB32);
        QPainter painter(&image);
        QLinearGradient gradient(0, 0, 240, 240);
        gradient.setColorAt(0, QColor(0x2b, 0x4c, 0x7e));
        gradient.setColorAt(1, QColor(0xe0, 0x8e, 0x45));
        painter.fillRect(image.rect(), gradient);
        painter.end();
        QByteArray bytes;
        QBuffer buffer(&bytes);
        buffer.open(QIODevice::WriteOnly);
        image.save(&buffer, "PNG");
        return bytes;
    }

    // With SONORELLE_SCREENSHOTS set, the screen as the docs show it.
    static void screenshot(QWidget& view, const QString& name)
    {
        const QString folder = qEnvironmentVariable("SONORELLE_SCREENSHOTS");
        if (folder.isEmpty())
            return;
        QTest::qWait(100);
        view.grab().save(folder + u'/' + name);
    }

};

} // namespace

TEST_F(CDRipViewTest, LookingUpShowsItsLineUntilTheAnswerComes)
{
    knownAs({release(u"a"_s)});
    const auto view = show();
    ASSERT_TRUE(std::holds_alternative<RipStates::LookingUp>(controller.state()));
    EXPECT_EQ(view->heading()->text(), u"Looking up disc…"_s);
    EXPECT_TRUE(view->buttonTexts().isEmpty());
    ASSERT_TRUE(waitFor<RipStates::Ready>());
    EXPECT_EQ(view->heading()->text(), u"Album a"_s);
}

TEST_F(CDRipViewTest, EveryFailedLookupOffersTryAgainAndRippingWithoutMetadata)
{
    const auto view = show();
    ASSERT_TRUE(waitFor<RipStates::LookupFailed>());
    EXPECT_EQ(view->heading()->text(), u"Couldn't Identify Disc"_s);
    EXPECT_EQ(view->message()->text(), u"This disc isn't in the MusicBrainz database yet."_s);
    EXPECT_EQ(view->buttonTexts(),
              (QStringList{u"Try Again"_s, u"Rip Without Metadata"_s, u"Submit to MusicBrainz…"_s}));
    QList<QUrl> opened;
    QObject::connect(view.get(), &CDRipView::browserRequested, [&](const QUrl& address) { opened.append(address); });
    view->button(u"Submit to MusicBrainz…"_s)->click();
    ASSERT_EQ(opened.size(), 1);
    EXPECT_EQ(opened.constFirst(), MusicBrainzDiscLookup::submitURL(services.musicBrainz.url(), toc.discID,
                                                                    toc.trackOffsets, toc.leadOutOffset))
        << "the configured MusicBrainz site";

    const auto offersBoth = [&](const char* how) {
        SCOPED_TRACE(how);
        ASSERT_TRUE(QTest::qWaitFor([&] { return view->button(u"Rip Without Metadata"_s) != nullptr; }, 10000));
        EXPECT_EQ(view->message()->text(),
                  u"Couldn't reach MusicBrainz. Check your internet connection and try again."_s);
        EXPECT_EQ(view->buttonTexts(), (QStringList{u"Try Again"_s, u"Rip Without Metadata"_s}))
            << "the disc may well be known: nothing to submit";
    };
    services.musicBrainz.route(u"/ws/2/discid/"_s + toc.discID, FakeResponse::withStatus(503));
    view->button(u"Try Again"_s)->click();
    offersBoth("HTTP 503");
    FakeServices::configure(FakeServices::vacantAddress(), FakeServices::vacantAddress(),
                            FakeServices::vacantAddress());
    view->button(u"Try Again"_s)->click();
    offersBoth("connection refused");
}

TEST_F(CDRipViewTest, AnUnknownDiscIsNamedOnTheScreenBeforeItIsRipped)
{
    FakeServices::configure(FakeServices::vacantAddress(), FakeServices::vacantAddress(),
                            FakeServices::vacantAddress());
    const auto view = show();
    ASSERT_TRUE(waitFor<RipStates::LookupFailed>());
    ASSERT_TRUE(QTest::qWaitFor([&] { return view->button(u"Rip Without Metadata"_s) != nullptr; }, 10000));
    view->button(u"Rip Without Metadata"_s)->click();
    ASSERT_TRUE(waitFor<RipStates::Ready>());
    DiscNamesForm* form = view->namesForm();
    ASSERT_NE(form, nullptr);
    EXPECT_EQ(form->artistField()->text(), u"Unknown Artist"_s);
    EXPECT_EQ(form->albumField()->text(), u"Unknown Album"_s);
    EXPECT_EQ(column(form->trackList(), DiscNamesForm::titleColumn),
              (QStringList{u"Track 1"_s, u"Track 2"_s, u"Track 3"_s}));
    EXPECT_TRUE(form->trackList()->isColumnHidden(DiscNamesForm::artistColumn));
    EXPECT_EQ(view->buttonTexts(), QStringList{u"Start Ripping"_s});

    const auto type = [](QLineEdit* field, const QString& text) {
        field->selectAll();
        QTest::keyClicks(field, text);
    };
    type(form->artistField(), u"Kite Orchard"_s);
    type(form->albumField(), u"Basement Sessions"_s);
    type(form->yearField(), u"2019"_s);
    type(form->genreField(), u"Folk"_s);
    form->trackList()->topLevelItem(0)->setText(DiscNamesForm::titleColumn, u"Low Tide"_s);
    form->trackList()->topLevelItem(2)->setText(DiscNamesForm::titleColumn, u"Lanterns"_s);
    form->variousArtists()->click();
    EXPECT_FALSE(form->trackList()->isColumnHidden(DiscNamesForm::artistColumn));
    form->trackList()->topLevelItem(2)->setText(DiscNamesForm::artistColumn, u"June Aster"_s);
    EXPECT_EQ(view->namesForm(), form) << "typing doesn't rebuild the screen";

    const ReleaseMetadata named = std::get<RipStates::Ready>(controller.state()).allReleases.constFirst();
    EXPECT_EQ(named.title, u"Basement Sessions"_s);
    EXPECT_EQ(named.year, 2019);

    view->button(u"Start Ripping"_s)->click();
    ASSERT_TRUE(waitFor<RipStates::Finished>());
    ASSERT_EQ(library.tracks().size(), 3);
    const Track& first = library.tracks().at(0);
    EXPECT_EQ(first.title, u"Low Tide"_s);
    EXPECT_EQ(first.artist, u"Kite Orchard"_s);
    EXPECT_EQ(first.albumArtist, u"Kite Orchard"_s);
    EXPECT_EQ(first.album, u"Basement Sessions"_s);
    EXPECT_EQ(first.year, 2019);
    EXPECT_EQ(first.genre, u"Folk"_s);
    EXPECT_EQ(library.tracks().at(1).title, u"Track 2"_s);
    EXPECT_EQ(library.tracks().at(2).title, u"Lanterns"_s);
    EXPECT_EQ(library.tracks().at(2).artist, u"June Aster"_s);
    EXPECT_EQ(first.customTags.value(Track::discIDTag()), toc.discID);
}

TEST_F(CDRipViewTest, ReadyShowsTheReleaseChoiceWhatTheLibraryHoldsAndTheRightButtons)
{
    QJsonObject second = release(u"b"_s, u"Promotion"_s);
    second.insert("disambiguation"_L1, u"club mix"_s);
    knownAs({release(u"a"_s), second});
    library.add(makeTrack(u"Song 2"_s, u"Band"_s, u"Album a"_s, 200.5));
    services.coverArt.route(u"/release/a/front"_s, FakeResponse::ok(coverImage(), "image/png"));
    const auto view = show();
    ASSERT_TRUE(waitFor<RipStates::Ready>());
    ASSERT_TRUE(QTest::qWaitFor([&] { return !view->cover()->image().isNull(); }, 5000)) << "the cover arrives";

    ASSERT_NE(view->releaseChoice(), nullptr);
    EXPECT_EQ(view->releaseChoice()->itemText(0), u"Album a  ·  1999"_s);
    EXPECT_EQ(view->releaseChoice()->itemText(1), u"Album b (club mix)  ·  1999, Promotion"_s);
    EXPECT_EQ(view->message()->text(), u"1 of 3 tracks are already in your library."_s);
    EXPECT_EQ(column(view->trackList(), 0), (QStringList{u"1"_s, u"2"_s, u"3"_s}));
    EXPECT_EQ(column(view->trackList(), 2), (QStringList{u"3:20"_s, u"3:20"_s, u"3:20"_s}));
    EXPECT_EQ(column(view->trackList(), 3), (QStringList{QString(), u"In Library"_s, QString()}));
    // An image is never ejected, so its screen has no "Eject".
    EXPECT_EQ(view->buttonTexts(), (QStringList{u"Re-rip & Replace All"_s, u"Rip Missing Tracks"_s}));
    screenshot(*view, u"cd-rip-ready.png"_s);

    view->releaseChoice()->setCurrentIndex(1);
    emit view->releaseChoice()->activated(1);
    EXPECT_EQ(std::get<RipStates::Ready>(controller.state()).selectedIndex, 1);
    EXPECT_EQ(view->heading()->text(), u"Album b"_s);
    EXPECT_EQ(column(view->trackList(), 3), (QStringList{QString(), u"In Library"_s, QString()}))
        << "the marks stay those of the first choice";

    for (const QString& title : {u"Song 1"_s, u"Song 3"_s})
        library.add(makeTrack(title, u"Band"_s, u"Album a"_s, 200.0));
    controller.reset();
    const auto again = show();
    ASSERT_TRUE(waitFor<RipStates::Ready>());
    EXPECT_EQ(again->message()->text(), u"This album is already in your library."_s);
    EXPECT_EQ(again->buttonTexts(), QStringList{u"Re-rip & Replace All"_s}) << "nothing is missing";

    EXPECT_EQ(CDRipView::releaseLabel({.title = u"Plain"_s}), u"Plain"_s);
    EXPECT_EQ(CDRipView::trackLength(59.9), u"0:59"_s);
    EXPECT_EQ(CDRipView::trackLength(3725), u"62:05"_s);
}

TEST_F(CDRipViewTest, ANewDiscStartsRippingFromItsOneButton)
{
    knownAs({release(u"a"_s)});
    const auto view = show();
    ASSERT_TRUE(waitFor<RipStates::Ready>());
    EXPECT_EQ(view->releaseChoice(), nullptr) << "one release, no choice";
    EXPECT_EQ(view->message(), nullptr) << "nothing in the library, no line about it";
    EXPECT_EQ(view->buttonTexts(), QStringList{u"Start Ripping"_s});

    drive->allowedTracks = 0;
    view->button(u"Start Ripping"_s)->click();
    ASSERT_TRUE(std::holds_alternative<RipStates::Ripping>(controller.state()));
    EXPECT_EQ(view->message()->text(), u"Ripping track 1 of 3…"_s);
    ASSERT_NE(view->progressBar(), nullptr);
    EXPECT_EQ(view->progressBar()->value(), 0);
    EXPECT_EQ(statuses(view->trackList()), (QStringList{u"circle"_s, u"circle"_s, u"circle"_s}));
    EXPECT_EQ(spokenStatuses(view->trackList()), (QStringList{u"Waiting"_s, u"Waiting"_s, u"Waiting"_s}));
    drive->allowedTracks = 1;
    ASSERT_TRUE(QTest::qWaitFor([&] { return view->message()->text() == u"Ripping track 2 of 3…"_s; }, 10000));
    EXPECT_GT(view->progressBar()->value(), 300);
    // AccurateRip could not be asked here: ripped, but no check mark for a track nobody confirmed.
    EXPECT_EQ(statuses(view->trackList()), (QStringList{u"info.circle"_s, u"circle"_s, u"circle"_s}));
    EXPECT_TRUE(spokenStatuses(view->trackList()).constFirst().startsWith(u"Ripped, "_s))
        << qPrintable(spokenStatuses(view->trackList()).constFirst());
    drive->allowedTracks = 99;
    ASSERT_TRUE(waitFor<RipStates::Finished>());
}

TEST_F(CDRipViewTest, ATrackTheDatabaseContradictsWarnsAndSoDoesTheSummary)
{
    knownAs({release(u"a"_s)});
    // AccurateRip knows the first track as it is, the other two as something else.
    const AccurateRipID id = AccurateRipID::fromFullTOC(MusicBrainzDiscLookup::rawTOCData(image.sheet));
    TrackChecksummer checksummer(framesPerTrack * 588, true, false);
    checksummer.add(image.trackAudio(0, framesPerTrack).constData(), framesPerTrack * 588);
    const AccurateRip::Pressing pressing{3, id.id1, id.id2, id.cddb, {{4, checksummer.result().v2, 0}, {4, 1, 0}, {4, 1, 0}}};
    services.accurateRip.route(u"/"_s + id.path(), FakeResponse::ok(DiscImages::accurateRipAnswer({pressing})));
    const auto view = show();
    ASSERT_TRUE(waitFor<RipStates::Ready>());
    view->button(u"Start Ripping"_s)->click();
    ASSERT_TRUE(waitFor<RipStates::Finished>());
    EXPECT_EQ(statuses(view->trackList()), (QStringList{u"checkmark.circle.fill"_s, u"exclamationmark.triangle.fill"_s,
                                                        u"exclamationmark.triangle.fill"_s}));
    EXPECT_TRUE(spokenStatuses(view->trackList()).at(1).startsWith(u"Ripped, does not match"_s))
        << qPrintable(spokenStatuses(view->trackList()).at(1));
    ASSERT_NE(view->verification(), nullptr);
    EXPECT_EQ(view->verification()->text(), u"1 of 3 tracks verified by AccurateRip"_s);
    EXPECT_EQ(view->verification()->property("symbol").toString(), u"exclamationmark.triangle.fill"_s)
        << "the summary takes the worst of its tracks";
}

TEST_F(CDRipViewTest, EachTrackShowsBothVerdictsAndEarnsACheckOnlyWhenNoneContradicts)
{
    knownAs({release(u"a"_s)});
    // AccurateRip confirms track 1, does not know track 2 and contradicts track 3; CTDB confirms all.
    const AccurateRipID id = AccurateRipID::fromFullTOC(MusicBrainzDiscLookup::rawTOCData(image.sheet));
    TrackChecksummer checksummer(framesPerTrack * 588, true, false);
    checksummer.add(image.trackAudio(0, framesPerTrack).constData(), framesPerTrack * 588);
    const AccurateRip::Pressing pressing{
        3, id.id1, id.id2, id.cddb, {{4, checksummer.result().v2, 0}, {0, 0, 0}, {4, 1, 0}}};
    services.accurateRip.route(u"/"_s + id.path(), FakeResponse::ok(DiscImages::accurateRipAnswer({pressing})));
    const CTDBTOC ctdbTOC = CTDBTOC::fromFullTOC(MusicBrainzDiscLookup::rawTOCData(image.sheet));
    QList<CTDB::TrackSamples> tracks;
    for (const auto& track : CTDBImages::tracksOf(ctdbTOC, image.audio))
        tracks.append(*track);
    const CTDB::DiscChecksums sums(ctdbTOC, tracks);
    const CTDB::Entry entry{
        .id = 1, .crc32 = sums.discCRC(), .confidence = 2, .toc = ctdbTOC.text(), .stride = CTDB::stride};
    services.ctdb.route(u"/lookup2.php"_s, FakeResponse::ok(CTDBImages::answer({entry}), "text/xml"));

    const auto view = show();
    ASSERT_TRUE(waitFor<RipStates::Ready>());
    view->button(u"Start Ripping"_s)->click();
    ASSERT_TRUE(waitFor<RipStates::Finished>());
    EXPECT_EQ(statuses(view->trackList()), (QStringList{u"checkmark.circle.fill"_s, u"checkmark.circle.fill"_s,
                                                        u"exclamationmark.triangle.fill"_s}));
    EXPECT_EQ(view->trackList()->topLevelItem(1)->text(3),
              u"not in the database · CTDB: accurately ripped (confidence 2 of 2)"_s);
    EXPECT_TRUE(spokenStatuses(view->trackList()).at(2).startsWith(u"Ripped, does not match"_s));
    ASSERT_NE(view->ctdbVerification(), nullptr);
    EXPECT_EQ(view->ctdbVerification()->text(), u"3 of 3 tracks verified by CTDB"_s);
    EXPECT_EQ(view->ctdbVerification()->property("symbol").toString(), u"checkmark.circle.fill"_s);
    ASSERT_NE(view->verification(), nullptr);
    EXPECT_EQ(view->verification()->text(), u"1 of 3 tracks verified by AccurateRip"_s);
}

TEST_F(CDRipViewTest, FinishedCountsFailuresOffersARetryAndDoneLeaves)
{
    knownAs({release(u"a"_s)});
    // AccurateRip knows the first two tracks as they are, the third as something else.
    const AccurateRipID id = AccurateRipID::fromFullTOC(MusicBrainzDiscLookup::rawTOCData(image.sheet));
    const auto sums = [&](qint64 index) {
        TrackChecksummer checksummer(framesPerTrack * 588, index == 0, index == 2);
        checksummer.add(image.trackAudio(index, framesPerTrack).constData(), framesPerTrack * 588);
        return checksummer.result().v2;
    };
    const AccurateRip::Pressing pressing{3, id.id1, id.id2, id.cddb, {{4, sums(0), 0}, {4, sums(1), 0}, {4, 1, 0}}};
    services.accurateRip.route(u"/"_s + id.path(), FakeResponse::ok(DiscImages::accurateRipAnswer({pressing})));
    drive->badSectors = {toc.trackStart(2) + 3};
    const auto view = show();
    ASSERT_TRUE(waitFor<RipStates::Ready>());
    view->button(u"Start Ripping"_s)->click();
    ASSERT_TRUE(waitFor<RipStates::Finished>());
    EXPECT_EQ(view->message()->text(), u"2 of 3 tracks added · 1 failed"_s);
    EXPECT_EQ(view->buttonTexts(), (QStringList{u"Retry Failed Tracks"_s, u"Done"_s}));
    EXPECT_EQ(statuses(view->trackList()),
              (QStringList{u"checkmark.circle.fill"_s, u"checkmark.circle.fill"_s, u"exclamationmark.circle.fill"_s}));
    EXPECT_FALSE(view->trackList()->topLevelItem(2)->text(3).isEmpty()) << "the failure in words";
    EXPECT_EQ(spokenStatuses(view->trackList()).constFirst(),
              u"Ripped, accurately ripped (confidence 4, v2) · CTDB: not in the database"_s);
    EXPECT_TRUE(spokenStatuses(view->trackList()).constLast().startsWith(u"Failed: "_s));
    ASSERT_NE(view->verification(), nullptr);
    EXPECT_EQ(view->verification()->text(), u"2 of 2 tracks verified by AccurateRip"_s);
    EXPECT_EQ(view->verification()->property("symbol").toString(), u"checkmark.circle.fill"_s);
    EXPECT_EQ(view->trackList()->topLevelItem(0)->text(3),
              u"accurately ripped (confidence 4, v2) · CTDB: not in the database"_s);

    drive->badSectors.clear();
    view->button(u"Retry Failed Tracks"_s)->click();
    ASSERT_TRUE(QTest::qWaitFor([&] { return view->message()->text() == u"3 tracks added to library"_s; }, 10000));
    EXPECT_EQ(view->verification()->text(), u"2 of 3 tracks verified by AccurateRip"_s);
    EXPECT_TRUE(view->trackList()->topLevelItem(2)->text(3).startsWith(u"does not match"_s));
    EXPECT_EQ(view->buttonTexts(), QStringList{u"Done"_s});
    screenshot(*view, u"cd-rip-finished.png"_s);

    bool left = false;
    QObject::connect(view.get(), &CDRipView::finished, [&] { left = true; });
    view->button(u"Done"_s)->click();
    EXPECT_TRUE(left);
    EXPECT_TRUE(std::holds_alternative<RipStates::LookingUp>(controller.state()));
}

TEST(CDRipScreenInWindow, ARemovedDiscClearsItsSelectionAndARipInProgressMarksItsRow)
{
    TestEnvironment::clearSettings();
    TemporaryStores stores;
    QTemporaryDir folder;
    FakeServices services;
    const DiscImages::WrittenImage image = DiscImages::writeImage(folder.path(), 2, framesPerTrack);
    const DiscTOC toc = MusicBrainzDiscLookup::readDiscTOC(image.sheet);
    const QJsonObject known = DiscImages::musicBrainzRelease(u"a"_s, u"Day"_s, toc.discID, 2);
    services.musicBrainz.route(u"/ws/2/discid/"_s + toc.discID,
                               FakeResponse::ok(QJsonDocument(QJsonObject{{"releases"_L1, QJsonArray{known}}}).toJson(),
                                                "application/json"));
    Library library{QUrl::fromLocalFile(stores.folder() + u"/Music"_s)};
    DiscMonitor monitor;
    ContentView content(library);
    QStringList ejected;
    content.setEjector([&](const QString& name) { ejected.append(name); });
    content.setDiscMonitor(&monitor);
    monitor.addDiscImage(image.sheet);
    const SidebarItem row = SidebarItem::cdRip(image.sheet);
    EXPECT_EQ(content.sidebarSelection(), (SidebarItem{SidebarItem::Kind::music, {}})) << "a new disc takes no selection";

    content.setSidebarSelection(row);
    auto* view = qobject_cast<CDRipView*>(content.contentColumn());
    ASSERT_NE(view, nullptr);
    CDRipController& controller = *content.cdRipController();
    ASSERT_TRUE(QTest::qWaitFor([&] { return std::holds_alternative<RipStates::Ready>(controller.state()); }, 15000));
    EXPECT_EQ(content.sidebar()->progress(row), std::nullopt);
    EXPECT_EQ(content.sidebar()->mark(row), std::nullopt);

    QList<double> marks;
    QObject::connect(&controller, &CDRipController::stateChanged, [&] {
        if (const auto mark = content.sidebar()->progress(row))
            marks.append(*mark);
    });
    view->button(u"Start Ripping"_s)->click();
    ASSERT_TRUE(QTest::qWaitFor([&] { return std::holds_alternative<RipStates::Finished>(controller.state()); }, 15000));
    EXPECT_FALSE(marks.isEmpty()) << "the row showed the rip's progress";
    EXPECT_EQ(content.sidebar()->progress(row), std::nullopt) << "and lets go of it at the end";
    EXPECT_EQ(content.sidebar()->mark(row), VerdictSymbol::unconfirmed)
        << "the tracks arrived, but no database confirmed them: no check";
    EXPECT_EQ(ejected, QStringList{image.sheet}) << "every track in: the disc is handed to the ejector";
    EXPECT_EQ(controller.pendingEjectBSDName(), std::nullopt);

    EXPECT_EQ(content.sidebar()->rowTexts().constLast(), u"Day"_s) << "the row is named by its album";

    // Closing the image from its row's menu takes it out like a removed disc, and the window
    // turns to the album just ripped from it.
    emit content.sidebar()->closeDiscImageRequested(image.sheet);
    EXPECT_TRUE(monitor.insertedDiscs().isEmpty());
    EXPECT_EQ(content.sidebarSelection(), (SidebarItem{SidebarItem::Kind::music, {}}));
    ASSERT_TRUE(content.selectedAlbum().has_value());
    EXPECT_EQ(content.selectedAlbum()->album, u"Day"_s);

    // A disc removed with nothing ripped leaves nothing chosen.
    monitor.addDiscImage(image.sheet);
    content.setSidebarSelection(row);
    emit content.sidebar()->closeDiscImageRequested(image.sheet);
    EXPECT_EQ(content.sidebarSelection(), std::nullopt);
    const auto* placeholder = qobject_cast<PlaceholderView*>(content.contentColumn());
    ASSERT_NE(placeholder, nullptr);
    EXPECT_EQ(placeholder->title(), u"Select an item"_s);
}
