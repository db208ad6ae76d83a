#pragma once

#include <QWidget>

#include <functional>

// Where the library is, how imports handle files, and the update check.
class GeneralPrefsView : public QWidget {
    Q_OBJECT

public:
    explicit GeneralPrefsView(std::function<void()> checkForUpdates, QWidget* parent = nullptr);
};
