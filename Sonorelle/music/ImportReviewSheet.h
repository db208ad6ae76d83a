#pragma once

#include <QDialog>

class ImportController;
class Library;
class QComboBox;
class QLabel;
class QProgressBar;
class QPushButton;
class QStackedWidget;
class QStandardItemModel;
class QTreeView;

// The review of a folder import: every file found, grouped by album, with its verdict and a
// tick; the file handling; and the import button.
class ImportReviewSheet : public QDialog {
    Q_OBJECT

public:
    ImportReviewSheet(ImportController& controller, QWidget* parent = nullptr);

    QString importButtonText() const;
    QTreeView* candidateView() const { return m_view; }

private:
    void rebuild();
    void refreshSelection();
    void showImportError();

    ImportController& m_controller;
    QStackedWidget* m_pages;
    QLabel* m_scanning;
    QLabel* m_empty;
    QLabel* m_count;
    QTreeView* m_view;
    QStandardItemModel* m_model;
    QComboBox* m_fileHandling;
    QProgressBar* m_progress;
    QPushButton* m_selectAll;
    QPushButton* m_deselectAll;
    QPushButton* m_cancel;
    QPushButton* m_import;
    bool m_rebuilding = false;
};
