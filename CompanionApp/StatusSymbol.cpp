#include "CompanionApp/StatusSymbol.h"

#include "CompanionApp/PanelAccessibility.h"
#include "CompanionApp/PanelStyle.h"

#include <QEvent>

#include <QPainter>
#include <QPainterPath>
#include <QPainterPathStroker>

#include <algorithm>
#include <cmath>
#include <numbers>

namespace CompanionApp {

namespace {

/// Stroke width of outlines and marks, as a fraction of the symbol's side.
constexpr qreal strokeFraction = 0.1;
/// Points of the seal's rim.
constexpr int sealPoints = 12;

/// A check mark inside the unit square, as a polyline to be stroked.
QPainterPath checkMark() {
    QPainterPath path;
    path.moveTo(0.3, 0.52);
    path.lineTo(0.44, 0.66);
    path.lineTo(0.7, 0.36);
    return path;
}

/// `shape` with `mark` (stroked at `width`) cut out of it, so the background shows through.
QPainterPath cutOut(const QPainterPath& shape, const QPainterPath& mark, qreal width) {
    QPainterPathStroker stroker;
    stroker.setWidth(width);
    stroker.setCapStyle(Qt::RoundCap);
    stroker.setJoinStyle(Qt::RoundJoin);
    return shape.subtracted(stroker.createStroke(mark));
}

QPainterPath seal() {
    QPainterPath path;
    constexpr qreal outer = 0.5;
    constexpr qreal inner = 0.43;
    for (int i = 0; i < sealPoints * 2; ++i) {
        const qreal angle = std::numbers::pi * i / sealPoints;
        const qreal radius = i % 2 == 0 ? outer : inner;
        const QPointF point(0.5 + radius * std::sin(angle), 0.5 - radius * std::cos(angle));
        if (i == 0) {
            path.moveTo(point);
        } else {
            path.lineTo(point);
        }
    }
    path.closeSubpath();
    return path;
}

} // namespace

StatusSymbol::StatusSymbol(Symbol symbol, QColor colour, QWidget* parent)
    : QWidget(parent)
    , m_symbol(symbol)
    , m_colour(std::move(colour)) {
    setFixedSize(sizeHint());
    setAttribute(Qt::WA_TranslucentBackground);
    PanelAccessibility::setName(*this, spokenName(m_symbol));
}

QString StatusSymbol::spokenName(Symbol symbol) {
    switch (symbol) {
    case Symbol::checkmarkCircleFill:
        return tr("Listo");
    case Symbol::xmarkCircle:
        return tr("Pendiente");
    case Symbol::radioWaves:
        return tr("Visible en la red local");
    case Symbol::hourglass:
        return tr("En espera");
    case Symbol::checkmarkSealFill:
        return tr("Emparejamiento completado");
    }
    return {};
}

void StatusSymbol::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::LanguageChange) {
        PanelAccessibility::setName(*this, spokenName(m_symbol));
    }
}

void StatusSymbol::setSymbol(Symbol symbol, QColor colour) {
    if (symbol == m_symbol && colour == m_colour) {
        return;
    }
    m_symbol = symbol;
    m_colour = std::move(colour);
    PanelAccessibility::setName(*this, spokenName(m_symbol));
    update();
}

QSize StatusSymbol::sizeHint() const {
    return {PanelStyle::symbolSize, PanelStyle::symbolSize};
}

void StatusSymbol::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    paint(painter, QRectF(rect()), m_symbol, m_colour);
}

