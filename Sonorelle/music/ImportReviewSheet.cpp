#include "ImportReviewSheet.h"

#include "ImportController.h"
#include "library/DisplayText.h"
#include "widgets/Icons.h"

#include <QComboBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QIcon>
#include <QLabel>
#include <QMessageBox>
#include <QProgressBar>
#include <QPushButton>
#include <QStackedWidget>
#include <QStandardItemModel>
#include <QStyle>
#include <QTreeView>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

constexpr int candidateRole = Qt::UserRole + 1;

QLabel* centred(const QString& text, QWidget* parent)
{
    auto* label = new QLabel(text, parent);
    label->setAlignment(Qt::AlignCenter);
    return label;
}

} // namespace

ImportReviewSheet::ImportReviewSheet(ImportController& controller, QWidget* parent)
    : QDialog(parent)
    , m_controller(controller)
    , m_pages(new QStackedWidget(this))
    , m_scanning(centred(u"Scanning folder…"_s, this))
    , m_empty(centred(u"No audio files found in the selected folder."_s, this))
    , m_count(new QLabel(this))
    , m_view(new QTreeView(this))
    , m_model(new QStandardItemModel(this))
    , m_fileHandling(new QComboBox(this))
    , m_progress(new QProgressBar(this))
    , m_selectAll(new QPushButton(u"Select All"_s, this))
    , m_deselectAll(new QPushButton(u"Deselect All"_s, this))
    , m_cancel(new QPushButton(u"Cancel"_s, this))
    , m_import(new QPushButton(this))
{
    setWindowTitle(u"Import Music"_s);
    resize(720, 560);

    auto* scanningPage = new QWidget;
    auto* scanningLayout = new QVBoxLayout(scanningPage);
    auto* busy = new QProgressBar(scanningPage);
    busy->setRange(0, 0);
    scanningLayout->addStretch();
    scanningLayout->addWidget(m_scanning);
    scanningLayout->addWidget(busy);
    scanningLayout->addStretch();

    m_view->setModel(m_model);
    m_view->setHeaderHidden(true);
    m_view->setUniformRowHeights(true);
    m_view->setSelectionMode(QAbstractItemView::NoSelection);
    m_view->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_view->setRootIsDecorated(false);
    auto* listPage = new QWidget;
    auto* header = new QHBoxLayout;
    header->addWidget(m_selectAll);
    header->addWidget(m_deselectAll);
    header->addStretch();
    header->addWidget(m_count);
    auto* listLayout = new QVBoxLayout(listPage);
    listLayout->setContentsMargins(0, 0, 0, 0);
    listLayout->addLayout(header);
    listLayout->addWidget(m_view);

    m_pages->addWidget(scanningPage);
    m_pages->addWidget(m_empty);
    m_pages->addWidget(listPage);

    m_fileHandling->addItem(u"Copy files"_s, true);
    m_fileHandling->addItem(u"Move files"_s, false);
    auto* options = new QFormLayout;
    options->addRow(u"File handling"_s, m_fileHandling);
    m_progress->setVisible(false);

    auto* buttons = new QHBoxLayout;
    buttons->addWidget(m_progress, 1);
    buttons->addStretch();
    buttons->addWidget(m_cancel);
    buttons->addWidget(m_import);
    m_import->setDefault(true);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_pages, 1);
    layout->addLayout(options);
    layout->addLayout(buttons);

    connect(m_selectAll, &QPushButton::clicked, this, [this] { m_controller.selectAll(true); });
    connect(m_deselectAll, &QPushButton::clicked, this, [this] { m_controller.selectAll(false); });
    connect(m_fileHandling, &QComboBox::currentIndexChanged, this,
            [this] { m_controller.setCopyFiles(m_fileHandling->currentData().toBool()); });
    connect(m_cancel, &QPushButton::clicked, this, [this] {
        m_controller.dismiss();
        reject();
    });
    connect(m_import, &QPushButton::clicked, this, [this] { m_controller.importSelected(); });
    connect(m_model, &QStandardItemModel::itemChanged, this, [this](QStandardItem* item) {
        if (!m_rebuilding && item->data(candidateRole).isValid())
            m_controller.setSelected(item->data(candidateRole).toLongLong(), item->checkState() == Qt::Checked);
    });
    connect(&m_controller, &ImportController::changed, this, &ImportReviewSheet::rebuild);
    connect(&m_controller, &ImportController::selectionChanged, this, &ImportReviewSheet::refreshSelection);
    connect(&m_controller, &ImportController::progressChanged, this,
            [this] { m_progress->setValue(int(m_controller.importProgress())); });
    rebuild();
}

QString ImportReviewSheet::importButtonText() const
{
    const qsizetype selected = m_controller.selectedCount();
    if (selected == 0)
        return u"Import"_s;
    return u"Import "_s + DisplayText::counted(selected, u"track"_s);
}

