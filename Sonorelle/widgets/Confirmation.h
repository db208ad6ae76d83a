#pragma once

#include <QString>

#include <functional>

class QWidget;

// A question the user must confirm before something that cannot be undone.
struct ConfirmationRequest {
    QString title;
    QString message;
    QString confirmButton;
    bool destructive = false;
};

// Screens take one of these so that tests can answer without a modal dialog.
using Confirmation = std::function<bool(QWidget* parent, const ConfirmationRequest& request)>;

// A message box with the confirm button and "Cancel", which is the default.
bool confirmWithDialog(QWidget* parent, const ConfirmationRequest& request);
