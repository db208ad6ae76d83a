#include "TrackDetailView.h"

#include "facade/Library.h"
#include "library/Background.h"
#include "library/DisplayText.h"
#include "library/ImageType.h"
#include "library/ReplayGain.h"
#include "library/TagWriter.h"
#include "widgets/ArtworkView.h"
#include "widgets/ElidedLabel.h"

#include <QBuffer>
#include <QClipboard>
#include <QCursor>
#include <QFormLayout>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPointer>
#include <QPushButton>
#include <QScrollArea>
#include <QStackedWidget>
#include <QToolButton>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

QLabel* selectableLabel(QWidget* parent)
{
    auto* label = new QLabel(parent);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    label->setWordWrap(true);
    return label;
}

} // namespace

TrackDetailView::TrackDetailView(Library& library, const Track& track, ImagePicker imagePicker, QWidget* parent)
    : QWidget(parent)
    , m_library(library)
    , m_imagePicker(std::move(imagePicker))
    , m_savedSnapshot(track)
    , m_artwork(new ArtworkView(220, 8, u"music.note"_s, this))
    , m_artworkHint(new QLabel(u"Click to change"_s, this))
    , m_artworkMenu(new QMenu(this))
    , m_pages(new QStackedWidget(this))
    , m_error(new QLabel(this))
    , m_edit(new QPushButton(u"Edit"_s, this))
    , m_cancel(new QPushButton(u"Cancel"_s, this))
    , m_save(new QPushButton(u"Save"_s, this))
{
    m_artwork->setMinimumSize(160, 160);
    m_artworkHint->setAlignment(Qt::AlignCenter);
    m_artworkHint->setEnabled(false);
    m_artworkMenu->addAction(u"Choose Image…"_s, this, &TrackDetailView::chooseImage);
    m_artworkMenu->addAction(u"Paste from Clipboard"_s, this, &TrackDetailView::pasteImage);
    connect(m_artwork, &ArtworkView::clicked, this, [this] {
        if (m_isEditing && !m_isSaving)
            m_artworkMenu->popup(QCursor::pos());
    });

    m_pages->addWidget(makeReadPage());
    m_pages->addWidget(makeEditPage());

    m_error->setWordWrap(true);
    m_error->setStyleSheet(u"color: #c0392b;"_s);
    m_error->setVisible(false);
    m_save->setDefault(true);

    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(m_edit);
    buttons->addWidget(m_cancel);
    buttons->addWidget(m_save);

    auto* content = new QWidget;
    auto* column = new QVBoxLayout(content);
    column->addWidget(m_artwork, 0, Qt::AlignHCenter);
    column->addWidget(m_artworkHint);
    column->addWidget(m_pages);
    column->addWidget(m_error);
    column->addStretch();

    auto* scroll = new QScrollArea(this);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setWidget(content);

    auto* outer = new QVBoxLayout(this);
    outer->addWidget(scroll, 1);
    outer->addLayout(buttons);

    connect(m_edit, &QPushButton::clicked, this, &TrackDetailView::beginEditing);
    connect(m_cancel, &QPushButton::clicked, this, &TrackDetailView::cancelEditing);
    connect(m_save, &QPushButton::clicked, this, [this] { save(); });

    showReadMode();
    loadArtwork();
}

QWidget* TrackDetailView::makeReadPage()
{
    auto* page = new QWidget;
    m_title = selectableLabel(page);
    QFont titleFont = m_title->font();
    titleFont.setPointSizeF(titleFont.pointSizeF() * 1.4);
    titleFont.setBold(true);
    m_title->setFont(titleFont);
    m_subtitle = selectableLabel(page);
    m_readFields = new QFormLayout;
    m_path = new ElidedLabel(Qt::ElideMiddle, page);
    QFont small = m_path->font();
    small.setPointSizeF(small.pointSizeF() * 0.85);
    m_path->setFont(small);
    m_path->setEnabled(false);
    m_info = new QLabel(page);
    m_info->setFont(small);
    m_info->setEnabled(false);

    auto* layout = new QVBoxLayout(page);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_title);
    layout->addWidget(m_subtitle);
    layout->addLayout(m_readFields);
    layout->addWidget(m_info);
    layout->addWidget(m_path);
    return page;
}

