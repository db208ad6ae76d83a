#include "TextPrompt.h"

#include <QDialog>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

std::optional<QString> promptWithDialog(QWidget* parent, const TextPromptRequest& request)
{
    QDialog dialog(parent);
    dialog.setWindowTitle(request.title);
    auto* field = new QLineEdit(request.initialText, &dialog);
    field->setMinimumWidth(280);
    auto* form = new QFormLayout;
    form->addRow(request.fieldLabel, field);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Cancel, &dialog);
    QPushButton* accept = buttons->addButton(request.acceptButton, QDialogButtonBox::AcceptRole);
    accept->setDefault(true);
    QObject::connect(buttons, &QDialogButtonBox::accepted, &dialog, &QDialog::accept);
    QObject::connect(buttons, &QDialogButtonBox::rejected, &dialog, &QDialog::reject);
    auto* layout = new QVBoxLayout(&dialog);
    layout->addLayout(form);
    layout->addWidget(buttons);
    if (dialog.exec() != QDialog::Accepted)
        return std::nullopt;
    return field->text();
}
