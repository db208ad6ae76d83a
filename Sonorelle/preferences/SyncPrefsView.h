#pragma once

#include <QWidget>

// The defaults of new device profiles' folder structure and what they sync besides music.
class SyncPrefsView : public QWidget {
    Q_OBJECT

public:
    explicit SyncPrefsView(QWidget* parent = nullptr);
};
