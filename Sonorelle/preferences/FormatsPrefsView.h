#pragma once

#include <QWidget>

class QComboBox;
class QFormLayout;

// The defaults of new device profiles' output format, and the ripper's reading mode, each
// drive's read offset and whether a rip keeps its log.
class FormatsPrefsView : public QWidget {
    Q_OBJECT

public:
    explicit FormatsPrefsView(QWidget* parent = nullptr);

    static constexpr qint64 bitrateOptions[] = {128, 192, 256, 320};

private:
    void addReadOffsetRows(QFormLayout* form);

    QComboBox* m_outputFormat;
    QComboBox* m_bitrate;
};
