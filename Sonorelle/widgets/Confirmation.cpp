#include "Confirmation.h"

#include <QMessageBox>
#include <QPushButton>

bool confirmWithDialog(QWidget* parent, const ConfirmationRequest& request)
{
    QMessageBox box(request.destructive ? QMessageBox::Warning : QMessageBox::Question, request.title,
                    request.message, QMessageBox::NoButton, parent);
    QPushButton* confirm = box.addButton(request.confirmButton, request.destructive ? QMessageBox::DestructiveRole
                                                                                    : QMessageBox::AcceptRole);
    QPushButton* cancel = box.addButton(QMessageBox::Cancel);
    box.setDefaultButton(cancel);
    box.exec();
    return box.clickedButton() == confirm;
}
