#include "CDRipView.h"

#include "DiscNamesForm.h"
#include "disc/DiscTOC.h"
#include "metadata/MusicBrainzDiscLookup.h"
#include "metadata/ServiceSettings.h"
#include "podcasts/CircularProgress.h"
#include "widgets/ArtworkView.h"
#include "widgets/Icons.h"
#include "widgets/VerdictSymbol.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

enum Column { numberColumn, titleColumn, lengthColumn, statusColumn };

// "accurately ripped (confidence 12, v2) · CTDB: accurately ripped (confidence 5 of 7)".
QString trackVerdicts(const TrackRipStates::Done& ripped)
{
    QStringList parts;
    if (ripped.verdict)
        parts.append(ripped.verdict->text());
    if (ripped.ctdbVerdict)
        parts.append(u"CTDB: "_s + ripped.ctdbVerdict->text());
    return parts.join(u" · "_s);
}

qsizetype countOf(const QList<TrackRipState>& tracks, auto holds)
{
    return std::ranges::count_if(tracks, holds);
}

bool isDone(const TrackRipState& track)
{
    return std::holds_alternative<TrackRipStates::Done>(track);
}

bool isFailed(const TrackRipState& track)
{
    return std::holds_alternative<TrackRipStates::Failed>(track);
}

QString rippingLine(const QList<TrackRipState>& tracks)
{
    const qsizetype next = std::min(countOf(tracks, isDone) + 1, tracks.size());
    return u"Ripping track %1 of %2…"_s.arg(next).arg(tracks.size());
}

// The words a button shows: a single "&" marks a shortcut letter, "&&" is the sign itself.
QString shownText(const QPushButton* button)
{
    QString text;
    const QString marked = button->text();
    for (qsizetype i = 0; i < marked.size(); ++i) {
        if (marked.at(i) == u'&' && i + 1 < marked.size())
            ++i;
        text += marked.at(i);
    }
    return text;
}

} // namespace

CDRipView::CDRipView(CDRipController& controller, Library& library, const QString& bsdName, QWidget* parent)
    : QWidget(parent)
    , m_controller(controller)
    , m_library(library)
    , m_bsdName(bsdName)
    , m_outer(new QVBoxLayout(this))
{
    m_outer->setContentsMargins(0, 0, 0, 0);
    connect(&controller, &CDRipController::stateChanged, this, &CDRipView::rebuild);
    connect(&controller, &CDRipController::artworkDataChanged, this, &CDRipView::showArtwork);
    rebuild();
    controller.start(bsdName, library);
}

QString CDRipView::releaseLabel(const ReleaseMetadata& release)
{
    QString label = release.title;
    if (release.disambiguation)
        label += u" ("_s + *release.disambiguation + u')';
    QStringList details;
    if (release.year)
        details.append(QString::number(*release.year));
    if (release.status && *release.status != u"Official"_s)
        details.append(*release.status);
    if (!details.isEmpty())
        label += u"  ·  "_s + details.join(u", "_s);
    return label;
}

QString CDRipView::trackLength(double seconds)
{
    const int whole = int(seconds);
    return u"%1:%2"_s.arg(whole / 60).arg(whole % 60, 2, 10, QLatin1Char('0'));
}

QPushButton* CDRipView::button(const QString& text) const
{
    const auto found = std::ranges::find(m_buttons, text, shownText);
    return found == m_buttons.cend() ? nullptr : *found;
}

QStringList CDRipView::buttonTexts() const
{
    QStringList texts;
    for (const QPushButton* shown : m_buttons)
        texts.append(shownText(shown));
    return texts;
}

void CDRipView::clearBody()
{
    // A fresh page per state: whatever the last one held goes with it.
    if (m_page) {
        m_page->hide();
        m_page->deleteLater();
    }
    m_page = new QWidget(this);
    m_body = new QVBoxLayout(m_page);
    m_body->setContentsMargins(24, 24, 24, 24);
    m_outer->addWidget(m_page);
    m_heading = m_message = m_verification = m_ctdbVerification = nullptr;
    m_tracks = nullptr;
    m_releases = nullptr;
    m_progress = nullptr;
    m_cover = nullptr;
    m_names = nullptr;
    m_buttons.clear();
}

