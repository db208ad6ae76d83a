#pragma once

#include <QString>

#include <functional>
#include <optional>

class QWidget;

// How a screen asks the user for a folder. Screens take one of these so that tests can
// answer without a modal dialog.
struct FolderPickerRequest {
    QString message;     // the dialog's title line
    QString prompt;      // the accept button
    QString startFolder; // where the dialog opens
    bool canCreateFolders = false;
};

using FolderPicker = std::function<std::optional<QString>(QWidget* parent, const FolderPickerRequest& request)>;

// A QFileDialog that chooses existing folders.
std::optional<QString> chooseFolderWithDialog(QWidget* parent, const FolderPickerRequest& request);
