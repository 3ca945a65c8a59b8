#include "CompanionApp/StatusSymbol.h"

#include <QImage>
#include <QPainter>
#include <QPainterPath>

#include <gtest/gtest.h>

#include <cstdlib>

namespace {

using CompanionApp::StatusSymbol;

constexpr int side = 16;

/// `side` points drawn at `ratio` pixels a point.
QImage canvas(qreal ratio) {
    QImage image(static_cast<int>(side * ratio), static_cast<int>(side * ratio),
                 QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(ratio);
    image.fill(Qt::transparent);
    return image;
}

/// The filled circle with the check mark cleared out of it, both drawn smoothly by the painter.
QImage smoothCheckCircle(qreal ratio) {
    QImage image = canvas(ratio);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(Qt::black);
    painter.drawEllipse(QRectF(0.04 * side, 0.04 * side, 0.92 * side, 0.92 * side));
    painter.setCompositionMode(QPainter::CompositionMode_Clear);
    painter.setPen(QPen(Qt::black, 0.12 * side, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    QPainterPath mark;
    mark.moveTo(0.3 * side, 0.52 * side);
    mark.lineTo(0.44 * side, 0.66 * side);
    mark.lineTo(0.7 * side, 0.36 * side);
    painter.setBrush(Qt::NoBrush);
    painter.drawPath(mark);
    return image;
}

int largestAlphaDifference(const QImage& a, const QImage& b) {
    int largest = 0;
    for (int y = 0; y < a.height(); ++y) {
        for (int x = 0; x < a.width(); ++x) {
            largest = std::max(largest, std::abs(qAlpha(a.pixel(x, y)) - qAlpha(b.pixel(x, y))));
        }
    }
    return largest;
}

} // namespace

TEST(StatusSymbolTest, TheCheckedCircleIsRoundAtEveryScale) {
    for (const qreal ratio : {1.0, 1.5, 2.0, 3.0}) {
        QImage drawn = canvas(ratio);
        {
            QPainter painter(&drawn);
            StatusSymbol::paint(painter, QRectF(0, 0, side, side), StatusSymbol::Symbol::checkmarkCircleFill,
                                Qt::black);
        }
        // Antialiased edges differ by up to about 30 of 255; the coarse polygon the cut-out once was
        // differed by 145 at 1x and 255 at 3x.
        EXPECT_LE(largestAlphaDifference(drawn, smoothCheckCircle(ratio)), 64) << "at " << ratio << "x";
    }
}

TEST(StatusSymbolTest, EachSymbolHasAName) {
    for (const auto symbol : {StatusSymbol::Symbol::checkmarkCircleFill, StatusSymbol::Symbol::xmarkCircle,
                              StatusSymbol::Symbol::radioWaves, StatusSymbol::Symbol::hourglass,
                              StatusSymbol::Symbol::checkmarkSealFill}) {
        StatusSymbol widget(symbol, Qt::black);
        EXPECT_FALSE(widget.accessibleName().isEmpty());
        EXPECT_EQ(widget.accessibleName(), StatusSymbol::spokenName(symbol));
    }
}
