#pragma once

#include <QAbstractButton>

namespace CompanionApp {

/// An on/off switch with its label: the label on the leading side, a small sliding switch on the
/// trailing edge. A label longer than the width given wraps at word boundaries rather than widening
/// the panel. Pressing anywhere on it, the space bar or Return flips it.
class Switch : public QAbstractButton {
    Q_OBJECT

public:
    explicit Switch(const QString& text, QWidget* parent = nullptr);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;
    bool hasHeightForWidth() const override { return true; }
    int heightForWidth(int width) const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    bool hitButton(const QPoint& position) const override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    QRectF trackRect() const;
    /// The label's lines, wrapped to `width`.
    QRect labelBounds(int width) const;
};

} // namespace CompanionApp