void ImportReviewSheet::rebuild()
{
    if (!m_controller.isPresented()) {
        accept();
        return;
    }
    m_fileHandling->blockSignals(true);
    m_fileHandling->setCurrentIndex(m_controller.copyFiles() ? 0 : 1);
    m_fileHandling->blockSignals(false);

    const QList<ImportCandidate>& candidates = m_controller.candidates();
    if (m_controller.isScanning())
        m_pages->setCurrentIndex(0);
    else if (candidates.isEmpty())
        m_pages->setCurrentIndex(1);
    else
        m_pages->setCurrentIndex(2);

    // The list is made once per scan; ticks alone only refresh the checkboxes.
    if (!m_controller.isImporting() && m_model->rowCount() == 0 && !candidates.isEmpty()) {
        m_rebuilding = true;
        const QIcon flag = Icons::symbol(u"flag"_s);
        const QIcon warning = Icons::symbol(u"exclamationmark.triangle"_s);
        m_model->setColumnCount(2);
        for (const ImportController::AlbumGroup& group : ImportController::group(candidates)) {
            auto* heading = new QStandardItem(group.key);
            QFont bold = heading->font();
            bold.setBold(true);
            heading->setFont(bold);
            heading->setFlags(Qt::ItemIsEnabled);
            const bool severalDiscs = [&] {
                QList<Track> tracks;
                for (qsizetype index : group.candidates)
                    tracks.append(candidates.at(index).track);
                return DisplayText::hasSeveralDiscs(tracks);
            }();
            for (qsizetype index : group.candidates) {
                const ImportCandidate& candidate = candidates.at(index);
                const Track& track = candidate.track;
                auto* row = new QStandardItem(DisplayText::trackNumberText(track, severalDiscs) + u"  "_s + track.title
                                              + u" — "_s + track.artist + u"  ("_s
                                              + DisplayText::formatDuration(track.duration) + u')');
                row->setFlags(Qt::ItemIsEnabled | Qt::ItemIsUserCheckable);
                row->setCheckState(candidate.isSelected ? Qt::Checked : Qt::Unchecked);
                row->setData(index, candidateRole);
                row->setToolTip(track.path());
                auto* marker = new QStandardItem;
                marker->setFlags(Qt::ItemIsEnabled);
                if (candidate.status == ImportStatus::alreadyInLibrary) {
                    marker->setText(u"Already in library"_s);
                    marker->setIcon(flag);
                } else if (candidate.status == ImportStatus::possibleDuplicate) {
                    marker->setText(u"Possible duplicate"_s);
                    marker->setIcon(warning);
                }
                heading->appendRow({row, marker});
            }
            m_model->appendRow({heading, new QStandardItem});
        }
        m_view->expandAll();
        m_view->header()->setSectionResizeMode(0, QHeaderView::Stretch);
        m_view->header()->setSectionResizeMode(1, QHeaderView::ResizeToContents);
        m_view->header()->setStretchLastSection(false);
        m_rebuilding = false;
    }
    if (candidates.isEmpty())
        m_model->clear();

    const bool busy = m_controller.isScanning() || m_controller.isImporting();
    m_progress->setVisible(m_controller.isImporting());
    m_progress->setRange(0, int(m_controller.selectedCount()));
    m_selectAll->setEnabled(!busy);
    m_deselectAll->setEnabled(!busy);
    m_view->setEnabled(!busy);
    m_fileHandling->setEnabled(!busy);
    refreshSelection();
    if (m_controller.importError())
        showImportError();
}

void ImportReviewSheet::refreshSelection()
{
    const QList<ImportCandidate>& candidates = m_controller.candidates();
    m_rebuilding = true;
    for (int g = 0; g < m_model->rowCount(); ++g) {
        QStandardItem* heading = m_model->item(g);
        for (int r = 0; r < heading->rowCount(); ++r) {
            QStandardItem* row = heading->child(r);
            const qsizetype index = row->data(candidateRole).toLongLong();
            if (index < candidates.size())
                row->setCheckState(candidates.at(index).isSelected ? Qt::Checked : Qt::Unchecked);
        }
    }
    m_rebuilding = false;
    m_count->setText(QString::number(m_controller.selectedCount()) + u'/' + QString::number(candidates.size())
                     + u" selected"_s);
    m_import->setText(importButtonText());
    m_import->setEnabled(m_controller.selectedCount() > 0 && !m_controller.isScanning() && !m_controller.isImporting());
}

void ImportReviewSheet::showImportError()
{
    const QString message = *m_controller.importError();
    m_controller.clearImportError();
    auto* alert = new QMessageBox(QMessageBox::Warning, u"Import Failed"_s, message, QMessageBox::Ok, this);
    // The first file's own reason is most often every file's.
    if (const QStringList& failures = m_controller.importFailures(); !failures.isEmpty())
        alert->setInformativeText(failures.constFirst());
    alert->setAttribute(Qt::WA_DeleteOnClose);
    alert->open();
}