void StatusSymbol::paint(QPainter& painter, const QRectF& bounds, Symbol symbol, const QColor& colour) {
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    // A cut-out is computed in device pixels: path subtraction turns curves into straight segments at
    // the path's own scale, which in the unit square (or in points at 2x) would be coarse polygons.
    const qreal ratio = painter.device() != nullptr ? painter.device()->devicePixelRatio() : 1.0;
    const QTransform toBounds =
        QTransform::fromTranslate(bounds.left(), bounds.top()).scale(bounds.width(), bounds.height()) *
        painter.worldTransform() * QTransform::fromScale(ratio, ratio);
    const qreal markWidth = strokeFraction * 1.2 * std::min(bounds.width(), bounds.height()) * ratio;
    if (symbol == Symbol::checkmarkCircleFill || symbol == Symbol::checkmarkSealFill) {
        painter.setWorldTransform(QTransform::fromScale(1 / ratio, 1 / ratio));
    }
    switch (symbol) {
    case Symbol::checkmarkCircleFill: {
        QPainterPath circle;
        circle.addEllipse(QRectF(0.04, 0.04, 0.92, 0.92));
        painter.setPen(Qt::NoPen);
        painter.setBrush(colour);
        painter.drawPath(cutOut(toBounds.map(circle), toBounds.map(checkMark()), markWidth));
        painter.restore();
        return;
    }
    case Symbol::checkmarkSealFill:
        painter.setPen(Qt::NoPen);
        painter.setBrush(colour);
        painter.drawPath(cutOut(toBounds.map(seal()), toBounds.map(checkMark()), markWidth));
        painter.restore();
        return;
    case Symbol::xmarkCircle:
    case Symbol::radioWaves:
    case Symbol::hourglass:
        break;
    }
    // Everything below is drawn in a unit square.
    painter.translate(bounds.topLeft());
    painter.scale(bounds.width(), bounds.height());
    QPen pen(colour, strokeFraction, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
    painter.setPen(Qt::NoPen);
    painter.setBrush(colour);
    switch (symbol) {
    case Symbol::checkmarkCircleFill:
    case Symbol::checkmarkSealFill:
        break;
    case Symbol::xmarkCircle:
        painter.setPen(pen);
        painter.setBrush(Qt::NoBrush);
        painter.drawEllipse(QRectF(0.08, 0.08, 0.84, 0.84));
        painter.drawLine(QPointF(0.36, 0.36), QPointF(0.64, 0.64));
        painter.drawLine(QPointF(0.64, 0.36), QPointF(0.36, 0.64));
        break;
    case Symbol::radioWaves:
        painter.drawEllipse(QPointF(0.5, 0.5), 0.1, 0.1);
        painter.setPen(pen);
        painter.setBrush(Qt::NoBrush);
        // Qt measures arcs in sixteenths of a degree.
        painter.drawArc(QRectF(0.24, 0.24, 0.52, 0.52), 135 * 16, 90 * 16);
        painter.drawArc(QRectF(0.24, 0.24, 0.52, 0.52), -45 * 16, 90 * 16);
        painter.drawArc(QRectF(0.06, 0.06, 0.88, 0.88), 135 * 16, 90 * 16);
        painter.drawArc(QRectF(0.06, 0.06, 0.88, 0.88), -45 * 16, 90 * 16);
        break;
    case Symbol::hourglass: {
        painter.setPen(pen);
        painter.setBrush(Qt::NoBrush);
        painter.drawLine(QPointF(0.22, 0.08), QPointF(0.78, 0.08));
        painter.drawLine(QPointF(0.22, 0.92), QPointF(0.78, 0.92));
        QPainterPath glass;
        glass.moveTo(0.3, 0.1);
        glass.lineTo(0.7, 0.1);
        glass.lineTo(0.5, 0.5);
        glass.lineTo(0.7, 0.9);
        glass.lineTo(0.3, 0.9);
        glass.lineTo(0.5, 0.5);
        glass.closeSubpath();
        painter.drawPath(glass);
        // The sand that has run through.
        painter.setPen(Qt::NoPen);
        painter.setBrush(colour);
        QPainterPath sand;
        sand.moveTo(0.5, 0.68);
        sand.lineTo(0.66, 0.88);
        sand.lineTo(0.34, 0.88);
        sand.closeSubpath();
        painter.drawPath(sand);
        break;
    }
    }
    painter.restore();
}

} // namespace CompanionApp
