#include "CompanionApp/PanelStyle.h"

#include <QApplication>
#include <QFontDatabase>
#include <QLabel>
#include <QPushButton>
#include <QStyle>
#include <QWidget>

#include <algorithm>
#include <cmath>

namespace CompanionApp::PanelStyle {

namespace {

/// The caption and small-control sizes relative to the body text, as on the menu bar's own panels.
constexpr qreal captionScale = 0.85;
constexpr qreal smallControlScale = 0.85;
/// Secondary text is the palette's text colour at this opacity, so it follows light and dark themes.
constexpr qreal secondaryAlpha = 0.6;
constexpr const char* toneProperty = "nuvexaTone";
/// A palette whose window colour is darker than this counts as dark.
constexpr int darkLightness = 128;
/// How `withContrast` walks towards black or white: percent per step, and at most this many steps.
constexpr int contrastStepPercent = 105;
constexpr int maximumContrastSteps = 60;

/// A push button whose text keeps `buttonTextPadding` from its frame on either side, whatever the
/// style's own margins (some leave about three pixels).
class PaddedButton final : public QPushButton {
public:
    using QPushButton::QPushButton;

    QSize sizeHint() const override {
        QSize size = QPushButton::sizeHint();
        const int frame = style()->pixelMetric(QStyle::PM_DefaultFrameWidth, nullptr, this);
        const int wanted = fontMetrics().horizontalAdvance(text()) + 2 * (buttonTextPadding + frame);
        size.setWidth(std::max(size.width(), wanted));
        return size;
    }
    QSize minimumSizeHint() const override { return sizeHint(); }
};

bool isDark(const QPalette& palette) {
    return palette.color(QPalette::Window).lightness() < darkLightness;
}

QFont scaled(QFont font, qreal scale) {
    if (font.pointSizeF() > 0) {
        font.setPointSizeF(font.pointSizeF() * scale);
    } else {
        font.setPixelSize(qRound(font.pixelSize() * scale));
    }
    return font;
}

} // namespace

QColor colour(Tone tone, const QPalette& palette) {
    const bool dark = isDark(palette);
    const QColor window = palette.color(QPalette::Window);
    switch (tone) {
    case Tone::primary:
        return palette.color(QPalette::WindowText);
    case Tone::secondary: {
        QColor text = palette.color(QPalette::WindowText);
        text.setAlphaF(static_cast<float>(secondaryAlpha));
        if (contrastRatio(text, window) >= textContrast) {
            return text;
        }
        return withContrast(palette.color(QPalette::WindowText), window, textContrast);
    }
    case Tone::positive:
        return withContrast(dark ? QColor(0x30, 0xd1, 0x58) : QColor(0x1c, 0x6e, 0x31), window, textContrast);
    case Tone::error:
        return withContrast(dark ? QColor(0xff, 0x6b, 0x61) : QColor(0xc0, 0x00, 0x13), window, textContrast);
    case Tone::warning:
        return withContrast(dark ? QColor(0xff, 0x9f, 0x0a) : QColor(0xa3, 0x47, 0x00), window, textContrast);
    }
    return palette.color(QPalette::WindowText);
}

QColor switchTrackOff(const QPalette& palette) {
    return withContrast(palette.color(QPalette::Mid), palette.color(QPalette::Window), controlContrast);
}

qreal contrastRatio(const QColor& foreground, const QColor& background) {
    const auto channel = [](qreal value) {
        return value <= 0.03928 ? value / 12.92 : std::pow((value + 0.055) / 1.055, 2.4);
    };
    const auto luminance = [&](const QColor& colour) {
        return 0.2126 * channel(colour.redF()) + 0.7152 * channel(colour.greenF()) +
               0.0722 * channel(colour.blueF());
    };
    const qreal alpha = foreground.alphaF();
    const QColor composed =
        QColor::fromRgbF(static_cast<float>(foreground.redF() * alpha + background.redF() * (1 - alpha)),
                         static_cast<float>(foreground.greenF() * alpha + background.greenF() * (1 - alpha)),
                         static_cast<float>(foreground.blueF() * alpha + background.blueF() * (1 - alpha)));
    const qreal lighter = std::max(luminance(composed), luminance(background));
    const qreal darker = std::min(luminance(composed), luminance(background));
    return (lighter + 0.05) / (darker + 0.05);
}

QColor withContrast(const QColor& colour, const QColor& background, qreal minimum) {
    const bool darken = background.lightness() >= darkLightness;
    QColor adjusted = colour;
    // Each step moves the lightness a little towards black or white, keeping the hue.
    for (int step = 0; step < maximumContrastSteps && contrastRatio(adjusted, background) < minimum; ++step) {
        adjusted = darken ? adjusted.darker(contrastStepPercent) : adjusted.lighter(contrastStepPercent);
        if (!darken && adjusted.lightness() >= 255) {
            break;
        }
    }
    if (contrastRatio(adjusted, background) < minimum) {
        return darken ? QColor(Qt::black) : QColor(Qt::white);
    }
    return adjusted;
}

void setTone(QWidget& widget, Tone tone) {
    widget.setProperty(toneProperty, static_cast<int>(tone));
    QPalette palette = widget.palette();
    const QColor toned = colour(tone, QApplication::palette(&widget));
    palette.setColor(QPalette::WindowText, toned);
    palette.setColor(QPalette::Text, toned);
    widget.setPalette(palette);
}

Tone tone(const QWidget& widget) {
    const QVariant value = widget.property(toneProperty);
    return value.isValid() ? static_cast<Tone>(value.toInt()) : Tone::primary;
}

void retone(QWidget& root) {
    if (root.property(toneProperty).isValid()) {
        setTone(root, tone(root));
    }
    for (QWidget* child : root.findChildren<QWidget*>()) {
        if (child->property(toneProperty).isValid()) {
            setTone(*child, tone(*child));
        }
    }
}

QLabel* makeCaption(QWidget* parent, Tone tone, bool wraps) {
    auto* label = new QLabel(parent);
    label->setFont(captionFont());
    label->setWordWrap(wraps);
    label->setTextFormat(Qt::PlainText);
    setTone(*label, tone);
    return label;
}

QPushButton* makeSmallButton(QWidget* parent) {
    auto* button = new PaddedButton(parent);
    button->setFont(smallControlFont());
    button->setAttribute(Qt::WA_MacSmallSize);
    button->setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    return button;
}

QPushButton* makeButton(QWidget* parent) {
    return new PaddedButton(parent);
}

QFont captionFont() {
    return scaled(QApplication::font(), captionScale);
}

QFont monospacedCaptionFont() {
    QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    const QFont caption = captionFont();
    if (caption.pointSizeF() > 0) {
        font.setPointSizeF(caption.pointSizeF());
    } else {
        font.setPixelSize(caption.pixelSize());
    }
    return font;
}

QFont headlineFont() {
    QFont font = QApplication::font();
    font.setWeight(QFont::DemiBold);
    return font;
}

QFont codeFont() {
    QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    font.setPointSizeF(codePointSize);
    font.setWeight(QFont::DemiBold);
    return font;
}

QFont smallControlFont() {
    return scaled(QApplication::font(), smallControlScale);
}

} // namespace CompanionApp::PanelStyle
