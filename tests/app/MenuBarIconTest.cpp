#include "CompanionApp/MenuBarIcon.h"

#include <QImage>
#include <QPainter>

#include <gtest/gtest.h>

#include "support/PanelElements.h"

#include <QLabel>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <optional>

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

/// The lightness of the icon's square, just inside its top-left corner, at 32 pixels.
int squareLightness(const QIcon& icon) {
    const QImage image = icon.pixmap(QSize(32, 32)).toImage().convertToFormat(QImage::Format_ARGB32);
    return image.pixelColor(6, 6).lightness();
}

QPalette desktop(QColor window, QColor text) {
    QPalette palette;
    palette.setColor(QPalette::Window, window);
    palette.setColor(QPalette::WindowText, text);
    return palette;
}

TEST(MenuBarIconTest, TheTrayIconIsLightOnADarkDesktopAndDarkOnALightOne) {
    const QPalette dark = desktop(QColor(0x2a, 0x2a, 0x2a), QColor(0xee, 0xee, 0xee));
    const QPalette light = desktop(QColor(0xef, 0xef, 0xef), QColor(0x20, 0x20, 0x20));
    EXPECT_TRUE(MenuBarIcon::isDark(dark));
    EXPECT_FALSE(MenuBarIcon::isDark(light));
    const QIcon lightVariant = MenuBarIcon::lightIcon();
    ASSERT_TRUE(lightVariant.availableSizes().contains(QSize(64, 64)));
    EXPECT_GT(squareLightness(lightVariant), 200);
    EXPECT_LT(squareLightness(MenuBarIcon::applicationIcon()), 80);
    if (MenuBarIcon::forTray(dark).isMask()) {
        GTEST_SKIP() << "a template image: the menu bar tints it itself";
    }
    EXPECT_GT(squareLightness(MenuBarIcon::forTray(dark)), 200);
    EXPECT_LT(squareLightness(MenuBarIcon::forTray(light)), 80);
}

/// A menu bar or tray: its background, and the colour it gives a template image (its text colour).
struct Bar {
    QColor background;
    QColor text;
};

/// `icon` at `size` as `bar` shows it: a template image in the bar's text colour, any other icon as
/// it is.
QPixmap asShownOn(const QIcon& icon, const Bar& bar, QSize size, qreal scale) {
    QPixmap pixmap = icon.pixmap(size, scale);
    if (icon.isMask()) {
        QPainter painter(&pixmap);
        painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
        painter.fillRect(QRect(QPoint(0, 0), size), bar.text);
    }
    return pixmap;
}