void CDRipView::rebuild()
{
    // Progress comes many times a second: a running rip only updates what moves.
    if (const auto* ripping = std::get_if<RipStates::Ripping>(&m_controller.state()); ripping && m_progress) {
        m_progress->setValue(int(m_controller.overallProgress().value_or(0) * 1000));
        m_message->setText(rippingLine(ripping->tracks));
        fillTrackStatus(ripping->tracks);
        return;
    }
    clearBody();
    std::visit(
        [this](const auto& state) {
            using State = std::decay_t<decltype(state)>;
            if constexpr (std::is_same_v<State, RipStates::LookingUp>)
                showLookingUp();
            else if constexpr (std::is_same_v<State, RipStates::LookupFailed>)
                showLookupFailed(state);
            else if constexpr (std::is_same_v<State, RipStates::Ready>)
                showReady(state);
            else if constexpr (std::is_same_v<State, RipStates::Ripping>)
                showRipping(state);
            else
                showFinished(state);
        },
        m_controller.state());
    // Shown now rather than at the next turn of the event loop, as a new child would be.
    m_page->show();
}

void CDRipView::addHeading(const QString& symbol, const QString& text)
{
    auto* row = new QHBoxLayout;
    auto* icon = new QLabel(m_page);
    icon->setPixmap(Icons::symbol(symbol).pixmap(32, 32));
    m_heading = new QLabel(text, m_page);
    QFont font = m_heading->font();
    font.setBold(true);
    font.setPointSizeF(font.pointSizeF() * 1.3);
    m_heading->setFont(font);
    row->addWidget(icon);
    row->addWidget(m_heading, 1);
    m_body->addLayout(row);
}

QLabel* CDRipView::addLine(VerdictSymbol symbol, const QString& text)
{
    QLabel* line = addIconLine(VerdictSymbols::icon(symbol), VerdictSymbols::words(symbol), text);
    line->setProperty("symbol", VerdictSymbols::name(symbol));
    return line;
}

QLabel* CDRipView::addLine(const QString& symbol, const QString& text)
{
    QLabel* line = addIconLine(symbol.isEmpty() ? QIcon() : Icons::symbol(symbol), QString(), text);
    line->setProperty("symbol", symbol);
    return line;
}

QLabel* CDRipView::addIconLine(const QIcon& icon, const QString& iconWords, const QString& text)
{
    auto* row = new QHBoxLayout;
    if (!icon.isNull()) {
        auto* mark = new QLabel(m_page);
        mark->setPixmap(icon.pixmap(16, 16));
        mark->setAccessibleName(iconWords);
        row->addWidget(mark);
    }
    auto* line = new QLabel(text, m_page);
    line->setWordWrap(true);
    row->addWidget(line, 1);
    m_body->addLayout(row);
    return line;
}

QPushButton* CDRipView::addButton(const QString& text, QLayout* row)
{
    auto* shown = new QPushButton(QString(text).replace(u'&', u"&&"_s), m_page);
    row->addWidget(shown);
    m_buttons.append(shown);
    return shown;
}

void CDRipView::showLookingUp()
{
    m_body->addStretch(1);
    addHeading(u"opticaldisc"_s, u"Looking up disc…"_s);
    auto* spinner = new QProgressBar(m_page);
    spinner->setRange(0, 0);
    spinner->setTextVisible(false);
    spinner->setMaximumWidth(240);
    m_body->addWidget(spinner, 0, Qt::AlignHCenter);
    m_body->addStretch(1);
}

