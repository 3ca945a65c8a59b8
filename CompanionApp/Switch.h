#pragma once

#include <QAbstractButton>

namespace CompanionApp {

/// An on/off switch with its label: the label on the leading side, a small sliding switch on the
/// trailing edge. Pressing anywhere on it, the space bar or Return flips it.
class Switch : public QAbstractButton {
    Q_OBJECT

public:
    explicit Switch(const QString& text, QWidget* parent = nullptr);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    bool hitButton(const QPoint& position) const override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    QRectF trackRect() const;
};

} // namespace CompanionApp
