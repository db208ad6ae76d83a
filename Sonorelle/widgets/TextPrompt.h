#pragma once

#include <QString>

#include <functional>
#include <optional>

class QWidget;

// A small dialog asking for one line of text, such as the name of a new playlist.
struct TextPromptRequest {
    QString title;        // "New Playlist"
    QString fieldLabel;   // "Name"
    QString acceptButton; // "Create"
    QString initialText;
};

// Screens take one of these so that tests can answer without a modal dialog. No value when
// the user cancels.
using TextPrompt = std::function<std::optional<QString>(QWidget* parent, const TextPromptRequest& request)>;

std::optional<QString> promptWithDialog(QWidget* parent, const TextPromptRequest& request);
