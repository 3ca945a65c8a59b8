#include "CompanionApp/Switch.h"

#include "CompanionApp/PanelStyle.h"

#include <QKeyEvent>
#include <QPainter>

#include <algorithm>
#include <limits>

namespace CompanionApp {

namespace {

constexpr qreal trackWidth = 28;
constexpr qreal trackHeight = 16;
/// The knob sits this far inside the track.
constexpr qreal knobInset = 2;
/// Between the label and the track.
constexpr int labelGap = 8;
/// A disabled switch is drawn at this opacity.
constexpr qreal disabledOpacity = 0.4;

} // namespace

Switch::Switch(const QString& text, QWidget* parent)
    : QAbstractButton(parent) {
    setText(text);
    setCheckable(true);
    setFont(PanelStyle::smallControlFont());
    QSizePolicy policy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    policy.setHeightForWidth(true);
    setSizePolicy(policy);
}

QRect Switch::labelBounds(int width) const {
    const int labelWidth = std::max(1, width - labelGap - static_cast<int>(trackWidth) - 2);
    return fontMetrics().boundingRect(QRect(0, 0, labelWidth, std::numeric_limits<short>::max()),
                                      Qt::TextWordWrap, text());
}

int Switch::heightForWidth(int width) const {
    return std::max(labelBounds(width).height(), static_cast<int>(trackHeight) + 2);
}

QSize Switch::sizeHint() const {
    const QFontMetrics metrics = fontMetrics();
    const int height = std::max(metrics.height(), static_cast<int>(trackHeight) + 2);
    return {metrics.horizontalAdvance(text()) + labelGap + static_cast<int>(trackWidth) + 2, height};
}

QSize Switch::minimumSizeHint() const {
    // As narrow as the longest word: the rest wraps.
    const QFontMetrics metrics = fontMetrics();
    int widest = 0;
    for (const auto& word : text().split(u' ', Qt::SkipEmptyParts)) {
        widest = std::max(widest, metrics.horizontalAdvance(word));
    }
    return {widest + labelGap + static_cast<int>(trackWidth) + 2, sizeHint().height()};
}

QRectF Switch::trackRect() const {
    const QRectF area = contentsRect();
    return {area.right() - trackWidth - 1, area.center().y() - trackHeight / 2, trackWidth, trackHeight};
}

bool Switch::hitButton(const QPoint& position) const {
    return rect().contains(position);
}

void Switch::keyPressEvent(QKeyEvent* event) {
    // A switch is not a push button: nothing else in the panel waits for Return while it has focus.
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) {
        if (!event->isAutoRepeat()) {
            click();
        }
        event->accept();
        return;
    }
    QAbstractButton::keyPressEvent(event);
}

void Switch::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QPalette& colours = palette();

    painter.setPen(colours.color(isEnabled() ? QPalette::Active : QPalette::Disabled, QPalette::WindowText));
    const QRectF track = trackRect();
    QRectF label = contentsRect();
    label.setRight(track.left() - labelGap);
    painter.drawText(label, Qt::AlignLeft | Qt::AlignVCenter | Qt::TextWordWrap, text());

    if (!isEnabled()) {
        painter.setOpacity(disabledOpacity);
    }
    const qreal radius = trackHeight / 2;
    painter.setPen(Qt::NoPen);
    painter.setBrush(isChecked() ? colours.color(QPalette::Highlight) : PanelStyle::switchTrackOff(colours));
    painter.drawRoundedRect(track, radius, radius);

    const qreal knob = trackHeight - 2 * knobInset;
    const qreal knobLeft = isChecked() ? track.right() - knobInset - knob : track.left() + knobInset;
    painter.setBrush(Qt::white);
    painter.drawEllipse(QRectF(knobLeft, track.top() + knobInset, knob, knob));

    if (hasFocus()) {
        painter.setOpacity(1);
        painter.setBrush(Qt::NoBrush);
        painter.setPen(QPen(colours.color(QPalette::Highlight), 1));
        painter.drawRoundedRect(track.adjusted(-1.5, -1.5, 1.5, 1.5), radius + 1.5, radius + 1.5);
    }
}

} // namespace CompanionApp
