#pragma once

#include "widgets/FolderPicker.h"

#include <QUrl>
#include <QWidget>

class QComboBox;
class QLabel;
class QLineEdit;
class QPushButton;

// The first-run screen: chooses the library folder and whether imports copy or move.
class OnboardingView : public QWidget {
    Q_OBJECT

public:
    explicit OnboardingView(FolderPicker folderPicker = chooseFolderWithDialog, QWidget* parent = nullptr);

    static QString defaultLibraryPath();

    // As typed, with a leading "~" standing for the home folder.
    QString libraryPath() const;
    bool copyFiles() const;

signals:
    // "Get Started": the folder as typed, and the file-handling choice.
    void completed(const QUrl& rootURL, bool copyFiles);

private:
    void browse();

    FolderPicker m_folderPicker;
    QLineEdit* m_libraryPath;
    QComboBox* m_fileHandling;
    QPushButton* m_browse;
    QPushButton* m_getStarted;
    QLabel* m_problem;
};