/// WCAG's relative luminance.
double luminance(QColor colour) {
    const auto linear = [](int channel) {
        const double value = channel / 255.0;
        return value <= 0.03928 ? value / 12.92 : std::pow((value + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(colour.red()) + 0.7152 * linear(colour.green()) + 0.0722 * linear(colour.blue());
}

double contrast(QColor one, QColor other) {
    const double first = luminance(one);
    const double second = luminance(other);
    return (std::max(first, second) + 0.05) / (std::min(first, second) + 0.05);
}

/// The pixels of `area` in `sheet` that `counts`.
template <typename Predicate>
int countIn(const QImage& sheet, const QRect& area, Predicate counts) {
    int count = 0;
    for (int y = area.top(); y <= area.bottom(); ++y) {
        for (int x = area.left(); x <= area.right(); ++x) {
            count += counts(sheet.pixelColor(x, y)) ? 1 : 0;
        }
    }
    return count;
}

/// Whether `colour` is `to` laid over `from` at some opacity, as the edges of a mark are: the same
/// share of `to` in every channel, give or take rounding.
bool isBlendOf(QColor colour, QColor from, QColor to) {
    std::optional<double> share;
    const std::array<std::array<int, 3>, 3> channels = {{{colour.red(), from.red(), to.red()},
                                                         {colour.green(), from.green(), to.green()},
                                                         {colour.blue(), from.blue(), to.blue()}}};
    for (const auto& [value, under, over] : channels) {
        if (under == over) {
            if (std::abs(value - under) > 2) {
                return false;
            }
            continue;
        }
        const double part = static_cast<double>(value - under) / (over - under);
        if (part < -0.02 || part > 1.02 || (share && std::abs(*share - part) > 0.03)) {
            return false;
        }
        share = part;
    }
    return true;
}

/// Whether `colour` is the application icon's green accent, give or take the scaling's rounding.
bool isAccent(QColor colour) {
    const QColor accent(0x34, 0xc7, 0x59);
    return std::abs(colour.red() - accent.red()) <= 12 && std::abs(colour.green() - accent.green()) <= 12 &&
           std::abs(colour.blue() - accent.blue()) <= 12;
}

TEST(MenuBarIconTest, IconsAsSeenOnALightAndADarkBar) {
    // The glyph and the tray icon at their sizes and enlarged, on a light and on a dark bar.
    const Bar bars[] = {{Qt::white, Qt::black}, {QColor(0x30, 0x30, 0x30), Qt::white}};
    const QIcon glyph = MenuBarIcon::templateIcon();
    const QIcon fallback = MenuBarIcon::load(QStringLiteral(":/icons/NoSuchIcon.png"));
    const QIcon tray = MenuBarIcon::forTray();
    struct Cell {
        const QIcon& icon;
        QRect area;
        qreal scale;
    };
    const Cell cells[] = {{glyph, QRect(15, 15, 18, 18), 1.0},
                          {glyph, QRect(48 + 6, 6, 36, 36), 2.0},
                          {fallback, QRect(96 + 6, 6, 36, 36), 2.0},
                          {tray, QRect(144 + 8, 8, 32, 32), 1.0}};
    EXPECT_EQ(glyph.pixmap(QSize(18, 18)).size(), QSize(18, 18));
    EXPECT_EQ(tray.pixmap(QSize(32, 32)).size(), QSize(32, 32));

    QImage sheet(4 * 48, 2 * 48, QImage::Format_ARGB32);
    QPainter painter(&sheet);
    for (int row = 0; row < 2; ++row) {
        painter.fillRect(QRect(0, row * 48, sheet.width(), 48), bars[row].background);
        for (const Cell& cell : cells) {
            const QSize size = cell.icon.isMask() ? QSize(18, 18) : cell.area.size();
            painter.drawPixmap(cell.area.translated(0, row * 48),
                               asShownOn(cell.icon, bars[row], size, cell.scale));
        }
    }
    painter.end();
    QLabel picture;
    picture.setPixmap(QPixmap::fromImage(sheet));
    picture.resize(sheet.size());
    AppTestSupport::saveArtifact(picture);

    for (int row = 0; row < 2; ++row) {
        const Bar& bar = bars[row];
        for (const Cell& cell : cells) {
            const QRect area = cell.area.translated(0, row * 48);
            const int all = area.width() * area.height();
            // The mark stands out from the bar as a part of the interface must (3:1), not as a speck
            // (the coloured icon's prompt and underline on a dark bar are about a twentieth of it),
            // and leaves room around it.
            const int standingOut =
                countIn(sheet, area, [&](QColor pixel) { return contrast(pixel, bar.background) >= 3.0; });
            EXPECT_GE(standingOut, all / 40) << "row " << row << ", cell at " << cell.area.x();
            EXPECT_LT(standingOut, all) << "row " << row << ", cell at " << cell.area.x();
            if (cell.icon.isMask()) {
                // A template image shows nothing but the bar's own text colour, blended at its edges.
                EXPECT_EQ(countIn(sheet, area,
                                  [&](QColor pixel) { return !isBlendOf(pixel, bar.background, bar.text); }),
                          0)
                    << "row " << row << ", cell at " << cell.area.x();
            } else {
                // The coloured icon keeps its green mark on either bar.
                EXPECT_GT(countIn(sheet, area, isAccent), 0) << "row " << row;
            }
        }
    }
}

} // namespace