QWidget* TrackDetailView::makeEditPage()
{
    auto* page = new QWidget;
    const auto field = [page, this](QLineEdit*& edit) {
        edit = new QLineEdit(page);
        connect(edit, &QLineEdit::textEdited, this, [this] {
            collectEdits();
            updateButtons();
        });
        return edit;
    };
    auto* form = new QFormLayout;
    form->addRow(u"Title"_s, field(m_editTitle));
    form->addRow(u"Artist"_s, field(m_editArtist));
    form->addRow(u"Album Artist"_s, field(m_editAlbumArtist));
    form->addRow(u"Album"_s, field(m_editAlbum));
    form->addRow(u"Year"_s, field(m_editYear));
    form->addRow(u"Genre"_s, field(m_editGenre));
    form->addRow(u"Track"_s, field(m_editTrackNumber));
    form->addRow(u"Disc"_s, field(m_editDiscNumber));

    auto* tagsTitle = new QLabel(u"Custom Tags"_s, page);
    QFont bold = tagsTitle->font();
    bold.setBold(true);
    tagsTitle->setFont(bold);
    m_tagRows = new QVBoxLayout;
    auto* addTag = new QPushButton(u"Add Tag"_s, page);
    connect(addTag, &QPushButton::clicked, this, [this] {
        const TagEntry entry;
        m_editor.customTags.append(entry);
        addTagRow(entry);
        updateButtons();
    });

    auto* layout = new QVBoxLayout(page);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addLayout(form);
    layout->addSpacing(8);
    layout->addWidget(tagsTitle);
    layout->addLayout(m_tagRows);
    layout->addWidget(addTag, 0, Qt::AlignLeft);
    return page;
}

void TrackDetailView::showReadMode()
{
    const Track& t = m_savedSnapshot;
    m_title->setText(t.title);
    m_subtitle->setText(t.artist + (t.album.isEmpty() ? QString() : u" — "_s + t.album));
    while (m_readFields->rowCount() > 0)
        m_readFields->removeRow(0);
    const auto row = [this](const QString& label, const QString& value) {
        if (value.isEmpty())
            return;
        QLabel* text = selectableLabel(nullptr);
        text->setText(value);
        m_readFields->addRow(label, text);
    };
    row(u"Album Artist"_s, t.albumArtist);
    row(u"Genre"_s, t.genre);
    row(u"Year"_s, t.year ? QString::number(*t.year) : QString());
    QStringList numbers;
    if (t.trackNumber)
        numbers.append(u"Track "_s + QString::number(*t.trackNumber));
    if (t.discNumber)
        numbers.append(u"Disc "_s + QString::number(*t.discNumber));
    if (!numbers.isEmpty())
        m_readFields->addRow(new QLabel(numbers.join(u"   "_s)));
    for (auto it = t.customTags.cbegin(); it != t.customTags.cend(); ++it)
        row(it.key(), it.value());
    QStringList gains;
    if (t.replayGainTrack)
        gains.append(u"Track "_s + ReplayGain::gainText(*t.replayGainTrack));
    if (t.replayGainAlbum)
        gains.append(u"Album "_s + ReplayGain::gainText(*t.replayGainAlbum));
    row(u"ReplayGain"_s, gains.join(u"   "_s));

    QStringList info{DisplayText::formatText(t.format)};
    if (t.bitrate)
        info.append(QString::number(*t.bitrate) + u" kbps"_s);
    if (t.sampleRate)
        info.append(QString::number(*t.sampleRate) + u" Hz"_s);
    if (t.bpm)
        info.append(QString::number(*t.bpm) + u" BPM"_s);
    info.append(DisplayText::formatDuration(t.duration));
    m_info->setText(info.join(u" · "_s));
    m_path->setFullText(t.path());

    showPage(0);
    m_artworkHint->setVisible(false);
    updateButtons();
}

void TrackDetailView::showPage(int index)
{
    // A stack is as tall as its tallest page; the page not shown must not count.
    for (int page = 0; page < m_pages->count(); ++page)
        m_pages->widget(page)->setSizePolicy(QSizePolicy::Preferred,
                                             page == index ? QSizePolicy::Preferred : QSizePolicy::Ignored);
    m_pages->setCurrentIndex(index);
    m_pages->adjustSize();
}

void TrackDetailView::beginEditing()
{
    m_editor = TrackEditor::from(m_savedSnapshot);
    m_editor.artworkData = m_cachedArtworkData;
    m_isEditing = true;
    m_saveError.reset();
    fillEditFields();
    showPage(1);
    m_artworkHint->setVisible(true);
    updateButtons();
}

void TrackDetailView::cancelEditing()
{
    m_isEditing = false;
    m_saveError.reset();
    setArtwork(m_cachedArtworkData);
    showReadMode();
}

void TrackDetailView::fillEditFields()
{
    m_editTitle->setText(m_editor.title);
    m_editArtist->setText(m_editor.artist);
    m_editAlbumArtist->setText(m_editor.albumArtist);
    m_editAlbum->setText(m_editor.album);
    m_editYear->setText(m_editor.year);
    m_editGenre->setText(m_editor.genre);
    m_editTrackNumber->setText(m_editor.trackNumber);
    m_editDiscNumber->setText(m_editor.discNumber);
    while (QLayoutItem* item = m_tagRows->takeAt(0)) {
        delete item->widget();
        delete item;
    }
    for (const TagEntry& entry : std::as_const(m_editor.customTags))
        addTagRow(entry);
}

