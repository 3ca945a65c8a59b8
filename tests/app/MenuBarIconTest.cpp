#include "CompanionApp/MenuBarIcon.h"

#include <QImage>
#include <QPainter>

#include <gtest/gtest.h>

#include "support/PanelElements.h"

#include <QLabel>

namespace {

namespace MenuBarIcon = CompanionApp::MenuBarIcon;

/// Whether `image` has any pixel that is not fully transparent.
bool drawsSomething(const QImage& image) {
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            if (qAlpha(image.pixel(x, y)) != 0) {
                return true;
            }
        }
    }
    return false;
}

/// Whether every visible pixel of `image` is black: a template image carries only its shape.
bool isMonochrome(const QImage& image) {
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const QRgb pixel = image.pixel(x, y);
            if (qAlpha(pixel) != 0 && (qRed(pixel) != 0 || qGreen(pixel) != 0 || qBlue(pixel) != 0)) {
                return false;
            }
        }
    }
    return true;
}

TEST(MenuBarIconTest, EmbeddedGlyphIsAMonochromeTemplateImageOfEighteenPoints) {
    const QIcon& icon = MenuBarIcon::templateIcon();
    ASSERT_FALSE(icon.isNull());
    EXPECT_TRUE(icon.isMask());
    EXPECT_TRUE(icon.availableSizes().contains(QSize(18, 18)));
    const QImage image = icon.pixmap(QSize(18, 18)).toImage().convertToFormat(QImage::Format_ARGB32);
    EXPECT_TRUE(drawsSomething(image));
    EXPECT_TRUE(isMonochrome(image));
    // Dense screens get the drawing made for them, not a blown-up one.
    EXPECT_EQ(icon.pixmap(QSize(18, 18), 2.0).size(), QSize(36, 36));
}

TEST(MenuBarIconTest, MissingResourceFallsBackToADrawnTerminalGlyph) {
    const QIcon icon = MenuBarIcon::load(QStringLiteral(":/icons/NoSuchIcon.png"));
    ASSERT_FALSE(icon.isNull());
    EXPECT_TRUE(icon.isMask());
    EXPECT_TRUE(drawsSomething(icon.pixmap(QSize(18, 18)).toImage().convertToFormat(QImage::Format_ARGB32)));
}

TEST(MenuBarIconTest, ApplicationIconIsEmbedded) {
    const QIcon icon = MenuBarIcon::applicationIcon();
    ASSERT_FALSE(icon.isNull());
    EXPECT_TRUE(icon.availableSizes().contains(QSize(64, 64)));
    EXPECT_FALSE(MenuBarIcon::forTray().isNull());
}

TEST(MenuBarIconTest, IconsAsSeenOnALightAndADarkBar) {
    // A picture for people: the glyph and the tray icon at their sizes and enlarged.
    QImage sheet(4 * 48, 2 * 48, QImage::Format_ARGB32);
    sheet.fill(Qt::white);
    QPainter painter(&sheet);
    painter.fillRect(QRect(0, 48, sheet.width(), 48), QColor(0x30, 0x30, 0x30));
    const QIcon glyph = MenuBarIcon::templateIcon();
    const QIcon fallback = MenuBarIcon::load(QStringLiteral(":/icons/NoSuchIcon.png"));
    const QIcon tray = MenuBarIcon::forTray();
    for (int row = 0; row < 2; ++row) {
        painter.drawPixmap(QRect(15, row * 48 + 15, 18, 18), glyph.pixmap(QSize(18, 18)));
        painter.drawPixmap(QRect(48 + 6, row * 48 + 6, 36, 36), glyph.pixmap(QSize(18, 18), 2.0));
        painter.drawPixmap(QRect(96 + 6, row * 48 + 6, 36, 36), fallback.pixmap(QSize(18, 18), 2.0));
        painter.drawPixmap(QRect(144 + 8, row * 48 + 8, 32, 32), tray.pixmap(QSize(32, 32)));
    }
    painter.end();
    QLabel picture;
    picture.setPixmap(QPixmap::fromImage(sheet));
    picture.resize(sheet.size());
    AppTestSupport::saveArtifact(picture);
}

} // namespace
