#include "CompanionApp/ElidedLabel.h"

#include "CompanionApp/PanelAccessibility.h"

#include <QFontMetrics>
#include <QPainter>

#include <algorithm>

namespace CompanionApp {

ElidedLabel::ElidedLabel(QWidget* parent)
    : ElidedLabel(Overflow::detail, parent) {}

ElidedLabel::ElidedLabel(Overflow overflow, QWidget* parent)
    : QWidget(parent)
    , m_overflow(overflow) {
    // Takes what the row leaves over and no more; as tall as its lines.
    QSizePolicy policy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    policy.setHeightForWidth(true);
    setSizePolicy(policy);
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

bool ElidedLabel::wraps() const {
    switch (m_overflow) {
    case Overflow::detail:
        return m_text.contains(u' ');
    case Overflow::name:
        return false;
    }
    return false;
}

QString ElidedLabel::displayedText() const {
    if (wraps()) {
        return m_text;
    }
    const Qt::TextElideMode mode = m_overflow == Overflow::name ? Qt::ElideRight : Qt::ElideMiddle;
    return fontMetrics().elidedText(m_text, mode, contentsRect().width());
}

bool ElidedLabel::hasHeightForWidth() const {
    return true;
}

int ElidedLabel::heightForWidth(int width) const {
    const QFontMetrics metrics = fontMetrics();
    if (!wraps() || width <= 0) {
        return metrics.height();
    }
    const QRect lines = metrics.boundingRect(QRect(0, 0, width, QWIDGETSIZE_MAX), Qt::TextWordWrap, m_text);
    return std::max(metrics.height(), lines.height());
}

QSize ElidedLabel::sizeHint() const {
    const QFontMetrics metrics = fontMetrics();
    return {metrics.horizontalAdvance(m_text), heightForWidth(width())};
}

QSize ElidedLabel::minimumSizeHint() const {
    return {0, fontMetrics().height()};
}

void ElidedLabel::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setPen(palette().color(foregroundRole()));
    if (wraps()) {
        painter.drawText(contentsRect(), Qt::AlignLeft | Qt::AlignTop | Qt::TextWordWrap, m_text);
    } else {
        painter.drawText(contentsRect(), Qt::AlignLeft | Qt::AlignVCenter, displayedText());
    }
}

} // namespace CompanionApp
