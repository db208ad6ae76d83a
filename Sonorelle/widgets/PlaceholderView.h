#pragma once

#include <QWidget>

class QLabel;

// A centred message standing in for a column with nothing to show: "Select an item", or an
// icon with a title and a line of explanation.
class PlaceholderView : public QWidget {
    Q_OBJECT

public:
    explicit PlaceholderView(const QString& title, QWidget* parent = nullptr);
    PlaceholderView(const QString& iconName, const QString& title, const QString& message, QWidget* parent = nullptr);

    QString title() const;
    void setTitle(const QString& title);
    QString message() const;
    void setMessage(const QString& message);

private:
    QLabel* m_title;
    QLabel* m_message = nullptr;
};
