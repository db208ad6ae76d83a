#include "SmartPlaylistEditorSheet.h"

#include "LibraryFollower.h"
#include "PlaylistTracksModel.h"
#include "facade/Library.h"
#include "widgets/PlaceholderView.h"

#include <QDialogButtonBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QStackedWidget>
#include <QTreeView>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

constexpr int valueRole = Qt::UserRole;

} // namespace

SmartPlaylistEditorSheet::SmartPlaylistEditorSheet(Library& library, SmartPlaylist draft, QWidget* parent)
    : QDialog(parent)
    , m_library(library)
    , m_model(std::move(draft), library.tracks())
    , m_name(new QLineEdit(m_model.draft().name, this))
    , m_artistSearch(new QLineEdit(this))
    , m_genreSearch(new QLineEdit(this))
    , m_previewCount(new QLabel(this))
    , m_previewModel(new PlaylistTracksModel(false, this))
    , m_previewList(new QTreeView(this))
    , m_previewEmpty(new PlaceholderView(u"magnifyingglass"_s, u"No Matching Tracks"_s, u"Select filters on the left."_s, this))
    , m_preview(new QStackedWidget(this))
    , m_save(nullptr)
    , m_follower(new LibraryFollower(library, this, [this] { libraryChanged(); }))
{
    setWindowTitle(u"Smart Playlist"_s);
    resize(760, 600);

    auto* form = new QFormLayout;
    form->addRow(u"Name"_s, m_name);
    m_artistSearch->setPlaceholderText(u"Search artists…"_s);
    m_genreSearch->setPlaceholderText(u"Search genres…"_s);
    for (QLineEdit* search : {m_artistSearch, m_genreSearch})
        search->setClearButtonEnabled(true);

    auto* columns = new QHBoxLayout;
    columns->addWidget(makeColumn(m_artists, u"Artists"_s, m_artistSearch, u"No artists in library"_s), 1);
    columns->addWidget(makeColumn(m_genres, u"Genres"_s, m_genreSearch, u"No genres in library"_s), 1);
    columns->addWidget(makeColumn(m_decades, u"Decades"_s, nullptr, u"No year data in library"_s), 1);

    m_previewList->setModel(m_previewModel);
    m_previewList->setRootIsDecorated(false);
    m_previewList->setUniformRowHeights(true);
    m_previewList->setSelectionMode(QAbstractItemView::NoSelection);
    m_previewList->setColumnHidden(PlaylistTracksModel::position, true);
    m_previewList->header()->setStretchLastSection(false);
    m_previewList->header()->setSectionResizeMode(PlaylistTracksModel::title, QHeaderView::Stretch);
    m_previewList->header()->setSectionResizeMode(PlaylistTracksModel::artist, QHeaderView::Stretch);
    m_preview->addWidget(m_previewList);
    m_preview->addWidget(m_previewEmpty);
    QFont bold = m_previewCount->font();
    bold.setBold(true);
    m_previewCount->setFont(bold);

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Cancel, this);
    m_save = buttons->addButton(u"Save"_s, QDialogButtonBox::AcceptRole);
    m_save->setDefault(true);

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addLayout(columns, 3);
    layout->addWidget(m_previewCount);
    layout->addWidget(m_preview, 2);
    layout->addWidget(buttons);

    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(this, &QDialog::finished, this, [this](int result) {
        emit completed(result == QDialog::Accepted ? std::optional(m_model.draft()) : std::nullopt);
    });
    connect(m_name, &QLineEdit::textChanged, this, [this](const QString& name) {
        m_model.setName(name);
        m_save->setEnabled(m_model.canSave());
    });
    connect(m_artistSearch, &QLineEdit::textChanged, this, [this](const QString& search) {
        m_model.setArtistSearch(search);
        fillArtists();
    });
    connect(m_genreSearch, &QLineEdit::textChanged, this, [this](const QString& search) {
        m_model.setGenreSearch(search);
        fillGenres();
    });
    for (const Column* column : {&m_artists, &m_genres, &m_decades}) {
        connect(column->list->selectionModel(), &QItemSelectionModel::selectionChanged, this,
                [this, column](const QItemSelection& selected, const QItemSelection& deselected) {
                    toggled(*column, selected, deselected);
                });
    }

    m_save->setEnabled(m_model.canSave());
    libraryChanged();
}

