#pragma once

#include <QLabel>

// A small transient line over the content. Its users set and clear it; it has no timer of
// its own.
class StatusToast : public QLabel {
    Q_OBJECT

public:
    explicit StatusToast(QWidget* parent);

    // Shows the text at the bottom centre of the parent; an empty text hides it.
    void setMessage(const QString& text);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void place();
};
