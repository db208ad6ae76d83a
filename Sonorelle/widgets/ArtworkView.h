#pragma once

#include <QImage>
#include <QWidget>

// A cover: the image scaled into a square of at most `maxSize` with rounded corners, or,
// without one, a symbol on a dim rounded background.
class ArtworkView : public QWidget {
    Q_OBJECT

public:
    ArtworkView(int maxSize, int cornerRadius, const QString& placeholderSymbol, QWidget* parent = nullptr);

    void setImage(const QImage& image);
    const QImage& image() const { return m_image; }

    QSize sizeHint() const override;

signals:
    void clicked();

protected:
    void paintEvent(QPaintEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    QImage m_image;
    int m_maxSize;
    int m_cornerRadius;
    QString m_placeholderSymbol;
};