QWidget* SmartPlaylistEditorSheet::makeColumn(Column& column, const QString& title, QLineEdit* search,
                                              const QString& emptyText)
{
    auto* box = new QWidget(this);
    auto* heading = new QLabel(title, box);
    QFont bold = heading->font();
    bold.setBold(true);
    heading->setFont(bold);

    column.list = new QListWidget(box);
    // Clicking an option adds it or takes it out again, without touching the others.
    column.list->setSelectionMode(QAbstractItemView::MultiSelection);
    column.empty = new QLabel(emptyText, box);
    column.empty->setAlignment(Qt::AlignCenter);
    column.empty->setWordWrap(true);
    column.empty->setEnabled(false);
    column.stack = new QStackedWidget(box);
    column.stack->addWidget(column.list);
    column.stack->addWidget(column.empty);

    auto* layout = new QVBoxLayout(box);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(heading);
    if (search)
        layout->addWidget(search);
    layout->addWidget(column.stack, 1);
    return box;
}

void SmartPlaylistEditorSheet::fillColumn(const Column& column, const QList<Option>& options, bool libraryHasAny)
{
    QListWidget* list = column.list;
    // Filling is not the user's choosing: the draft stays as it is.
    const QSignalBlocker blocker(list->selectionModel());
    list->clear();
    for (const Option& option : options) {
        auto* item = new QListWidgetItem(option.label, list);
        item->setData(valueRole, option.value);
        item->setCheckState(option.wanted ? Qt::Checked : Qt::Unchecked);
        item->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable);
        item->setSelected(option.wanted);
    }
    column.stack->setCurrentWidget(libraryHasAny ? static_cast<QWidget*>(list) : column.empty);
}

void SmartPlaylistEditorSheet::fillArtists()
{
    QList<Option> options;
    for (const QString& artist : m_model.artistOptions())
        options.append({artist, artist, m_model.draft().filterArtists.contains(artist)});
    fillColumn(m_artists, options, m_model.hasArtists());
}

void SmartPlaylistEditorSheet::fillGenres()
{
    QList<Option> options;
    for (const QString& genre : m_model.genreOptions())
        options.append({genre, genre, m_model.draft().filterGenres.contains(genre)});
    fillColumn(m_genres, options, m_model.hasGenres());
}

void SmartPlaylistEditorSheet::fillDecades()
{
    QList<Option> options;
    for (qint64 decade : m_model.decadeOptions()) {
        options.append({SmartPlaylistEditorModel::decadeLabel(decade), decade,
                        m_model.draft().filterDecades.contains(decade)});
    }
    fillColumn(m_decades, options, m_model.hasDecades());
}

void SmartPlaylistEditorSheet::toggled(const Column& column, const QItemSelection& selected,
                                       const QItemSelection& deselected)
{
    QModelIndexList changed = selected.indexes();
    changed += deselected.indexes();
    for (const QModelIndex& index : std::as_const(changed)) {
        QListWidgetItem* item = column.list->item(index.row());
        const QVariant value = item->data(valueRole);
        if (&column == &m_artists)
            m_model.toggleArtist(value.toString());
        else if (&column == &m_genres)
            m_model.toggleGenre(value.toString());
        else
            m_model.toggleDecade(value.toLongLong());
        item->setCheckState(item->isSelected() ? Qt::Checked : Qt::Unchecked);
    }
    updatePreview();
}

QString SmartPlaylistEditorSheet::emptyText(const Column& column)
{
    return column.stack->currentWidget() == column.empty ? column.empty->text() : QString();
}

QString SmartPlaylistEditorSheet::previewText() const
{
    return m_preview->currentWidget() == m_previewEmpty ? m_previewEmpty->title() : m_previewCount->text();
}

void SmartPlaylistEditorSheet::updatePreview()
{
    const std::optional<QString> summary = m_model.previewText();
    m_previewCount->setText(summary.value_or(QString()));
    m_previewCount->setVisible(summary.has_value());
    m_previewModel->setRows(PlaylistTrackRow::numbered(summary ? m_model.matches() : QList<Track>()));
    m_preview->setCurrentWidget(summary ? static_cast<QWidget*>(m_previewList) : m_previewEmpty);
}

void SmartPlaylistEditorSheet::libraryChanged()
{
    m_model.setTracks(m_library.tracks());
    fillArtists();
    fillGenres();
    fillDecades();
    updatePreview();
}
