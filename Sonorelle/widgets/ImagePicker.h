#pragma once

#include <QByteArray>

#include <functional>
#include <optional>

class QWidget;

// How a screen asks the user for an image file; screens take one so tests need no dialog.
using ImagePicker = std::function<std::optional<QByteArray>(QWidget* parent)>;

// A file dialog for images; gives the chosen file's bytes.
std::optional<QByteArray> chooseImageWithDialog(QWidget* parent);