void TrackDetailView::addTagRow(const TagEntry& entry)
{
    auto* row = new QWidget;
    auto* key = new QLineEdit(entry.key, row);
    key->setPlaceholderText(u"Key"_s);
    auto* value = new QLineEdit(entry.value, row);
    value->setPlaceholderText(u"Value"_s);
    auto* remove = new QToolButton(row);
    remove->setText(u"−"_s);
    remove->setToolTip(u"Remove Tag"_s);
    auto* layout = new QHBoxLayout(row);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(key, 2);
    layout->addWidget(value, 3);
    layout->addWidget(remove);
    m_tagRows->addWidget(row);

    const QUuid id = entry.id;
    const auto find = [this, id] {
        return std::find_if(m_editor.customTags.begin(), m_editor.customTags.end(),
                            [id](const TagEntry& e) { return e.id == id; });
    };
    connect(key, &QLineEdit::textEdited, this, [this, find](const QString& text) {
        find()->key = text;
        updateButtons();
    });
    connect(value, &QLineEdit::textEdited, this, [this, find](const QString& text) {
        find()->value = text;
        updateButtons();
    });
    connect(remove, &QToolButton::clicked, this, [this, find, row] {
        m_editor.customTags.erase(find());
        row->deleteLater();
        updateButtons();
    });
}

void TrackDetailView::collectEdits()
{
    m_editor.title = m_editTitle->text();
    m_editor.artist = m_editArtist->text();
    m_editor.albumArtist = m_editAlbumArtist->text();
    m_editor.album = m_editAlbum->text();
    m_editor.year = m_editYear->text();
    m_editor.genre = m_editGenre->text();
    m_editor.trackNumber = m_editTrackNumber->text();
    m_editor.discNumber = m_editDiscNumber->text();
}

void TrackDetailView::updateButtons()
{
    m_edit->setVisible(!m_isEditing);
    m_cancel->setVisible(m_isEditing);
    m_save->setVisible(m_isEditing);
    m_edit->setEnabled(!m_isSaving);
    m_cancel->setEnabled(!m_isSaving);
    m_save->setEnabled(m_isEditing && !m_isSaving && m_editor.hasUnsavedChanges(m_savedSnapshot));
    m_error->setVisible(m_saveError.has_value());
    m_error->setText(m_saveError.value_or(QString()));
}

void TrackDetailView::setArtwork(const std::optional<QByteArray>& picture)
{
    m_artwork->setImage(picture ? QImage::fromData(*picture) : QImage());
}

void TrackDetailView::setEditedArtwork(const QByteArray& picture)
{
    if (!m_isEditing || picture.isEmpty())
        return;
    m_editor.artworkData = picture;
    m_editor.artworkChanged = true;
    setArtwork(picture);
    updateButtons();
}

void TrackDetailView::chooseImage()
{
    if (const auto picture = m_imagePicker(this))
        setEditedArtwork(*picture);
}

void TrackDetailView::pasteImage()
{
    const QImage image = QGuiApplication::clipboard()->image();
    if (image.isNull())
        return;
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    setEditedArtwork(png);
}

QCoro::Task<> TrackDetailView::loadArtwork()
{
    QPointer<TrackDetailView> self(this);
    std::optional<QByteArray> picture = m_savedSnapshot.artworkData;
    if (!picture)
        picture = co_await m_library.artworkCache().artwork(m_savedSnapshot);
    if (!self)
        co_return;
    m_cachedArtworkData = picture;
    if (!m_editor.artworkChanged)
        setArtwork(picture);
}

QCoro::Task<> TrackDetailView::save()
{
    collectEdits();
    auto made = m_editor.makeRecord(m_savedSnapshot);
    if (const auto* refusal = std::get_if<QString>(&made)) {
        m_saveError = *refusal;
        updateButtons();
        co_return;
    }
    const Track record = std::get<Track>(std::move(made));
    const bool writeArtwork = m_editor.artworkChanged && m_editor.artworkData && !m_editor.artworkData->isEmpty();
    m_isSaving = true;
    m_saveError.reset();
    updateButtons();

    QPointer<TrackDetailView> self(this);
    Library& library = m_library;
    std::optional<QString> failure;
    try {
        if (writeArtwork) {
            const auto write = [url = record.url, picture = *record.artworkData] {
                TagWriter::writeArtwork(url, picture, ImageType::mimeType(picture));
            };
            co_await Background::run(write);
        }
        co_await library.update(record);
    } catch (const std::exception& error) {
        failure = QString::fromUtf8(error.what());
    }
    if (!self)
        co_return;
    m_isSaving = false;
    if (failure) {
        m_saveError = failure;
        updateButtons();
        co_return;
    }
    m_savedSnapshot = record;
    m_cachedArtworkData = record.artworkData;
    m_editor.artworkChanged = false;
    m_isEditing = false;
    showReadMode();
    emit saved(record);
}