void CDRipView::showLookupFailed(const RipStates::LookupFailed& failed)
{
    m_body->addStretch(1);
    addHeading(u"questionmark.circle"_s, u"Couldn't Identify Disc"_s);
    m_message = addLine({}, failed.message);
    auto* buttons = new QHBoxLayout;
    connect(addButton(u"Try Again"_s, buttons), &QPushButton::clicked, this,
            [this] { m_controller.lookUp(m_bsdName, m_library); });
    // Whatever kept the names away, a disc that was read can go in without them.
    if (const std::optional<DiscTOC>& toc = failed.toc) {
        connect(addButton(u"Rip Without Metadata"_s, buttons), &QPushButton::clicked, this,
                [this] { m_controller.ripWithoutMetadata(m_bsdName, m_library); });
        if (failed.discUnknown) {
            const QUrl address = MusicBrainzDiscLookup::submitURL(ServiceSettings::load().musicBrainz, toc->discID,
                                                                  toc->trackOffsets, toc->leadOutOffset);
            connect(addButton(u"Submit to MusicBrainz…"_s, buttons), &QPushButton::clicked, this,
                    [this, address] { emit browserRequested(address); });
        }
    }
    buttons->addStretch(1);
    m_body->addLayout(buttons);
    m_body->addStretch(1);
}

void CDRipView::showArtwork()
{
    if (!m_cover)
        return;
    const std::optional<QByteArray>& bytes = m_controller.artworkData();
    m_cover->setImage(bytes ? QImage::fromData(*bytes) : QImage());
}

void CDRipView::showReady(const RipStates::Ready& ready)
{
    const ReleaseMetadata& release = ready.allReleases.at(ready.selectedIndex);
    if (ready.unnamed) {
        m_names = new DiscNamesForm(release, m_page);
        connect(m_names, &DiscNamesForm::edited, this,
                [this](const ReleaseMetadata& named) { m_controller.nameDisc(named); });
        m_body->addWidget(m_names, 1);
    } else {
        addReleaseHeader(ready);
    }
    addReadyActions(ready);
}

void CDRipView::addReleaseHeader(const RipStates::Ready& ready)
{
    const ReleaseMetadata& release = ready.allReleases.at(ready.selectedIndex);
    auto* top = new QHBoxLayout;
    m_cover = new ArtworkView(160, 8, u"opticaldisc"_s, m_page);
    showArtwork();
    top->addWidget(m_cover);
    auto* names = new QVBoxLayout;
    auto* artist = new QLabel(release.artist, m_page);
    m_heading = new QLabel(release.title, m_page);
    QFont font = m_heading->font();
    font.setBold(true);
    font.setPointSizeF(font.pointSizeF() * 1.4);
    m_heading->setFont(font);
    names->addStretch(1);
    names->addWidget(artist);
    names->addWidget(m_heading);
    if (ready.allReleases.size() > 1) {
        m_releases = new QComboBox(m_page);
        m_releases->setAccessibleName(u"Release"_s);
        for (const ReleaseMetadata& candidate : ready.allReleases)
            m_releases->addItem(releaseLabel(candidate));
        m_releases->setCurrentIndex(int(ready.selectedIndex));
        connect(m_releases, &QComboBox::activated, this,
                [this](int index) { m_controller.selectRelease(index, m_library); });
        names->addWidget(m_releases);
    } else {
        names->addWidget(new QLabel(releaseLabel(release), m_page));
    }
    names->addStretch(1);
    top->addLayout(names, 1);
    m_body->addLayout(top);
}

void CDRipView::addReadyActions(const RipStates::Ready& ready)
{
    const ReleaseMetadata& release = ready.allReleases.at(ready.selectedIndex);
    const qsizetype present = ready.existing.presentIndices.size();
    const bool allPresent = present > 0 && present >= ready.existing.totalTracks;
    if (allPresent)
        m_message = addLine(u"checkmark.circle.fill"_s, u"This album is already in your library."_s);
    else if (present > 0)
        m_message = addLine(u"exclamationmark.triangle.fill"_s,
                            u"%1 of %2 tracks are already in your library."_s.arg(present).arg(
                                ready.existing.totalTracks));

    // The names form holds its own track list.
    if (!ready.unnamed) {
        addTrackList(release, ready.existing.totalTracks);
        for (const qint64 index : ready.existing.presentIndices) {
            if (QTreeWidgetItem* row = m_tracks->topLevelItem(int(index)))
                row->setText(statusColumn, u"In Library"_s);
        }
    }

    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    if (present == 0) {
        QPushButton* start = addButton(u"Start Ripping"_s, buttons);
        start->setDefault(true);
        connect(start, &QPushButton::clicked, this,
                [this] { m_controller.startRip(m_bsdName, m_library, std::nullopt, false); });
    } else {
        addEjectButton(buttons);
        connect(addButton(u"Re-rip & Replace All"_s, buttons), &QPushButton::clicked, this,
                [this] { m_controller.startRip(m_bsdName, m_library, std::nullopt, true); });
        if (!allPresent) {
            const QList<qint64> missing = ready.existing.missingIndices();
            QPushButton* rest = addButton(u"Rip Missing Tracks"_s, buttons);
            rest->setDefault(true);
            connect(rest, &QPushButton::clicked, this,
                    [this, missing] { m_controller.startRip(m_bsdName, m_library, missing, false); });
        }
    }
    m_body->addLayout(buttons);
}

