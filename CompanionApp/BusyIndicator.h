#pragma once

#include <QTimer>
#include <QWidget>

namespace CompanionApp {

/// A small spinning indicator for work of unknown length. It turns only while it is visible.
class BusyIndicator : public QWidget {
    Q_OBJECT

public:
    explicit BusyIndicator(QWidget* parent = nullptr);

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    QTimer m_timer;
    int m_step = 0;
};

} // namespace CompanionApp
