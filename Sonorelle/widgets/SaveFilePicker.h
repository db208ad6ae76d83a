#pragma once

#include <QString>

#include <functional>
#include <optional>

class QWidget;

// How a screen asks the user where to save a file.
struct SaveFilePickerRequest {
    QString title;         // the dialog's title line
    QString suggestedPath; // folder and name the dialog opens with
    QString fileExtension; // ".m3u8": the only kind offered, added when the user leaves it out
    QString fileTypeName;  // "M3U8 Playlist"
};

// Screens take one of these so that tests can answer without a modal dialog. No value when
// the user cancels.
using SaveFilePicker = std::function<std::optional<QString>(QWidget* parent, const SaveFilePickerRequest& request)>;

// A QFileDialog in save mode, which asks before it replaces a file.
std::optional<QString> chooseSaveFileWithDialog(QWidget* parent, const SaveFilePickerRequest& request);