QTreeWidget* CDRipView::addTrackList(const ReleaseMetadata& release, qint64 trackCount)
{
    m_tracks = new QTreeWidget(m_page);
    m_tracks->setRootIsDecorated(false);
    m_tracks->setSelectionMode(QAbstractItemView::NoSelection);
    m_tracks->setHeaderLabels({u"#"_s, u"Title"_s, u"Length"_s, QString()});
    m_tracks->header()->setSectionResizeMode(titleColumn, QHeaderView::Stretch);
    m_tracks->header()->setStretchLastSection(false);
    m_tracks->setColumnWidth(numberColumn, 44);
    m_tracks->setColumnWidth(lengthColumn, 70);
    m_tracks->setColumnWidth(statusColumn, 300);
    for (qint64 i = 0; i < trackCount; ++i) {
        auto* row = new QTreeWidgetItem(m_tracks);
        if (i < release.tracks.size()) {
            const TrackMetadataStub& stub = release.tracks.at(i);
            row->setText(numberColumn, QString::number(stub.number));
            row->setText(titleColumn, stub.title);
            row->setText(lengthColumn, trackLength(stub.duration));
        } else {
            row->setText(numberColumn, QString::number(i + 1));
            row->setText(titleColumn, u"Track %1"_s.arg(i + 1));
        }
    }
    m_body->addWidget(m_tracks, 1);
    return m_tracks;
}

void CDRipView::fillTrackStatus(const QList<TrackRipState>& states)
{
    for (qsizetype i = 0; i < states.size(); ++i) {
        QTreeWidgetItem* row = m_tracks->topLevelItem(int(i));
        if (!row)
            continue;
        const TrackRipState& state = states.at(i);
        auto* ring = qobject_cast<CircularProgress*>(m_tracks->itemWidget(row, statusColumn));
        if (const auto* running = std::get_if<TrackRipStates::Ripping>(&state)) {
            if (!ring) {
                ring = new CircularProgress;
                m_tracks->setItemWidget(row, statusColumn, ring);
            }
            ring->setValue(running->fractionComplete);
            row->setIcon(statusColumn, QIcon());
            row->setText(statusColumn, QString());
            continue;
        }
        if (ring)
            m_tracks->removeItemWidget(row, statusColumn);
        VerdictSymbol symbol = VerdictSymbol::waiting;
        QString text;
        QString words = VerdictSymbols::words(symbol);
        if (const auto* ripped = std::get_if<TrackRipStates::Done>(&state)) {
            symbol = VerdictSymbols::forTrack(ripped->verdict, ripped->ctdbVerdict);
            text = trackVerdicts(*ripped);
            words = text.isEmpty() ? u"Ripped, not verified"_s : u"Ripped, "_s + text;
        } else if (const auto* failed = std::get_if<TrackRipStates::Failed>(&state)) {
            symbol = VerdictSymbol::failed;
            text = failed->error.message;
            words = u"Failed: "_s + text;
        }
        row->setIcon(statusColumn, VerdictSymbols::icon(symbol));
        row->setData(statusColumn, symbolRole, VerdictSymbols::name(symbol));
        row->setData(statusColumn, Qt::AccessibleTextRole, words);
        row->setText(statusColumn, text);
        row->setToolTip(statusColumn, text);
    }
}

