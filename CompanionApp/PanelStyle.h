#pragma once

#include <QColor>
#include <QFont>
#include <QPalette>

class QLabel;
class QPushButton;
class QWidget;

/// The panel's measures, colours and fonts, in one place so every part of the panel looks alike.
namespace CompanionApp::PanelStyle {

/// Width of the panel's content; the height follows the content.
inline constexpr int contentWidth = 320;
/// Padding on all four sides of the panel.
inline constexpr int padding = 14;
/// Between the header, the checks, the pairing section, the footer and their dividers.
inline constexpr int sectionSpacing = 12;
/// Between the lines of the header.
inline constexpr int headerSpacing = 2;
/// Between the elements of the checks list.
inline constexpr int checksSpacing = 8;
/// Between the elements of each pairing view.
inline constexpr int pairingSpacing = 6;
/// Between the lines of the long-command watch row.
inline constexpr int watchSpacing = 2;
/// Between a check row's title and its detail.
inline constexpr int detailSpacing = 1;
/// Side of the status symbols drawn before a row or a label.
inline constexpr int symbolSize = 16;
/// Least room between a button's text and each side of its frame.
inline constexpr int buttonTextPadding = 8;
/// The pairing code's size in points: big enough to read across a desk.
inline constexpr qreal codePointSize = 34;

/// The meaning a text's colour carries.
enum class Tone {
    /// The palette's own text colour.
    primary,
    /// Quieter text: details, explanations, the not-ok symbol.
    secondary,
    /// Something works: an ok check, a paired phone, a visible announcement, a finished command.
    positive,
    /// An error the user must read.
    error,
    /// A note or a refusal that limits what works.
    warning,
};

/// Least contrast of text against its background, and of a control's parts (WCAG AA).
inline constexpr qreal textContrast = 4.5;
inline constexpr qreal controlContrast = 3.0;

/// The colour of `tone` on `palette`; the signal colours are brighter on a dark palette, and every
/// tone reads against the palette's window colour with at least `textContrast`.
QColor colour(Tone tone, const QPalette& palette);
/// The track of a switch that is off: the palette's mid tone, darkened or lightened as far as a
/// control needs against the window colour (`controlContrast`).
QColor switchTrackOff(const QPalette& palette);

/// The WCAG contrast ratio of `foreground` (composed over `background` when translucent) on
/// `background`, from 1 to 21.
qreal contrastRatio(const QColor& foreground, const QColor& background);
/// `colour`, made darker on a light background or lighter on a dark one until it has `minimum`
/// contrast against `background`; unchanged when it already has.
QColor withContrast(const QColor& colour, const QColor& background, qreal minimum);

/// Colours `widget`'s text in `tone` and remembers the tone, so `retone` can follow a new palette.
void setTone(QWidget& widget, Tone tone);
/// The tone `setTone` gave `widget`, `primary` when none.
Tone tone(const QWidget& widget);
/// Applies again the remembered tone of `root` and of every widget under it, after a palette change.
void retone(QWidget& root);

/// A label in the caption font and `tone`; a wrapping one grows downwards as far as its text needs.
QLabel* makeCaption(QWidget* parent, Tone tone, bool wraps = false);
/// A button in the small control size, with at least `buttonTextPadding` on each side of its text.
QPushButton* makeSmallButton(QWidget* parent);
/// A button in the body text size, padded as the small ones.
QPushButton* makeButton(QWidget* parent);

/// The small font of details, explanations and notes.
QFont captionFont();
/// The caption font with fixed-width digits, for addresses.
QFont monospacedCaptionFont();
/// The panel's title.
QFont headlineFont();
/// The pairing code: large, semibold and fixed-width.
QFont codeFont();
/// The font of the small buttons and switches.
QFont smallControlFont();

} // namespace CompanionApp::PanelStyle
