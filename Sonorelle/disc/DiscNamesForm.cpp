#include "DiscNamesForm.h"

#include "CDRipView.h"
#include "disc/UnknownDisc.h"

#include <QCheckBox>
#include <QFormLayout>
#include <QHeaderView>
#include <QIntValidator>
#include <QLineEdit>
#include <QSignalBlocker>
#include <QTreeWidget>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

constexpr int numberColumn = 0;
constexpr int lengthColumn = 3;

QString orElse(const QString& text, const QString& fallback)
{
    const QString trimmed = text.trimmed();
    return trimmed.isEmpty() ? fallback : trimmed;
}

} // namespace

DiscNamesForm::DiscNamesForm(const ReleaseMetadata& release, QWidget* parent)
    : QWidget(parent)
    , m_base(release)
    , m_albumArtist(release.artist)
    , m_artist(new QLineEdit(release.artist, this))
    , m_album(new QLineEdit(release.title, this))
    , m_year(new QLineEdit(release.year ? QString::number(*release.year) : QString(), this))
    , m_genre(new QLineEdit(release.genre.value_or(QString()), this))
    , m_various(new QCheckBox(u"Various artists"_s, this))
    , m_tracks(new QTreeWidget(this))
{
    m_year->setValidator(new QIntValidator(1, 9999, m_year));
    m_year->setMaximumWidth(80);
    auto* fields = new QFormLayout;
    fields->addRow(u"Album artist:"_s, m_artist);
    fields->addRow(u"Album:"_s, m_album);
    fields->addRow(u"Year:"_s, m_year);
    fields->addRow(u"Genre:"_s, m_genre);
    fields->addRow(QString(), m_various);

    m_tracks->setRootIsDecorated(false);
    m_tracks->setSelectionMode(QAbstractItemView::SingleSelection);
    m_tracks->setEditTriggers(QAbstractItemView::DoubleClicked | QAbstractItemView::EditKeyPressed
                              | QAbstractItemView::SelectedClicked);
    m_tracks->setHeaderLabels({u"#"_s, u"Title"_s, u"Artist"_s, u"Length"_s});
    m_tracks->header()->setSectionResizeMode(titleColumn, QHeaderView::Stretch);
    m_tracks->header()->setStretchLastSection(false);
    m_tracks->setColumnWidth(numberColumn, 44);
    m_tracks->setColumnWidth(artistColumn, 200);
    m_tracks->setColumnWidth(lengthColumn, 70);
    bool various = false;
    for (const TrackMetadataStub& stub : release.tracks) {
        auto* row = new QTreeWidgetItem(m_tracks);
        row->setFlags(row->flags() | Qt::ItemIsEditable);
        row->setText(numberColumn, QString::number(stub.number));
        row->setText(titleColumn, stub.title);
        row->setText(artistColumn, stub.artist);
        row->setText(lengthColumn, CDRipView::trackLength(stub.duration));
        various = various || stub.artist != release.artist;
    }
    m_various->setChecked(various);
    showArtists(various);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addLayout(fields);
    layout->addWidget(m_tracks, 1);

    const auto changed = [this] { emit edited(this->release()); };
    for (QLineEdit* field : {m_album, m_year, m_genre})
        connect(field, &QLineEdit::textEdited, this, changed);
    connect(m_artist, &QLineEdit::textEdited, this, [this, changed](const QString& artist) {
        followAlbumArtist(artist);
        changed();
    });
    connect(m_tracks, &QTreeWidget::itemChanged, this, changed);
    connect(m_various, &QCheckBox::toggled, this, [this, changed](bool on) {
        showArtists(on);
        changed();
    });
}

void DiscNamesForm::followAlbumArtist(const QString& artist)
{
    // Tracks credited to the album artist stay so; a guest keeps their own name.
    const QSignalBlocker quiet(m_tracks);
    for (int i = 0; i < m_tracks->topLevelItemCount(); ++i) {
        QTreeWidgetItem* row = m_tracks->topLevelItem(i);
        if (row->text(artistColumn) == m_albumArtist)
            row->setText(artistColumn, artist);
    }
    m_albumArtist = artist;
}

void DiscNamesForm::showArtists(bool various)
{
    m_tracks->setColumnHidden(artistColumn, !various);
}

ReleaseMetadata DiscNamesForm::release() const
{
    ReleaseMetadata named = m_base;
    named.artist = orElse(m_artist->text(), UnknownDisc::unknownArtist);
    named.title = orElse(m_album->text(), UnknownDisc::unknownAlbum);
    bool ok = false;
    const qint64 year = m_year->text().toLongLong(&ok);
    named.year = ok && year > 0 ? std::optional(year) : std::nullopt;
    const QString genre = m_genre->text().trimmed();
    named.genre = genre.isEmpty() ? std::nullopt : std::optional(genre);
    const bool various = m_various->isChecked();
    for (qsizetype i = 0; i < named.tracks.size(); ++i) {
        TrackMetadataStub& stub = named.tracks[i];
        const QTreeWidgetItem* row = m_tracks->topLevelItem(int(i));
        stub.title = orElse(row->text(titleColumn), u"Track %1"_s.arg(stub.number));
        stub.artist = various ? orElse(row->text(artistColumn), named.artist) : named.artist;
    }
    return named;
}
