#pragma once

#include <QLabel>

// A one-line label that shortens its text to fit, with the full text as its tool tip.
class ElidedLabel : public QLabel {
    Q_OBJECT

public:
    ElidedLabel(Qt::TextElideMode mode, QWidget* parent = nullptr);

    void setFullText(const QString& text);
    const QString& fullText() const { return m_fullText; }

    QSize minimumSizeHint() const override;

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    void elide();

    Qt::TextElideMode m_mode;
    QString m_fullText;
};
