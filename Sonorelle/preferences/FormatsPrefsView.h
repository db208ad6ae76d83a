#pragma once

#include <QWidget>

class QComboBox;

// The defaults of new device profiles' output format, and the ripper's reading mode.
class FormatsPrefsView : public QWidget {
    Q_OBJECT

public:
    explicit FormatsPrefsView(QWidget* parent = nullptr);

    static constexpr qint64 bitrateOptions[] = {128, 192, 256, 320};

private:
    QComboBox* m_outputFormat;
    QComboBox* m_bitrate;
};
