#include "ImagePicker.h"

#include <QFile>
#include <QFileDialog>

std::optional<QByteArray> chooseImageWithDialog(QWidget* parent)
{
    const QString path = QFileDialog::getOpenFileName(parent, QStringLiteral("Choose Image"), QString(),
                                                      QStringLiteral("Images (*.jpg *.jpeg *.png *.gif *.webp *.bmp)"));
    if (path.isEmpty())
        return std::nullopt;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    return file.readAll();
}
