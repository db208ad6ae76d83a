#pragma once

#include <QWidget>

// A ring whose stroked part is proportional to a value in 0...1.
class CircularProgress : public QWidget {
    Q_OBJECT

public:
    explicit CircularProgress(QWidget* parent = nullptr);

    double value() const { return m_value; }
    // Clamped into 0...1.
    void setValue(double value);

    QSize sizeHint() const override { return {18, 18}; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    double m_value = 0;
};
