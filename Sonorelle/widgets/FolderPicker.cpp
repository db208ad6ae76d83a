#include "FolderPicker.h"

#include <QFileDialog>

std::optional<QString> chooseFolderWithDialog(QWidget* parent, const FolderPickerRequest& request)
{
    QFileDialog dialog(parent, request.message, request.startFolder);
    dialog.setFileMode(QFileDialog::Directory);
    dialog.setOption(QFileDialog::ShowDirsOnly);
    dialog.setOption(QFileDialog::ReadOnly, !request.canCreateFolders);
    dialog.setLabelText(QFileDialog::Accept, request.prompt);
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty())
        return std::nullopt;
    return dialog.selectedFiles().constFirst();
}
