#include "CompanionApp/MenuBarIcon.h"

#include <QFileInfo>
#include <QGuiApplication>
#include <QImageReader>
#include <QPainter>
#include <QPainterPath>
#include <QPixmap>

namespace CompanionApp::MenuBarIcon {

namespace {

/// The menu bar's icon size, in points.
constexpr int iconSize = 18;
/// Scales the drawn fallback is made at, for ordinary and dense screens.
constexpr int fallbackScales[] = {1, 2};

QPixmap drawnGlyph(int scale) {
    QPixmap pixmap(iconSize * scale, iconSize * scale);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.scale(scale, scale);
    QPen pen(Qt::black, 1.5, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
    painter.setPen(pen);
    painter.drawRoundedRect(QRectF(1.75, 2.75, 14.5, 12.5), 3, 3);
    QPainterPath prompt;
    prompt.moveTo(5.25, 6.75);
    prompt.lineTo(7.75, 9);
    prompt.lineTo(5.25, 11.25);
    painter.drawPath(prompt);
    painter.drawLine(QPointF(9.5, 11.5), QPointF(12.75, 11.5));
    return pixmap;
}

/// "name.png" → "name@2x.png".
QString denseVariant(const QString& path) {
    const QFileInfo info(path);
    return info.path() + u'/' + info.completeBaseName() + QStringLiteral("@2x.") + info.suffix();
}

/// The icon made of the images at `paths`, one per size; the drawn glyph when none loads.
template <std::size_t count>
QIcon iconOfSizes(const char* const (&paths)[count]) {
    QIcon icon;
    for (const char* path : paths) {
        const QImage image = QImageReader(QString::fromLatin1(path)).read();
        if (!image.isNull()) {
            icon.addPixmap(QPixmap::fromImage(image));
        }
    }
    return icon.isNull() ? fallback() : icon;
}

} // namespace

const QIcon& templateIcon() {
    static const QIcon icon = load(QString::fromLatin1(resourcePath));
    return icon;
}

QIcon load(const QString& path) {
    QIcon icon;
    const QImage image = QImageReader(path).read();
    if (image.isNull()) {
        icon = fallback();
    } else {
        icon.addPixmap(QPixmap::fromImage(image));
        const QImage dense = QImageReader(denseVariant(path)).read();
        if (!dense.isNull()) {
            QPixmap pixmap = QPixmap::fromImage(dense);
            pixmap.setDevicePixelRatio(2);
            icon.addPixmap(pixmap);
        }
    }
    icon.setIsMask(true);
    return icon;
}

QIcon fallback() {
    QIcon icon = QIcon::fromTheme(QStringLiteral("utilities-terminal"));
    if (!icon.isNull()) {
        return icon;
    }
    for (const int scale : fallbackScales) {
        QPixmap pixmap = drawnGlyph(scale);
        pixmap.setDevicePixelRatio(scale);
        icon.addPixmap(pixmap);
    }
    return icon;
}

QIcon applicationIcon() {
    return iconOfSizes(applicationIconPaths);
}

QIcon lightIcon() {
    return iconOfSizes(lightIconPaths);
}

bool isDark(const QPalette& palette) {
    return palette.color(QPalette::Window).lightness() < palette.color(QPalette::WindowText).lightness();
}

QIcon forTray() {
    return forTray(QGuiApplication::palette());
}

} // namespace CompanionApp::MenuBarIcon
