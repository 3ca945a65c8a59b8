#include "CompanionApp/BusyIndicator.h"

#include "CompanionApp/PanelAccessibility.h"
#include "CompanionApp/PanelStyle.h"

#include <QEvent>

#include <QPainter>

#include <algorithm>
#include <chrono>

namespace CompanionApp {

namespace {

constexpr int spokes = 8;
constexpr std::chrono::milliseconds stepInterval{100};
/// The faintest spoke, trailing the brightest.
constexpr qreal faintest = 0.2;

} // namespace

BusyIndicator::BusyIndicator(QWidget* parent)
    : QWidget(parent) {
    setFixedSize(sizeHint());
    m_timer.setInterval(stepInterval);
    connect(&m_timer, &QTimer::timeout, this, [this] {
        m_step = (m_step + 1) % spokes;
        update();
    });
    PanelAccessibility::setName(*this, tr("Trabajando…"));
}

void BusyIndicator::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::LanguageChange) {
        PanelAccessibility::setName(*this, tr("Trabajando…"));
    }
}

QSize BusyIndicator::sizeHint() const {
    return {PanelStyle::symbolSize, PanelStyle::symbolSize};
}

void BusyIndicator::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    m_timer.start();
}

void BusyIndicator::hideEvent(QHideEvent* event) {
    QWidget::hideEvent(event);
    m_timer.stop();
}

void BusyIndicator::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const qreal side = std::min(width(), height());
    painter.translate(width() / 2.0, height() / 2.0);
    const QColor colour = PanelStyle::colour(PanelStyle::Tone::primary, palette());
    painter.setPen(QPen(colour, side * 0.11, Qt::SolidLine, Qt::RoundCap));
    for (int i = 0; i < spokes; ++i) {
        // The spoke of the current step is the brightest; the ones behind it fade.
        const int age = (m_step - i + spokes) % spokes;
        painter.setOpacity(1.0 - (1.0 - faintest) * age / (spokes - 1));
        painter.drawLine(QPointF(0, -side * 0.22), QPointF(0, -side * 0.44));
        painter.rotate(360.0 / spokes);
    }
}

} // namespace CompanionApp
