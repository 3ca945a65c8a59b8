#include "CompanionApp/PanelStyle.h"

#include <QApplication>
#include <QFontDatabase>
#include <QLabel>
#include <QPushButton>
#include <QWidget>

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
    switch (tone) {
    case Tone::primary:
        return palette.color(QPalette::WindowText);
    case Tone::secondary: {
        QColor text = palette.color(QPalette::WindowText);
        text.setAlphaF(static_cast<float>(secondaryAlpha));
        return text;
    }
    case Tone::positive:
        return dark ? QColor(0x30, 0xd1, 0x58) : QColor(0x24, 0x8a, 0x3d);
    case Tone::error:
        return dark ? QColor(0xff, 0x45, 0x3a) : QColor(0xd7, 0x00, 0x15);
    case Tone::warning:
        return dark ? QColor(0xff, 0x9f, 0x0a) : QColor(0xc9, 0x5a, 0x00);
    }
    return palette.color(QPalette::WindowText);
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
    auto* button = new QPushButton(parent);
    button->setFont(smallControlFont());
    button->setAttribute(Qt::WA_MacSmallSize);
    button->setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    return button;
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
