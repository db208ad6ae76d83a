#pragma once

#include <QWidget>

class QLabel;
class QPushButton;
class QToolButton;

// The top of a playlist's page: its name, the count line, the pencil and "Export M3U8…",
// and the sentence of a failed export.
class PlaylistHeader : public QWidget {
    Q_OBJECT

public:
    PlaylistHeader(const QString& editToolTip, QWidget* parent = nullptr);

    void setTitle(const QString& title);
    void setSummary(const QString& summary);
    // An empty text hides the line.
    void setError(const QString& error);

    QString title() const;
    QString summary() const;
    QString error() const;
    QToolButton* editButton() const { return m_edit; }
    QPushButton* exportButton() const { return m_export; }

private:
    QLabel* m_title;
    QLabel* m_summary;
    QLabel* m_error;
    QToolButton* m_edit;
    QPushButton* m_export;
};
