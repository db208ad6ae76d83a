#include "SaveFilePicker.h"

#include <QFileDialog>

using namespace Qt::StringLiterals;

std::optional<QString> chooseSaveFileWithDialog(QWidget* parent, const SaveFilePickerRequest& request)
{
    QFileDialog dialog(parent, request.title);
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.setFileMode(QFileDialog::AnyFile);
    if (!request.fileExtension.isEmpty()) {
        dialog.setNameFilter(request.fileTypeName + u" (*"_s + request.fileExtension + u')');
        dialog.setDefaultSuffix(request.fileExtension.mid(1));
    }
    dialog.selectFile(request.suggestedPath);
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty())
        return std::nullopt;
    return dialog.selectedFiles().constFirst();
}