void CDRipView::showRipping(const RipStates::Ripping& ripping)
{
    addHeading(u"opticaldisc"_s, ripping.metadata.title);
    m_progress = new QProgressBar(m_page);
    m_progress->setRange(0, 1000);
    m_progress->setTextVisible(false);
    m_progress->setValue(int(m_controller.overallProgress().value_or(0) * 1000));
    m_body->addWidget(m_progress);
    m_message = addLine({}, rippingLine(ripping.tracks));
    addTrackList(ripping.metadata, ripping.tracks.size());
    fillTrackStatus(ripping.tracks);
}

void CDRipView::addFinishedSummary(const RipStates::Finished& state)
{
    const qsizetype done = countOf(state.tracks, isDone);
    const qsizetype failed = countOf(state.tracks, isFailed);
    if (failed > 0) {
        m_message = addLine(VerdictSymbol::warning,
                            u"%1 of %2 tracks added · %3 failed"_s.arg(done).arg(state.tracks.size()).arg(failed));
    } else {
        m_message = addLine(VerdictSymbol::confirmed,
                            u"%1 track%2 added to library"_s.arg(done).arg(done == 1 ? u""_s : u"s"_s));
    }
    QList<AccurateRip::Verdict> verdicts;
    for (const TrackRipState& track : state.tracks) {
        if (const auto* ripped = std::get_if<TrackRipStates::Done>(&track); ripped && ripped->verdict)
            verdicts.append(*ripped->verdict);
    }
    // The line takes the worst of its tracks: a check only when every one was confirmed.
    VerdictSymbol symbol = VerdictSymbol::confirmed;
    for (const AccurateRip::Verdict& verdict : std::as_const(verdicts))
        symbol = VerdictSymbols::worse(symbol, VerdictSymbols::forVerdict(verdict));
    if (const QString summary = AccurateRip::summary(verdicts); !summary.isEmpty())
        m_verification = addLine(symbol, summary);
    addCTDBSummary(state);
}

void CDRipView::addCTDBSummary(const RipStates::Finished& state)
{
    QList<CTDB::Verdict> verdicts;
    // Like the AccurateRip line, the worst of its tracks.
    VerdictSymbol symbol = VerdictSymbol::confirmed;
    for (const TrackRipState& track : state.tracks) {
        if (const auto* ripped = std::get_if<TrackRipStates::Done>(&track); ripped && ripped->ctdbVerdict) {
            verdicts.append(*ripped->ctdbVerdict);
            symbol = VerdictSymbols::worse(symbol, VerdictSymbols::forVerdict(ripped->ctdbVerdict));
        }
    }
    if (const QString summary = CTDB::summary(verdicts); !summary.isEmpty())
        m_ctdbVerification = addLine(symbol, summary);
}

void CDRipView::showFinished(const RipStates::Finished& state)
{
    addHeading(u"opticaldisc"_s, state.metadata.title);
    addFinishedSummary(state);
    addTrackList(state.metadata, state.tracks.size());
    fillTrackStatus(state.tracks);
    auto* buttons = new QHBoxLayout;
    if (std::ranges::any_of(state.tracks, isFailed)) {
        connect(addButton(u"Retry Failed Tracks"_s, buttons), &QPushButton::clicked, this,
                [this] { m_controller.retryFailedTracks(m_bsdName, m_library); });
    }
    buttons->addStretch(1);
    addEjectButton(buttons);
    QPushButton* done = addButton(u"Done"_s, buttons);
    done->setDefault(true);
    connect(done, &QPushButton::clicked, this, [this] {
        m_controller.reset();
        emit this->finished();
    });
    m_body->addLayout(buttons);
}

void CDRipView::addEjectButton(QLayout* row)
{
    // An image is never ejected: its row stays until it is closed from its context menu.
    if (!MusicBrainzDiscLookup::isDiscImage(m_bsdName))
        connect(addButton(u"Eject"_s, row), &QPushButton::clicked, this, &CDRipView::eject);
}

void CDRipView::eject()
{
    const QString name = m_bsdName;
    emit ejectRequested(name);
    m_controller.reset();
}
