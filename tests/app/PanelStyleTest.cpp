#include "CompanionApp/PanelStyle.h"
#include "CompanionApp/Switch.h"
#include "support/PanelElements.h"

#include <QApplication>
#include <QImage>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using CompanionApp::PanelStyle::contrastRatio;
using CompanionApp::PanelStyle::Tone;

struct NamedPalette {
    std::string name;
    QPalette palette;
};

QPalette paletteOf(QColor window, QColor text, QColor mid) {
    QPalette palette = QApplication::palette();
    palette.setColor(QPalette::Window, window);
    palette.setColor(QPalette::WindowText, text);
    palette.setColor(QPalette::Mid, mid);
    return palette;
}

/// The application's own palette, and the light and dark desktops the panel was seen on.
std::vector<NamedPalette> palettes() {
    return {
        {"application", QApplication::palette()},
        {"light grey desktop", paletteOf(QColor(0xef, 0xef, 0xef), Qt::black, QColor(0xb8, 0xb8, 0xb8))},
        {"white desktop", paletteOf(Qt::white, QColor(0x1d, 0x1d, 0x1f), QColor(0xd0, 0xd0, 0xd0))},
        {"dark desktop",
         paletteOf(QColor(0x1e, 0x1e, 0x1e), QColor(0xee, 0xee, 0xee), QColor(0x2a, 0x2a, 0x2a))},
        {"dark grey desktop", paletteOf(QColor(0x35, 0x35, 0x35), Qt::white, QColor(0x42, 0x42, 0x42))},
    };
}

} // namespace

TEST(PanelStyleTest, ContrastRatiosMatchTheWcagFormula) {
    EXPECT_NEAR(contrastRatio(Qt::black, Qt::white), 21.0, 0.01);
    EXPECT_NEAR(contrastRatio(Qt::white, Qt::white), 1.0, 0.001);
    // The figures the panel was measured at before: the off track and the two caption colours.
    EXPECT_NEAR(contrastRatio(QColor(0xb8, 0xb8, 0xb8), QColor(0xef, 0xef, 0xef)), 1.73, 0.01);
    EXPECT_NEAR(contrastRatio(QColor(0xc9, 0x5a, 0x00), QColor(0xef, 0xef, 0xef)), 3.69, 0.01);
    EXPECT_NEAR(contrastRatio(QColor(0x24, 0x8a, 0x3d), QColor(0xef, 0xef, 0xef)), 3.82, 0.01);
}

TEST(PanelStyleTest, EveryTextToneReadsAtFourAndAHalfToOneInLightAndDark) {
    for (const auto& [name, palette] : palettes()) {
        const QColor window = palette.color(QPalette::Window);
        for (const Tone tone : {Tone::primary, Tone::secondary, Tone::positive, Tone::error, Tone::warning}) {
            EXPECT_GE(contrastRatio(CompanionApp::PanelStyle::colour(tone, palette), window), 4.5)
                << name << ", tone " << static_cast<int>(tone);
        }
    }
}

TEST(PanelStyleTest, TheOffSwitchTrackStandsOutAtThreeToOneInLightAndDark) {
    for (const auto& [name, palette] : palettes()) {
        EXPECT_GE(
            contrastRatio(CompanionApp::PanelStyle::switchTrackOff(palette), palette.color(QPalette::Window)),
            3.0)
            << name;
    }
}

TEST(PanelStyleTest, TheDrawnOffTrackHasThatContrast) {
    for (const auto& [name, palette] : palettes()) {
        CompanionApp::Switch control(QStringLiteral("Mantener despierto"));
        control.setPalette(palette);
        control.setAutoFillBackground(true);
        control.resize(control.sizeHint());
        const QImage image = control.grab().toImage();
        // The trailing end of the track, right of the knob that sits at the leading end when off.
        const QColor track = image.pixelColor(image.width() - 1 - 7, image.height() / 2);
        EXPECT_GE(contrastRatio(track, palette.color(QPalette::Window)), 3.0) << name;
    }
}
