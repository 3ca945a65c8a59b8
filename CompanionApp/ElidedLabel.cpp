#include "CompanionApp/ElidedLabel.h"

#include "CompanionApp/PanelAccessibility.h"

#include <QFontMetrics>
#include <QPainter>

namespace CompanionApp {

ElidedLabel::ElidedLabel(QWidget* parent)
    : QWidget(parent) {
    // Takes what the row leaves over and no more.
    setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed);
}

void ElidedLabel::setText(const QString& text) {
    if (text == m_text) {
        return;
    }
    m_text = text;
    setToolTip(text);
    // A screen reader reads the whole text, whatever the width shows.
    PanelAccessibility::setName(*this, text);
    updateGeometry();
    update();
}

QString ElidedLabel::displayedText() const {
    return fontMetrics().elidedText(m_text, Qt::ElideMiddle, contentsRect().width());
}

QSize ElidedLabel::sizeHint() const {
    const QFontMetrics metrics = fontMetrics();
    return {metrics.horizontalAdvance(m_text), metrics.height()};
}

QSize ElidedLabel::minimumSizeHint() const {
    return {0, fontMetrics().height()};
}

void ElidedLabel::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setPen(palette().color(foregroundRole()));
    painter.drawText(contentsRect(), Qt::AlignLeft | Qt::AlignVCenter, displayedText());
}

} // namespace CompanionApp
